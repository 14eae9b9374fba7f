// How the samples of an AVIFile audio stream are read: as they are (PCM) or through the Audio Compression Manager.

#pragma once

#include <cstdint>

#include <windows.h>

#include <mmreg.h>

namespace quillet {

/// Reads runs of PCM samples of one stream. The stream is the owner's and outlives the reader.
class SampleReader {
 public:
  virtual ~SampleReader() = default;

  /// The number of the first sample that the stream holds.
  virtual std::int64_t start() const = 0;

  /// Reads samples `first` to `last`, both within the stream and none before its start, into `out`.
  /// @return a vfw_error code.
  virtual int read(long first, long last, BYTE* out) = 0;
};

}  // namespace quillet
