// Shows a frame as large as it fits.

#pragma once

#include <string>
#include <vector>

#include "window.h"

namespace quillet::viewer {

class FrameView : public View {
 public:
  explicit FrameView(HWND parent) : View(L"QuilletFrameView", parent) {}

  /// Shows a 24-bit picture.
  void show(const BITMAPINFOHEADER& newFormat, std::vector<unsigned char> newBits);

  /// Shows a text in the picture's place.
  void showText(const std::string& newText);

  const BITMAPINFOHEADER& format() const { return pictureFormat; }

  /// The pixels, none when there is no picture.
  const std::vector<unsigned char>& picture() const { return bits; }

 private:
  void paint(HDC dc, const RECT& area) override;

  BITMAPINFOHEADER pictureFormat = {};
  std::vector<unsigned char> bits;
  std::string text;
};

}  // namespace quillet::viewer
