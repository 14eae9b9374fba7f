// A WAV file, written by the platform's multimedia file functions.

#pragma once

#include <filesystem>
#include <memory>

#include <windows.h>

#include <mmsystem.h>

#include "shared/output_file.h"

namespace quillet::client {

struct MmioDeleter {
  using pointer = HMMIO;
  void operator()(HMMIO file) const { mmioClose(file, 0); }
};

/// Removed again unless finish() succeeds.
class WaveFile {
 public:
  /// @param size bytes that will be written: a file cannot take them all when they are too many.
  WaveFile(const std::filesystem::path& path, const WAVEFORMATEX& format, long long size);

  void write(const void* bytes, long size);

  /// Completes the header and closes the file.
  void finish();

 private:
  void require(MMRESULT result) const;

  std::filesystem::path path;
  UnfinishedFile unfinished;
  std::unique_ptr<HMMIO, MmioDeleter> file;
  MMCKINFO riff = {};
  MMCKINFO data = {};
};

}  // namespace quillet::client
