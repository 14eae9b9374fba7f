// A picture that the program draws, and the look that all of them have.

#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include <windows.h>

namespace quillet::client {

struct TextStyle {
  int height;  ///< In pixels.
  int weight;
  COLORREF color;
};

namespace look {
inline constexpr COLORREF background = RGB(30, 31, 34);
inline constexpr TextStyle title = {19, FW_SEMIBOLD, RGB(238, 238, 240)};
inline constexpr TextStyle details = {15, FW_NORMAL, RGB(164, 168, 176)};
inline constexpr TextStyle label = {14, FW_NORMAL, RGB(200, 203, 209)};
inline constexpr int margin = 16;
inline constexpr int headerHeight = 56;  ///< From the margin above to what is below.
}  // namespace look

struct DcDeleter {
  using pointer = HDC;
  void operator()(HDC dc) const { DeleteDC(dc); }
};

struct BitmapDeleter {
  using pointer = HBITMAP;
  void operator()(HBITMAP bitmap) const { DeleteObject(bitmap); }
};

/// The room that a line of text takes.
SIZE textSize(const std::string& text, const TextStyle& style);

/// The width of a picture that shows all of its header.
int headerWidth(const std::string& name, const std::string& details);

/// 24-bit RGB pixels. Texts are UTF-8.
class Canvas {
 public:
  Canvas(int width, int height);

  void fill(const RECT& box, COLORREF color);

  /// A line of text at the top of a box; cut, with an ellipsis, when it is too long.
  /// @param alignment DT_LEFT, DT_CENTER or DT_RIGHT.
  void write(RECT box, const std::string& text, const TextStyle& style, UINT alignment = DT_LEFT);

  /// The file's name, and under it what there is to say of the stream.
  void writeHeader(const std::string& name, const std::string& details);

  /// 24-bit RGB pixels, made smaller, never larger: every pixel weighs as much as every other.
  /// @param box not larger than the pixels.
  void shrink(const RECT& box, const BITMAPINFOHEADER& source, const unsigned char* sourceBits);

  /// Writes an image in the format that the name's ending tells.
  void save(const std::filesystem::path& path) const;

 private:
  BITMAPINFOHEADER format = {};
  unsigned char* bits = nullptr;
  // The device context goes first: a bitmap that is selected cannot be deleted.
  std::unique_ptr<HBITMAP, BitmapDeleter> bitmap;
  std::unique_ptr<HDC, DcDeleter> dc;
};

}  // namespace quillet::client
