#include "media_feed.h"

#include <string>
#include <utility>

#include "failure.h"
#include "stream_access.h"

namespace quillet::cli {

FrameFeed::FrameFeed(std::unique_ptr<VideoSourceStream> opened)
    : MediaFeed(opened->duration()), source(std::move(opened)) {
  source->videoInfo(frameFormat);
}

bool FrameFeed::next(MediaPiece& piece) {
  if (position >= total()) {
    return false;
  }
  // Where the stream has dropped a frame, the one that is shown in its place.
  long frame = position;
  unsigned char* const bits = source->getFrameBits(frame);
  if (bits == nullptr) {
    throw Failure("frame " + std::to_string(position) + ": " + lastErrorText(*source));
  }
  piece = {position, bits, 1, static_cast<long>(source->format()->biSizeImage), true};
  ++position;
  return true;
}

SampleFeed::SampleFeed(std::unique_ptr<AudioSourceStream> opened)
    : MediaFeed(opened->duration()), source(std::move(opened)), sampleFormat(*source->format()) {}

bool SampleFeed::next(MediaPiece& piece) {
  const long first = position;
  const long count = std::min(mostSamples, total() - first);
  if (count <= 0) {
    return false;
  }
  unsigned char* const samples = source->getSamples(first, first + count - 1);
  if (samples == nullptr) {
    throw Failure("samples from " + std::to_string(first) + ": " + lastErrorText(*source));
  }
  piece = {first, samples, count, count * sampleFormat.nBlockAlign, true};
  position += count;
  return true;
}

}  // namespace quillet::cli
