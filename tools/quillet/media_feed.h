// What goes into one stream of a new file, piece by piece.

#pragma once

#include <algorithm>
#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include <quillet/quillet.h>

#include "raw_reader.h"

namespace quillet::client {

/// A run of frames or samples.
struct MediaPiece {
  long first = 0;
  unsigned char* data = nullptr;  ///< Valid until the next piece is fetched.
  long count = 0;
  long bytes = 0;
  bool key = true;
};

/// Fetched from by one thread; any thread may ask how far it has come.
class MediaFeed {
 public:
  virtual ~MediaFeed() = default;

  /// Fetches the piece after the last one; a Failure when the user has interrupted the command.
  /// @return false at the end.
  bool next(MediaPiece& piece);

  long done() const { return position; }
  long total() const { return length; }

  /// @param count at most so many frames or samples in a piece; at least 1.
  void limitPieces(long count) { most = std::max(count, 1L); }

 protected:
  explicit MediaFeed(long length) : length(length) {}

  std::atomic<long> position = 0;
  long most = 65536;

 private:
  virtual bool fetch(MediaPiece& piece) = 0;

  const long length;
};

/// Decoded frames, one at a time.
class FrameFeed : public MediaFeed {
 public:
  explicit FrameFeed(std::unique_ptr<VideoSourceStream> opened);

  const VIDEOINFOHEADER& format() const { return frameFormat; }

 private:
  bool fetch(MediaPiece& piece) override;

  std::unique_ptr<VideoSourceStream> source;
  VIDEOINFOHEADER frameFormat = {};
};

/// Decoded samples.
class SampleFeed : public MediaFeed {
 public:
  explicit SampleFeed(std::unique_ptr<AudioSourceStream> opened);

  const WAVEFORMATEX& format() const { return sampleFormat; }

 private:
  bool fetch(MediaPiece& piece) override;

  std::unique_ptr<AudioSourceStream> source;
  const WAVEFORMATEX sampleFormat;
};

/// Samples as the file stores them, in that order. Uncompressed audio comes in pieces, all else sample by sample.
class RawFeed : public MediaFeed {
 public:
  explicit RawFeed(std::unique_ptr<RawDataSourceStream> opened);

  /// The stream's formats, each null for a stream of the other kind. Valid as long as the feed.
  const VIDEOINFOHEADER* videoFormat() const;
  const WAVEFORMATEX* audioFormat() const;

  /// What the feed reads from.
  RawDataSourceStream& stream() { return *source; }

  /// How far the pieces have come in time, in milliseconds.
  double reachedMs() const { return sample.ms; }

  /// @name Known at the end
  /// @{

  /// What of the stream could not be read, in words; empty for nothing.
  const std::string& missing() const { return reader.missing(); }

  /// By how many frames the farthest one comes later than its number says. A file numbers frames as it stores them, and
  /// has no place for one behind others that are shown after it.
  long delay() const { return mostDelay; }
  /// @}

 private:
  bool fetch(MediaPiece& piece) override;

  std::unique_ptr<RawDataSourceStream> source;
  std::vector<BYTE> formatBlock;
  RawReader reader;
  RawSample sample;  // What is left of it.
  long nextNumber = 0;
  long mostDelay = 0;
};

}  // namespace quillet::client
