// A WAV file.

#pragma once

#include <filesystem>

#include <windows.h>

#include <mmreg.h>

#include "shared/output_file.h"

namespace quillet::client {

/// Removed again unless finish() succeeds.
class WaveFile {
 public:
  /// @param size bytes that will be written: a file cannot take them all when they are too many.
  WaveFile(const std::filesystem::path& path, const WAVEFORMATEX& format, long long size);

  void write(const void* bytes, long size) { file.write(bytes, size); }

  /// Completes the file, to which all bytes have been written.
  void finish();

 private:
  PendingFile file;
  const bool isPadded;
};

}  // namespace quillet::client
