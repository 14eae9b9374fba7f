// How the library shows a dialog of its own, and how the dialog ends.

#pragma once

#include <windows.h>

namespace quillet {

/// What comes of a dialog that could not be shown. Otherwise it is IDOK, IDCANCEL or an error code of the dialog's own.
inline constexpr INT_PTR dialogNotShown = -1;

/// Shows a modal dialog and waits for its end. A dialog that is destroyed while it is open, as one is with its parent, has
/// Cancel pressed first.
/// @param parent may be null.
/// @param resource number of the dialog's template.
/// @param procedure is called with no message before WM_INITDIALOG.
/// @param parameter goes with WM_INITDIALOG.
/// @return what endDialog() was told, IDCANCEL when the dialog went without, or dialogNotShown.
INT_PTR runDialog(HWND parent, int resource, DLGPROC procedure, LPARAM parameter);

/// Ends a dialog that runDialog() shows. Has to be called in the place of EndDialog().
void endDialog(HWND dialog, INT_PTR result);

/// @param result of a dialog that runDialog() has shown.
/// @param cancelled the code of Cancel.
/// @param notShown the caller's code of dialogNotShown.
/// @return the error code that the result stands for; 0 of IDOK.
inline int codeOf(INT_PTR result, int cancelled, int notShown) {
  switch (result) {
    case IDOK:
      return 0;
    case IDCANCEL:
      return cancelled;
    case dialogNotShown:
      return notShown;
    default:
      return static_cast<int>(result);
  }
}

/// @return what WM_INITDIALOG has brought to a dialog that runDialog() shows.
LPARAM parameterOf(HWND dialog);

}  // namespace quillet
