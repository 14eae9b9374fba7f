// Samples of a stream that holds PCM already.

#pragma once

#include "vfw/avi_source.h"
#include "vfw/sample_reader.h"

namespace quillet {

class PcmReader : public SampleReader {
 public:
  PcmReader(const AviSource& aviSource, const WAVEFORMATEX& format) : aviSource(aviSource), format(format) {}

  std::int64_t start() const override { return aviSource.start(); }
  int read(long first, long last, BYTE* out) override;

 private:
  long readSome(long position, long count, BYTE* out) const;

  const AviSource& aviSource;
  const WAVEFORMATEX format;
};

}  // namespace quillet
