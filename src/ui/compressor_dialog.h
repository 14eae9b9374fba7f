// The dialog in which a user picks one of the system's compressors.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <windows.h>

namespace quillet {

/// Shows the dialog and waits for its end.
/// @param parent may be null.
/// @param names in the order in which they are listed, in the system's ANSI code page.
/// @param choice receives the index of the name selected; changed only when the result is IDOK.
/// @return IDOK, IDCANCEL (also when nothing was selected) or dialogNotShown.
INT_PTR showCompressorDialog(HWND parent, const std::vector<std::string>& names, std::size_t& choice);

}  // namespace quillet
