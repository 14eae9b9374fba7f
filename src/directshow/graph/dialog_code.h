// What the ends of the library's dialogs mean in the error model of the DirectShow backend.

#pragma once

#include <windows.h>

#include <quillet/error_codes.h>

#include "ui/run_dialog.h"

namespace quillet {

/// @param result of a dialog that runDialog() has shown.
/// @param cancelled the code of Cancel.
inline int codeOf(INT_PTR result, int cancelled) {
  switch (result) {
    case IDOK:
      return ds_error::success;
    case IDCANCEL:
      return cancelled;
    case dialogNotShown:
      return ds_error::cannotDisplayDialog;
    default:
      return static_cast<int>(result);
  }
}

}  // namespace quillet
