// Pictures in the client's layout, from and to the platform's.

#pragma once

#include <cstdint>
#include <optional>

#include <windows.h>

namespace quillet {

/// How a pixel lies in memory.
struct PixelLayout {
  int bytes = 0;
  bool isRedFirst = false;
};

/// @param pixels a quillet_pixels.
/// @return nothing when it is none.
std::optional<PixelLayout> layoutOf(int pixels);

/// The rows of a picture, the first one being the top row.
struct Rows {
  BYTE* top = nullptr;
  std::int64_t step = 0;  ///< From one row to the one below, negative where the bottom row comes first.
  PixelLayout layout;
};

/// A buffer of the client's.
struct ClientPicture {
  int pixels;  ///< A quillet_pixels.
  int rows;    ///< A quillet_rows.
  void* data;
  std::int64_t stride;
  std::int64_t bytes;
};

/// @return the rows of the client's buffer; nothing when it is not one for pictures of this format's size.
std::optional<Rows> rowsOf(const ClientPicture& picture, const BITMAPINFOHEADER& format);

/// @param format of 24 or 32 bits of RGB.
/// @return the rows of a frame of the platform's.
Rows rowsOf(BYTE* frame, const BITMAPINFOHEADER& format);

/// Copies a picture of the format's size.
void copyPicture(const Rows& from, const Rows& to, const BITMAPINFOHEADER& format);

}  // namespace quillet
