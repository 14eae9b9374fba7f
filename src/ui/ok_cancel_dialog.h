// What the library's dialogs do alike that have nothing to press but OK and Cancel.

#pragma once

#include <windows.h>

namespace quillet {

/// The procedure of such a dialog.
/// @tparam Dialog has `show(HWND, LPARAM)`, which fills the dialog in, `accept(HWND)` for OK, which ends it unless what the
///     user has entered is rejected, and `cancel(HWND)`, which ends it; perhaps `property`, the name of the window property
///     that it keeps while it is open.
template <class Dialog>
INT_PTR CALLBACK okCancelProcedure(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_INITDIALOG) {
    Dialog::show(dialog, lParam);
    return TRUE;
  }
  if constexpr (requires { Dialog::property; }) {
    if (message == WM_DESTROY) {
      RemovePropA(dialog, Dialog::property);  // Is there still when the parent takes the dialog with it.
    }
  }
  if (message != WM_COMMAND) {
    return FALSE;
  }
  switch (LOWORD(wParam)) {
    case IDOK:
      Dialog::accept(dialog);
      return TRUE;
    case IDCANCEL:
      Dialog::cancel(dialog);
      return TRUE;
    default:
      return FALSE;
  }
}

}  // namespace quillet
