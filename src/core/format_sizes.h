// Sizes that follow from the platform's format records.

#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>

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

/// Bytes of an uncompressed frame, whose rows are padded to whole double words.
inline std::int64_t uncompressedFrameSize(const BITMAPINFOHEADER& format) {
  constexpr std::int64_t bitsPerDoubleWord = 32;
  const std::int64_t rowBits = std::int64_t{format.biBitCount} * format.biWidth;
  const std::int64_t rowDoubleWords = (rowBits + bitsPerDoubleWord - 1) / bitsPerDoubleWord;
  return rowDoubleWords * sizeof(DWORD) * std::abs(std::int64_t{format.biHeight});
}

}  // namespace quillet
