// Shows a frame as large as it fits.

#pragma once

#include <string>
#include <vector>

#include "window.h"

namespace quillet::viewer {

class FrameView : public Window {
 public:
  explicit FrameView(HWND parent);

  /// Shows a 24-bit picture, of which it takes a copy: the view is drawn at any time, also while the stream reads on.
  void show(const BITMAPINFOHEADER& newFormat, const unsigned char* newBits);

  /// Shows a text in the picture's place.
  void showText(const std::string& newText);

  bool hasPicture() const { return !bits.empty(); }
  const BITMAPINFOHEADER& format() const { return pictureFormat; }
  const std::vector<unsigned char>& picture() const { return bits; }

 private:
  LRESULT handleMessage(UINT message, WPARAM wParam, LPARAM lParam) override;
  void paint(HDC dc) const;

  BITMAPINFOHEADER pictureFormat = {};
  std::vector<unsigned char> bits;
  std::string text;
};

}  // namespace quillet::viewer
