// What the library's dialogs with an OK and a Cancel do alike.

#pragma once

#include <windows.h>

#include "ui/run_dialog.h"

namespace quillet {

/// The procedure of such a dialog.
/// @tparam Dialog has `show(HWND, LPARAM)`, which fills the dialog in, and `accept(HWND)` for OK, which ends it unless what
///     the user has entered is rejected; perhaps `property`, the name of the window property that keeps the dialog's
///     parameter while it is open, and `cannotAddProperty`, the code with which it ends when there can be none.
template <class Dialog>
INT_PTR CALLBACK okCancelProcedure(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  constexpr bool hasProperty = requires {
    Dialog::property;
  };
  if (message == WM_INITDIALOG) {
    if constexpr (hasProperty) {
      if (!SetPropA(dialog, Dialog::property, reinterpret_cast<HANDLE>(lParam))) {
        endDialog(dialog, Dialog::cannotAddProperty);
        return TRUE;
      }
    }
    Dialog::show(dialog, lParam);
    return TRUE;
  }
  if (message != WM_COMMAND) {
    return FALSE;
  }
  switch (LOWORD(wParam)) {
    case IDOK:
      Dialog::accept(dialog);
      return TRUE;
    case IDCANCEL:
      if constexpr (hasProperty) {
        RemovePropA(dialog, Dialog::property);
      }
      endDialog(dialog, IDCANCEL);
      return TRUE;
    default:
      return FALSE;
  }
}

}  // namespace quillet
