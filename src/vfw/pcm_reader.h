// Samples of a stream that holds PCM already.

#pragma once

#include <windows.h>

#include <vfw.h>

#include "vfw/sample_reader.h"

namespace quillet {

class PcmReader : public SampleReader {
 public:
  /// @param sampleSize bytes of a sample.
  PcmReader(PAVISTREAM aviStream, LONG sampleSize) : aviStream(aviStream), sampleSize(sampleSize) {}

  int read(long first, long last, BYTE* out) override;

 private:
  PAVISTREAM aviStream;
  LONG sampleSize;
};

}  // namespace quillet
