// The steps of long operations, of which the client's progress sink is told, and at which it can stop them.

#pragma once

#include <quillet/error_codes.h>
#include <quillet/notification.h>

namespace quillet {

/// Tells of a step.
/// @param sink may be null.
/// @return ds_error::stoppedByNotification when the operation is to end, otherwise 0.
inline int reportStep(QuilletNotification* sink, int phase) {
  if (sink == nullptr) {
    return ds_error::success;
  }
  sink->progress(phase);
  return sink->stopRequested() ? ds_error::stoppedByNotification : ds_error::success;
}

}  // namespace quillet
