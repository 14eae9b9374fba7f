// What goes into one stream of a new file, piece by piece.

#pragma once

#include <algorithm>
#include <atomic>
#include <memory>

#include <quillet/quillet.h>

namespace quillet::cli {

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

  /// Fetches the piece after the last one.
  /// @return false at the end.
  virtual bool next(MediaPiece& piece) = 0;

  long done() const { return position; }
  long total() const { return length; }

 protected:
  explicit MediaFeed(long length) : length(length) {}

  std::atomic<long> position = 0;

 private:
  const long length;
};

/// Decoded frames, one at a time.
class FrameFeed : public MediaFeed {
 public:
  explicit FrameFeed(std::unique_ptr<VideoSourceStream> opened);

  bool next(MediaPiece& piece) override;

  const VIDEOINFOHEADER& format() const { return frameFormat; }

 private:
  std::unique_ptr<VideoSourceStream> source;
  VIDEOINFOHEADER frameFormat = {};
};

/// Decoded samples.
class SampleFeed : public MediaFeed {
 public:
  explicit SampleFeed(std::unique_ptr<AudioSourceStream> opened);

  /// @param samples at most so many in a piece; at least 1.
  void limitPieces(long samples) { mostSamples = std::max(samples, 1L); }

  bool next(MediaPiece& piece) override;

  const WAVEFORMATEX& format() const { return sampleFormat; }

 private:
  std::unique_ptr<AudioSourceStream> source;
  const WAVEFORMATEX sampleFormat;
  long mostSamples = 65536;
};

}  // namespace quillet::cli
