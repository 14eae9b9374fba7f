// Samples of a compressed stream, decompressed block by block by the Audio Compression Manager.

#pragma once

#include <limits>
#include <memory>
#include <vector>

#include <windows.h>

#include <vfw.h>

#include "core/handles.h"
#include "vfw/sample_reader.h"

namespace quillet {

class AcmReader : public SampleReader {
 public:
  /// @param sourceFormat the stream's WAVEFORMATEX with all that belongs to it.
  AcmReader(PAVISTREAM aviStream, std::vector<BYTE> sourceFormat);

  /// Finds a decompressor and prepares it.
  /// @param outputFormat receives the PCM format that samples come in.
  /// @return a vfw_error code.
  int open(WAVEFORMATEX& outputFormat);

  /// Length of the stream in decoded samples.
  /// @return a vfw_error code.
  int measure(long& length);

  int read(long first, long last, BYTE* out) override;

 private:
  // The number of no sample: as the first one held it makes every request seek.
  static constexpr long noSample = std::numeric_limits<long>::max();

  const WAVEFORMATEX& source() const { return *reinterpret_cast<const WAVEFORMATEX*>(sourceFormat.data()); }
  int openAcmStream(WAVEFORMATEX& outputFormat);
  int decode(long first, long last, BYTE* out);
  int seek(long first);
  long firstSampleOf(long block);
  int decodeNextBlock();

  PAVISTREAM aviStream;
  std::vector<BYTE> sourceFormat;
  long samplesPerSecond = 0;
  long sampleSize = 0;
  // Samples that every block decodes to, 0 when they may differ.
  long samplesPerBlock = 0;
  long sourceBlocks = 0;

  std::vector<BYTE> blockBuffer;
  std::vector<BYTE> pcmBuffer;
  AcmStreamHandle acmStream;
  AcmHeader acmHeader;  // After the stream that it is prepared for, so that it is unprepared first.

  // The decoding position, kept from one run to the next.
  long pcmFirst = noSample;  // First and last sample held in pcmBuffer.
  long pcmLast = -1;
  long nextBlock = 0;
  long cursor = 0;  // Next sample to produce.
  bool conversionStarted = false;
};

}  // namespace quillet
