// quillet time: from sample numbers to stream times and back.

#include <algorithm>
#include <cstdio>
#include <string>

#include "command_line.h"
#include "shared/failure.h"
#include "shared/library_stream.h"
#include "shared/text.h"
#include "stream_access.h"

namespace quillet::client {
namespace {

constexpr Argument arguments[] = {fileArgument};
constexpr Option sampleOption = {"--sample", "N", "tell the time of frame (or sample) N"};
constexpr Option timeOption = {"--ms", "T", "tell the frame (or sample) at T milliseconds"};
constexpr Option audioOption = {"--audio", nullptr, "of an audio stream: samples (default: frames of a video stream)"};
constexpr Option options[] = {sampleOption, timeOption, audioOption, streamOption, backendOption};

/// By the stream's rate rather than by its own conversion, which over Video for Windows knows whole milliseconds only:
/// so that a number comes back from its time.
template <class Stream>
void convert(const CommandLine& line, const char* unit) {
  const auto stream = MediaFile(line).open<Stream>(line);
  const bool fromSample = line.has(sampleOption.name);
  const double ms = fromSample ? timeOf(*stream, line.number(sampleOption.name)) : line.decimal(timeOption.name);
  const long length = stream->duration();
  if (ms < 0.0 || ms >= timeOf(*stream, length)) {
    throw Failure(toUtf8(line.text((fromSample ? sampleOption : timeOption).name)) + " is outside of the stream: " +
                  rangeText(unit, length) + ", until " + timeText(timeOf(*stream, length)));
  }
  // The last one is shown, or heard, to its end.
  const long sample = fromSample ? line.number(sampleOption.name) : std::min(numberAt(*stream, ms), length - 1);
  std::printf("%s %ld: %.3f ms\n", unit, sample, ms);
}

void run(const CommandLine& line) {
  if (line.has(sampleOption.name) == line.has(timeOption.name)) {
    throw wrongUsage("give either --sample or --ms");
  }
  if (line.has(audioOption.name)) {
    convert<AudioSourceStream>(line, "sample");
  } else {
    convert<VideoSourceStream>(line, "frame");
  }
}

}  // namespace

const Command timeCommand = {"time", "Convert between frame or sample numbers and times (give --sample or --ms)",
                             arguments, options, run};

}  // namespace quillet::client
