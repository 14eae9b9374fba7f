#include "ui/list_box.h"

#include <algorithm>
#include <string>

namespace quillet {
namespace {

constexpr int sideMargins = 8;  // In pixels, of both sides of a row's text together.

/// @return in pixels, with tabs as they are where nothing else is said of them.
int textWidth(HDC dc, HWND list, int item) {
  const LRESULT length = SendMessageA(list, LB_GETTEXTLEN, static_cast<WPARAM>(item), 0);
  std::string text(static_cast<std::size_t>(std::max<LRESULT>(length, 0)) + 1, '\0');
  SendMessageA(list, LB_GETTEXT, static_cast<WPARAM>(item), reinterpret_cast<LPARAM>(text.data()));
  return LOWORD(GetTabbedTextExtentA(dc, text.data(), static_cast<int>(text.size()) - 1, 0, nullptr));
}

int widestText(HWND list) {
  HDC dc = GetDC(list);
  HGDIOBJ former = SelectObject(dc, reinterpret_cast<HGDIOBJ>(SendMessageA(list, WM_GETFONT, 0, 0)));
  int width = 0;
  for (int item = 0; item < SendMessageA(list, LB_GETCOUNT, 0, 0); ++item) {
    width = std::max(width, textWidth(dc, list, item));
  }
  SelectObject(dc, former);
  ReleaseDC(list, dc);
  return width;
}

/// A list box cuts itself to whole rows only when its size changes, and its size was set before its font.
void cutToWholeRows(HWND list) {
  RECT box = {};
  RECT rows = {};
  GetWindowRect(list, &box);
  GetClientRect(list, &rows);
  const auto rowHeight = static_cast<LONG>(std::max<LRESULT>(SendMessageA(list, LB_GETITEMHEIGHT, 0, 0), 1));
  SetWindowPos(list, nullptr, 0, 0, box.right - box.left, box.bottom - box.top - rows.bottom % rowHeight,
               SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
}

}  // namespace

void fitListBox(HWND list) {
  SendMessageA(list, LB_SETHORIZONTALEXTENT, static_cast<WPARAM>(widestText(list) + sideMargins), 0);
  cutToWholeRows(list);
}

}  // namespace quillet
