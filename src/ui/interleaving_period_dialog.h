// The dialog of an AVI file's interleaving period.

#pragma once

#include <windows.h>

namespace quillet {

/// Shows the dialog and waits for its end.
/// @param parent may be null.
/// @param period in units of 100 ns; changed only when the result is IDOK.
/// @return IDOK, IDCANCEL, dialogNotShown or a vfw_error code.
INT_PTR showInterleavingPeriodDialog(HWND parent, long long& period);

}  // namespace quillet
