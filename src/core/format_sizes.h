// Sizes that follow from the platform's format records.

#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include <windows.h>

#include <mmreg.h>

namespace quillet {

/// Bytes of the record with what belongs to it. In PCM the field that tells them says nothing.
inline DWORD formatSize(const WAVEFORMATEX& format) {
  return sizeof format + (format.wFormatTag == WAVE_FORMAT_PCM ? 0U : format.cbSize);
}

/// Whether the record can be whole: its extended form needs what stands behind it.
inline bool canBeWhole(const WAVEFORMATEX& format) {
  return format.wFormatTag != WAVE_FORMAT_EXTENSIBLE ||
         format.cbSize >= sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX);
}

/// Bytes of the header with what belongs to it: what biSize counts, and the colours that biClrUsed tells of.
inline DWORD formatSize(const BITMAPINFOHEADER& format) {
  constexpr WORD paletteBits = 8;
  constexpr DWORD mostColours = 1 << paletteBits;
  const DWORD colours = format.biBitCount <= paletteBits ? std::min(format.biClrUsed, mostColours) : 0;
  return std::max<DWORD>(format.biSize, sizeof format + colours * sizeof(RGBQUAD));
}

/// Bytes of an uncompressed frame, whose rows are padded to whole double words. Frames larger than a double word can say,
/// in which the platform's records say it, have the largest such size.
inline std::int64_t uncompressedFrameSize(const BITMAPINFOHEADER& format) {
  constexpr std::int64_t bitsPerDoubleWord = 32;
  constexpr std::int64_t most = std::numeric_limits<DWORD>::max();
  const std::int64_t rowBits = format.biBitCount * std::max(std::int64_t{format.biWidth}, std::int64_t{0});
  const std::int64_t rowBytes = (rowBits + bitsPerDoubleWord - 1) / bitsPerDoubleWord * std::int64_t{sizeof(DWORD)};
  // A top-down picture, whose height is negative, is no smaller. At most 2^32 by 2^31.
  return std::min(std::min(rowBytes, most) * std::abs(std::int64_t{format.biHeight}), most);
}

}  // namespace quillet
