// quillet raw: the compressed samples of a stream, one by one.

#include <algorithm>
#include <cstdio>
#include <string>

#include "command_line.h"
#include "failure.h"
#include "stream_access.h"

namespace quillet::cli {
namespace {

constexpr Argument arguments[] = {fileArgument};
constexpr Option audioOption = {"--audio", nullptr, "of an audio stream (default: of a video stream)"};
constexpr Option csvOption = {"--csv", nullptr, "as comma-separated values, for another program"};
constexpr Option options[] = {audioOption, csvOption, streamOption, backendOption};

struct Sample {
  long number = 0;
  long count = 0;
  long bytes = 0;
  bool isKey = false;
};

/// Reads the sample that covers `number`.
/// @return false when the stream has none for it, but may have later ones.
bool readSample(RawDataSourceStream& stream, long number, Sample& sample) {
  sample = {.number = number};
  if (stream.getData(sample.number, sample.count, sample.bytes, sample.isKey) != nullptr) {
    return true;
  }
  const int notFound =
      stream.usesDirectShow() ? static_cast<int>(ds_error::dataNotFound) : static_cast<int>(vfw_error::dataNotFound);
  if (stream.lastError != notFound) {
    throw Failure("sample " + std::to_string(number) + ": " + lastErrorText(stream));
  }
  return false;
}

/// @return where to go on when there is no sample `number`: a backend may know the next one.
long skip(RawDataSourceStream& stream, long number) {
  long next = number;
  stream.StreamSampleToTime(next);
  return std::max(next, number + 1);
}

/// The time of a sample in milliseconds; nothing when the backend cannot tell it.
std::string timeOf(RawDataSourceStream& stream, long number) {
  const double time = stream.StreamSampleToTime(number);
  if (time < 0.0) {
    return "";
  }
  char text[32];
  std::snprintf(text, sizeof text, "%.3f", time);
  return text;
}

void run(const CommandLine& line) {
  const MediaFile file(line);
  const auto stream = file.openRaw(line, !line.has(audioOption.name));
  const bool isCsv = line.has(csvOption.name);
  std::puts(isCsv ? "sample,count,bytes,key,ms" : "    sample     count     bytes  key          ms");

  const long length = stream->duration();
  // A sample that is empty or missing is served by another one, which is listed once.
  long firstUnlisted = 0;
  for (long next = 0; next < length;) {
    Sample sample;
    if (!readSample(*stream, next, sample)) {
      next = skip(*stream, next);
      continue;
    }
    if (sample.number < firstUnlisted) {
      ++next;
      continue;
    }
    std::printf(isCsv ? "%ld,%ld,%ld,%d,%s\n" : "%10ld %9ld %9ld %4d %11s\n", sample.number, sample.count, sample.bytes,
                sample.isKey ? 1 : 0, timeOf(*stream, sample.number).c_str());
    firstUnlisted = sample.number + std::max(sample.count, 1L);
    next = std::max(firstUnlisted, next + 1);
  }
}

}  // namespace

const Command rawCommand = {"raw", "List the compressed samples of a stream", arguments, options, run};

}  // namespace quillet::cli
