// What the list boxes of the library's dialogs do alike.

#pragma once

#include <windows.h>

namespace quillet {

/// Fits a list box, once it is filled, to its items: no row is cut, and with WS_HSCROLL what is wider than the box can be
/// scrolled to.
void fitListBox(HWND list);

}  // namespace quillet
