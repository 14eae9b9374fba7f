// Samples of a compressed stream, decompressed block by block by the Audio Compression Manager.

#pragma once

#include <limits>
#include <optional>
#include <vector>

#include <windows.h>

#include "platform/handles.h"
#include "vfw/avi_source.h"
#include "vfw/sample_blocks.h"
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

  /// The time of the stream's end in milliseconds. Nothing where only AVIFile tells it, by the header.
  std::optional<double> msEnd() const;

  std::int64_t start() const override { return blocks.firstSampleOf(aviSource.start()); }
  int read(long first, long last, BYTE* out) override;

 private:
  using Number = SampleBlocks::Number;

  // The number of no sample: as the first one held it makes every request seek.
  static constexpr Number noSample = std::numeric_limits<Number>::max();

  const WAVEFORMATEX& source() const { return *reinterpret_cast<const WAVEFORMATEX*>(sourceFormat.data()); }
  bool openDecoder();
  bool prepareDecoder();
  void findBlocks(DWORD pcmSize);
  int decode(Number first, Number last, BYTE* out);
  int seek(Number first);
  int convert(long block, LONG& count);
  int decodeNextBlock();

  const AviSource& aviSource;
  std::vector<BYTE> sourceFormat;
  WAVEFORMATEX pcmFormat = {};
  long sampleSize = 0;
  SampleBlocks blocks;
  bool isTimed = false;   // Blocks and samples correspond by what the header says of the time of a block.
  DWORD bytesOfEach = 0;  // Bytes that every block decodes to, 0 when they may differ.
  long blocksAtOnce = 1;  // How many are read and decoded at once.
  long warmUp = 0;        // Samples that the decoder must have seen before what it decodes is right.
  long sourceBlocks = 0;

  std::vector<BYTE> blockBuffer;
  std::vector<BYTE> pcmBuffer;
  AcmStreamHandle acmStream;
  AcmHeader acmHeader;  // After the stream that it is prepared for, so that it is unprepared first.

  // The decoding position, kept from one run to the next.
  Number pcmFirst = noSample;  // First and last sample held in pcmBuffer.
  Number pcmLast = -1;
  long nextBlock = 0;
  Number cursor = 0;  // Next sample to produce.
  bool conversionStarted = false;
};

}  // namespace quillet
