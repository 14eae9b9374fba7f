// A new AVI file, written through the library.

#pragma once

#include <filesystem>
#include <memory>
#include <span>
#include <string>

#include <quillet/quillet.h>

#include "compression.h"
#include "media_feed.h"
#include "shared/output_file.h"
#include "stream_access.h"

namespace quillet::client {

/// What goes into the file: at least one of the streams, and how each is compressed.
struct AviContent {
  const VIDEOINFOHEADER* video = nullptr;
  const WAVEFORMATEX* audio = nullptr;
  Compression* videoCompression = nullptr;
  Compression* audioCompression = nullptr;
  bool userChooses = false;  ///< In dialogs, how the streams are compressed for which nothing is said here.
};

/// Takes its place when write() or copy() has written all, and is looked at before; otherwise nothing is left of it.
class AviOutput {
 public:
  /// Creates the file with the first of the backends that can.
  /// @param content must outlive the output.
  AviOutput(const std::filesystem::path& path, std::span<const Backend> backends, const AviContent& content);

  /// @param ms how much of a stream stands together in the file.
  void setInterleavingPeriod(double ms);

  /// Writes the feeds to their ends, each on a thread of its own, in turns, and completes the file. Either may be null.
  void write(MediaFeed* video, MediaFeed* audio);

  /// The same on the calling thread, always what comes first: for streams whose numbers tell no time.
  void copy(RawFeed* video, RawFeed* audio);

 private:
  void start(MediaFeed* audio);
  void finish(const MediaFeed* video, const MediaFeed* audio, bool areCopied);
  void create(std::span<const Backend> backends);
  Compression* compressionOf(bool isVideo) const;
  bool isCompressed(bool isVideo) const;
  void setCompressors();
  void setCompressor(bool isVideo, Compression& compression);
  void letUserChoose(bool isVideo);
  void letUserConfigure(bool isVideo);
  void warn(bool isVideo, const char* state) const;
  void writeInTurns(MediaFeed* video, MediaFeed* audio);
  Failure failure();

  AviContent content;
  PendingFile pending;
  std::unique_ptr<OutputAVIFile> file;
};

}  // namespace quillet::client
