// Samples of a compressed stream, decompressed block by block by the Audio Compression Manager.

#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include <windows.h>

#include "core/handles.h"
#include "vfw/avi_source.h"
#include "vfw/sample_reader.h"

namespace quillet {

class AcmReader : public SampleReader {
 public:
  /// @param sourceFormat the stream's WAVEFORMATEX with all that belongs to it.
  AcmReader(const AviSource& aviSource, std::vector<BYTE> sourceFormat);

  /// Finds a decompressor and prepares it.
  /// @param outputFormat receives the PCM format that samples come in.
  /// @return a vfw_error code.
  int open(WAVEFORMATEX& outputFormat);

  /// Length of the stream in decoded samples.
  /// @return a vfw_error code.
  int measure(long& length);

  int read(long first, long last, BYTE* out) override;

 private:
  // Wide enough for whatever a file's block numbers and times come to.
  using SampleNumber = std::int64_t;

  // The number of no sample: as the first one held it makes every request seek.
  static constexpr SampleNumber noSample = std::numeric_limits<SampleNumber>::max();

  const WAVEFORMATEX& source() const { return *reinterpret_cast<const WAVEFORMATEX*>(sourceFormat.data()); }
  int decode(SampleNumber first, SampleNumber last, BYTE* out);
  int seek(long first);
  bool moveTo(long block);
  SampleNumber firstSampleOf(long block) const;
  int decodeNextBlock();

  const AviSource& aviSource;
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
  SampleNumber pcmFirst = noSample;  // First and last sample held in pcmBuffer.
  SampleNumber pcmLast = -1;
  long nextBlock = 0;
  SampleNumber cursor = 0;  // Next sample to produce.
  bool conversionStarted = false;
};

}  // namespace quillet
