// Sizes that follow from the platform's format records.

#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include <windows.h>

#include <mmreg.h>

namespace quillet {

inline constexpr int bitsPerByte = 8;

/// Whole bytes that so many bits take.
inline int bytesOf(int bits) {
  return (bits + bitsPerByte - 1) / bitsPerByte;
}

/// Bytes of the record with what belongs to it. In PCM the field that tells them says nothing.
inline DWORD formatSize(const WAVEFORMATEX& format) {
  return sizeof format + (format.wFormatTag == WAVE_FORMAT_PCM ? 0U : format.cbSize);
}

/// Whether the record can be whole: its extended form needs what stands behind it.
inline bool canBeWhole(const WAVEFORMATEX& format) {
  return format.wFormatTag != WAVE_FORMAT_EXTENSIBLE ||
         format.cbSize >= sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX);
}

/// Colours of the palette behind the header. Of frames of more than 8 bits biClrUsed is but a hint, and copied with headers
/// that have no colours.
inline DWORD paletteSize(const BITMAPINFOHEADER& format) {
  constexpr WORD paletteBits = 8;
  if (format.biBitCount == 0 || format.biBitCount > paletteBits) {
    return 0;
  }
  const DWORD all = 1U << format.biBitCount;
  // Where the count is left out, there are all that a pixel can have; but a codec's frames may do without.
  const bool isImplied = format.biClrUsed == 0 && format.biCompression <= BI_RLE4;
  return isImplied ? all : std::min(format.biClrUsed, all);
}

/// Bytes of the header with what belongs to it, whether or not biSize counts that: the masks of bit fields, or the palette.
inline DWORD formatSize(const BITMAPINFOHEADER& format) {
  constexpr DWORD masks = 3;
  const DWORD tail =
      format.biCompression == BI_BITFIELDS ? masks * sizeof(DWORD) : paletteSize(format) * sizeof(RGBQUAD);
  return std::max<DWORD>(format.biSize, sizeof format + tail);
}

/// Bytes of a row of an uncompressed frame, padded to whole double words.
inline std::int64_t rowSize(const BITMAPINFOHEADER& format) {
  constexpr std::int64_t bitsPerDoubleWord = 32;
  const std::int64_t bits = format.biBitCount * std::max(std::int64_t{format.biWidth}, std::int64_t{0});
  return (bits + bitsPerDoubleWord - 1) / bitsPerDoubleWord * std::int64_t{sizeof(DWORD)};
}

/// Bytes of an uncompressed frame. Frames larger than a double word can say, in which the platform's records say it, have
/// the largest such size.
inline std::int64_t uncompressedFrameSize(const BITMAPINFOHEADER& format) {
  constexpr std::int64_t most = std::numeric_limits<DWORD>::max();
  // A top-down picture, whose height is negative, is no smaller. At most 2^32 by 2^31.
  return std::min(std::min(rowSize(format), most) * std::abs(std::int64_t{format.biHeight}), most);
}

}  // namespace quillet
