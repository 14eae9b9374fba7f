#include "c_interface/picture.h"

#include <cstdlib>
#include <cstring>

#include <quillet/quillet_c.h>

#include "formats/format_sizes.h"

namespace quillet {
namespace {

constexpr int colours = 3;

std::int64_t heightOf(const BITMAPINFOHEADER& format) {
  return std::abs(std::int64_t{format.biHeight});
}

Rows rowsFrom(BYTE* data, std::int64_t stride, bool isBottomUp, std::int64_t height, PixelLayout layout) {
  return isBottomUp ? Rows{data + (height - 1) * stride, -stride, layout} : Rows{data, stride, layout};
}

void copyRow(const BYTE* from, PixelLayout fromLayout, BYTE* to, PixelLayout toLayout, LONG width) {
  constexpr BYTE opaque = 255;
  const bool isTurned = fromLayout.isRedFirst != toLayout.isRedFirst;
  for (LONG x = 0; x < width; ++x, from += fromLayout.bytes, to += toLayout.bytes) {
    to[0] = from[isTurned ? 2 : 0];
    to[1] = from[1];
    to[2] = from[isTurned ? 0 : 2];
    if (toLayout.bytes > colours) {
      to[colours] = opaque;
    }
  }
}

}  // namespace

std::optional<PixelLayout> layoutOf(int pixels) {
  switch (pixels) {
    case QUILLET_BGR24:
      return PixelLayout{colours, false};
    case QUILLET_BGRA32:
      return PixelLayout{colours + 1, false};
    case QUILLET_RGB24:
      return PixelLayout{colours, true};
    case QUILLET_RGBA32:
      return PixelLayout{colours + 1, true};
    default:
      return std::nullopt;
  }
}

std::optional<Rows> rowsOf(const ClientPicture& picture, const BITMAPINFOHEADER& format) {
  const std::optional<PixelLayout> layout = layoutOf(picture.pixels);
  if (!layout || (picture.rows != QUILLET_TOP_DOWN && picture.rows != QUILLET_BOTTOM_UP) || picture.data == nullptr) {
    return std::nullopt;
  }
  const std::int64_t row = std::int64_t{format.biWidth} * layout->bytes;
  const std::int64_t height = heightOf(format);
  const bool hasRoom =
      picture.stride >= row && picture.bytes >= row && (picture.bytes - row) / picture.stride >= height - 1;
  if (!hasRoom) {
    return std::nullopt;
  }
  return rowsFrom(static_cast<BYTE*>(picture.data), picture.stride, picture.rows == QUILLET_BOTTOM_UP, height, *layout);
}

Rows rowsOf(BYTE* frame, const BITMAPINFOHEADER& format) {
  return rowsFrom(frame, rowSize(format), format.biHeight > 0, heightOf(format),
                  {format.biBitCount / bitsPerByte, false});
}

void copyPicture(const Rows& from, const Rows& to, const BITMAPINFOHEADER& format) {
  const bool isSame =
      from.layout.bytes == colours && to.layout.bytes == colours && from.layout.isRedFirst == to.layout.isRedFirst;
  for (std::int64_t y = 0; y < heightOf(format); ++y) {
    const BYTE* const source = from.top + y * from.step;
    BYTE* const target = to.top + y * to.step;
    if (isSame) {
      std::memcpy(target, source, static_cast<std::size_t>(format.biWidth) * colours);
    } else {
      copyRow(source, from.layout, target, to.layout, format.biWidth);
    }
  }
}

}  // namespace quillet
