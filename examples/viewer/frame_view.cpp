#include "frame_view.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace quillet::viewer {
namespace {

constexpr COLORREF backgroundColor = RGB(32, 32, 32);
constexpr COLORREF textColor = RGB(200, 200, 200);

}  // namespace

void FrameView::show(const BITMAPINFOHEADER& newFormat, std::vector<unsigned char> newBits) {
  pictureFormat = newFormat;
  bits = std::move(newBits);
  update();
  UpdateWindow(handle());  // Now: a key that is held down would otherwise keep the frames from the screen.
}

void FrameView::showText(const std::string& newText) {
  bits.clear();
  text = newText;
  update();
}

void FrameView::paint(HDC dc, const RECT& area) {
  fill(dc, area, backgroundColor);
  if (bits.empty()) {
    write(dc, area, text, textColor);
    return;
  }
  // As large as the area, with the picture's proportions, in the middle.
  const SIZE room = sizeOf(area);
  const int width = pictureFormat.biWidth;
  const int height = std::abs(pictureFormat.biHeight);
  const int shownWidth = std::min<int>(room.cx, MulDiv(room.cy, width, height));
  const int shownHeight = std::min<int>(room.cy, MulDiv(room.cx, height, width));
  BITMAPINFO info = {};
  info.bmiHeader = pictureFormat;
  SetStretchBltMode(dc, HALFTONE);
  SetBrushOrgEx(dc, 0, 0, nullptr);  // Documented to go with HALFTONE.
  StretchDIBits(dc, (room.cx - shownWidth) / 2, (room.cy - shownHeight) / 2, shownWidth, shownHeight, 0, 0, width,
                height, bits.data(), &info, DIB_RGB_COLORS, SRCCOPY);
}

}  // namespace quillet::viewer
