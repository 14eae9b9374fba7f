// The dialog of an AVI file's interleaving period.

#pragma once

#include <windows.h>

namespace quillet {

/// How the dialog ended. -1, which is the system's own, when it could not be shown.
enum class PeriodDialogResult : INT_PTR {
  notShown = -1,
  accepted = 1,
  cancelled = 2,
  noProperty = 33,  ///< The dialog could not be given the period.
};

/// Shows the dialog and waits for its end.
/// @param parent may be null.
/// @param period in units of 100 ns; changed only when the result is `accepted`.
PeriodDialogResult showInterleavingPeriodDialog(HWND parent, long long& period);

}  // namespace quillet
