#include "formats/usable_formats.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

#include "formats/format_sizes.h"

namespace quillet {
namespace {

/// Whether a block has room for the samples that it is told to hold: decoders read as many, wherever it ends.
/// @param headBytes bytes that a block begins with, for each channel.
/// @param headSamples samples that these hold.
bool holds(const WAVEFORMATEX& format, std::int64_t samples, int headBytes, int headSamples) {
  const std::int64_t coded = format.nBlockAlign - headBytes * format.nChannels;
  return samples >= headSamples && coded >= 0 && format.wBitsPerSample > 0 &&
         (samples - headSamples) * format.wBitsPerSample * format.nChannels <= coded * bitsPerByte;
}

/// Whether the size of a block fits what it consists of.
bool hasUsableBlocks(const WAVEFORMATEX& format, std::size_t size) {
  switch (format.wFormatTag) {
    case WAVE_FORMAT_PCM: {
      const int sampleBytes = bytesOf(format.wBitsPerSample);
      return sampleBytes > 0 && format.nBlockAlign == format.nChannels * sampleBytes;
    }
    case WAVE_FORMAT_IEEE_FLOAT:
    case WAVE_FORMAT_ALAW:
    case WAVE_FORMAT_MULAW:
      return format.nBlockAlign > 0 && format.nBlockAlign % format.nChannels == 0;
    case WAVE_FORMAT_ADPCM:
      return holds(format, samplesPerBlock(format, size), 7, 2);
    case WAVE_FORMAT_IMA_ADPCM:
      return holds(format, samplesPerBlock(format, size), 4, 1);
    case WAVE_FORMAT_GSM610:
      return format.nBlockAlign > 0 && samplesPerBlock(format, size) > 0;
    default:
      return true;
  }
}

}  // namespace

long samplesPerBlock(const WAVEFORMATEX& format, std::size_t size) {
  WORD samples = 0;
  if (size >= sizeof format + sizeof samples && format.cbSize >= sizeof samples) {
    std::memcpy(&samples, &format + 1, sizeof samples);
  }
  return samples;
}

bool isUsable(const WAVEFORMATEX& format, std::size_t size) {
  constexpr DWORD mostSamplesPerSecond = std::numeric_limits<LONG>::max();
  return format.nChannels > 0 && format.nSamplesPerSec > 0 && format.nSamplesPerSec <= mostSamplesPerSecond &&
         hasUsableBlocks(format, size);
}

bool isUsable(const BITMAPINFOHEADER& format, std::size_t size) {
  using Limits = std::numeric_limits<LONG>;
  constexpr DWORD mostColours = 0xFFFF;  // More than any palette has; from more the platform computes too small a size.
  constexpr WORD decodedBits = 24;
  const bool isWhole = format.biSize >= sizeof format && format.biSize <= size && format.biClrUsed <= mostColours;
  const bool hasPixels = format.biWidth > 0 && format.biHeight != 0 && format.biHeight > Limits::min();
  BITMAPINFOHEADER widest = format;
  widest.biBitCount = std::max(format.biBitCount, decodedBits);
  return isWhole && hasPixels &&
         std::max<std::int64_t>(uncompressedFrameSize(widest), format.biSizeImage) <= Limits::max();
}

}  // namespace quillet
