// How the samples of an AVIFile audio stream are read: as they are (PCM) or through the Audio Compression Manager.

#pragma once

#include <windows.h>

namespace quillet {

/// Reads runs of PCM samples of one stream. The stream is the owner's and outlives the reader.
class SampleReader {
 public:
  virtual ~SampleReader() = default;

  /// Reads samples `first` to `last`, both within the stream, into `out`.
  /// @return a vfw_error code.
  virtual int read(long first, long last, BYTE* out) = 0;
};

}  // namespace quillet
