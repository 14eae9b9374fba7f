// Lays out AVI and WAV files from structs, so that a test can change one field of a sound file.

#pragma once

#include <windows.h>

#include <mmreg.h>
#include <vfw.h>

#include "support/temp_file.h"

namespace quillet::test {

/// A `strh` chunk.
struct AviStreamHeader {
  DWORD type, handler, flags;
  WORD priority, language;
  DWORD initialFrames, scale, rate, start, length;
  DWORD suggestedBufferSize, quality, sampleSize;
  SHORT left, top, right, bottom;
};

struct AviChunk {
  Bytes data;  // Nothing for an empty frame.
  bool isKey = true;
};

struct AviStream {
  AviStreamHeader header = {};
  Bytes format;
  std::vector<AviChunk> chunks;
};

template <class Record>
Bytes bytesOf(const Record& record) {
  const auto* const first = reinterpret_cast<const std::uint8_t*>(&record);
  return Bytes(first, first + sizeof record);
}

/// Bytes that depend on the seed.
Bytes noise(std::size_t size, unsigned seed = 1);

/// Chunks of noise, each with its number for a seed.
std::vector<AviChunk> noiseChunks(unsigned count, std::size_t size);

/// A stream of `chunks`, each a frame.
AviStream videoStream(const BITMAPINFOHEADER& format, DWORD rate, DWORD scale, std::vector<AviChunk> chunks);

/// A stream of whole blocks in one chunk each.
/// @param format a WAVEFORMATEX with what belongs to it.
AviStream audioStream(const Bytes& format, std::vector<AviChunk> chunks);

/// A file of these streams, interleaved chunk by chunk, with the main header that fits them.
Bytes aviFile(const std::vector<AviStream>& streams);

BITMAPINFOHEADER rgb24Format(LONG width, LONG height);
WAVEFORMATEX pcmFormat(DWORD samplesPerSecond, WORD channels, WORD bitsPerSample);

/// A RIFF WAVE file.
/// @param format a WAVEFORMATEX with what belongs to it, or a shorter record.
Bytes wavFile(const Bytes& format, const Bytes& data);

}  // namespace quillet::test
