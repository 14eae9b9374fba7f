#include "frame_view.h"

#include <cstdlib>

namespace quillet::viewer {
namespace {

constexpr COLORREF backgroundColor = RGB(32, 32, 32);
constexpr COLORREF textColor = RGB(200, 200, 200);

/// The largest rectangle with the picture's proportions, in the middle of `room`.
RECT fitted(const BITMAPINFOHEADER& format, const RECT& room) {
  const SIZE size = sizeOf(room);
  const int width = format.biWidth;
  const int height = std::abs(format.biHeight);
  SIZE fit = {size.cx, MulDiv(size.cx, height, width)};
  if (fit.cy > size.cy) {
    fit = {MulDiv(size.cy, width, height), size.cy};
  }
  const int left = (size.cx - fit.cx) / 2;
  const int top = (size.cy - fit.cy) / 2;
  return {left, top, left + fit.cx, top + fit.cy};
}

}  // namespace

FrameView::FrameView(HWND parent) {
  create(L"QuilletFrameView", L"", WS_CHILD | WS_VISIBLE, parent, nullptr);
}

void FrameView::show(const BITMAPINFOHEADER& newFormat, const unsigned char* newBits) {
  const std::size_t rowSize = (static_cast<std::size_t>(newFormat.biWidth) * 3 + 3) & ~std::size_t{3};
  pictureFormat = newFormat;
  bits.assign(newBits, newBits + rowSize * static_cast<std::size_t>(std::abs(newFormat.biHeight)));
  InvalidateRect(handle(), nullptr, FALSE);
  UpdateWindow(handle());  // Now: a key that is held down would otherwise keep the frames from the screen.
}

void FrameView::showText(const std::string& newText) {
  bits.clear();
  text = newText;
  InvalidateRect(handle(), nullptr, FALSE);
}

LRESULT FrameView::handleMessage(UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_ERASEBKGND:
      return TRUE;  // paint() covers everything, each point once.
    case WM_SIZE:
      InvalidateRect(handle(), nullptr, FALSE);
      return 0;
    case WM_PAINT: {
      PAINTSTRUCT painting;
      paint(BeginPaint(handle(), &painting));
      EndPaint(handle(), &painting);
      return 0;
    }
    default:
      return defaultAnswer(message, wParam, lParam);
  }
}

void FrameView::paint(HDC dc) const {
  RECT room;
  GetClientRect(handle(), &room);
  if (bits.empty()) {
    fill(dc, room, backgroundColor);
    writeCentred(dc, room, text, textColor);
    return;
  }
  const RECT place = fitted(pictureFormat, room);
  const SIZE size = sizeOf(place);
  BITMAPINFO info = {};
  info.bmiHeader = pictureFormat;
  SetStretchBltMode(dc, HALFTONE);
  SetBrushOrgEx(dc, 0, 0, nullptr);  // Documented to go with HALFTONE.
  StretchDIBits(dc, place.left, place.top, size.cx, size.cy, 0, 0, pictureFormat.biWidth,
                std::abs(pictureFormat.biHeight), bits.data(), &info, DIB_RGB_COLORS, SRCCOPY);
  ExcludeClipRect(dc, place.left, place.top, place.right, place.bottom);
  fill(dc, room, backgroundColor);
}

}  // namespace quillet::viewer
