// quillet time: from sample numbers to stream times and back.

#include <cstdio>
#include <memory>
#include <string>

#include "command_line.h"
#include "failure.h"
#include "library_stream.h"
#include "stream_access.h"

namespace quillet::client {
namespace {

constexpr Argument arguments[] = {fileArgument};
constexpr Option sampleOption = {"--sample", "N", "tell the time of frame (or sample) N"};
constexpr Option timeOption = {"--ms", "T", "tell the frame (or sample) at T milliseconds"};
constexpr Option audioOption = {"--audio", nullptr, "of an audio stream: samples (default: frames of a video stream)"};
constexpr Option options[] = {sampleOption, timeOption, audioOption, streamOption, backendOption};

std::unique_ptr<SourceStream> openStream(const CommandLine& line) {
  const MediaFile file(line);
  if (line.has(audioOption.name)) {
    return file.open<AudioSourceStream>(line);
  }
  return file.open<VideoSourceStream>(line);
}

/// Any other negative result is a time or a number before the start of the stream.
template <class Number>
bool isFailure(Number result, const SourceStream& stream) {
  return result == Number{-1} && stream.lastError != common_error::success;
}

void run(const CommandLine& line) {
  const bool fromSample = line.has(sampleOption.name);
  if (fromSample == line.has(timeOption.name)) {
    throw wrongUsage("give either --sample or --ms");
  }
  long sample = fromSample ? line.number(sampleOption.name) : 0;
  double time = fromSample ? 0.0 : line.decimal(timeOption.name);

  const std::unique_ptr<SourceStream> stream = openStream(line);
  bool failed = false;
  if (fromSample) {
    time = stream->StreamSampleToTime(sample);
    failed = isFailure(time, *stream);
  } else {
    sample = stream->StreamTimeToSample(time);
    failed = isFailure(sample, *stream);
  }
  if (failed) {
    throw Failure(lastErrorText(*stream));
  }
  printWarning(*stream);
  std::printf("%s %ld: %.3f ms\n", line.has(audioOption.name) ? "sample" : "frame", sample, time);
}

}  // namespace

const Command timeCommand = {"time", "Convert between frame or sample numbers and times (give --sample or --ms)",
                             arguments, options, run};

}  // namespace quillet::client
