// A new AVI file, written through the library.

#pragma once

#include <filesystem>
#include <memory>
#include <span>
#include <string>

#include <quillet/quillet.h>

#include "compression.h"
#include "media_feed.h"
#include "output_file.h"
#include "stream_access.h"

namespace quillet::cli {

/// What goes into the file: at least one of the feeds, and how each is compressed.
struct AviContent {
  FrameFeed* video = nullptr;
  SampleFeed* audio = nullptr;
  Compression* videoCompression = nullptr;
  Compression* audioCompression = nullptr;
};

/// Removed again unless write() succeeds.
class AviOutput {
 public:
  /// Creates the file with the first of the backends that can.
  /// @param content must outlive the output.
  AviOutput(const std::filesystem::path& path, std::span<const Backend> backends, const AviContent& content);

  /// @param ms how much of a stream stands together in the file.
  void setInterleavingPeriod(double ms);

  /// Writes both feeds to their ends, in turns, and completes the file.
  void write();

 private:
  void create(const std::string& libraryName, std::span<const Backend> backends);
  void setCompressors();
  void writeInTurns();
  Failure failure() const;

  std::filesystem::path path;
  AviContent content;
  UnfinishedFile unfinished;
  std::unique_ptr<OutputAVIFile> file;
};

}  // namespace quillet::cli
