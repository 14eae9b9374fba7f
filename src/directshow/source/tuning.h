// What the tuning dialogs have to say to the error model.

#pragma once

#include <quillet/error_codes.h>

#include "ui/source_tuning_dialog.h"

namespace quillet {

/// The ds_error code of a dialog's end.
inline int errorOf(TuningDialogResult result) {
  switch (result) {
    case TuningDialogResult::accepted:
    case TuningDialogResult::cancelled:
      return ds_error::success;
    case TuningDialogResult::notShown:
      return ds_error::cannotDisplayDialog;
    default:
      return ds_error::cannotAddDialogProperty;
  }
}

}  // namespace quillet
