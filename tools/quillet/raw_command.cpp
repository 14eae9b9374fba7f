// quillet raw: the compressed samples of a stream, one by one.

#include <cstdio>
#include <string>

#include "command_line.h"
#include "interruption.h"
#include "raw_reader.h"
#include "shared/failure.h"
#include "stored_stream.h"
#include "stream_access.h"

namespace quillet::client {
namespace {

constexpr Argument arguments[] = {fileArgument};
constexpr Option audioOption = {"--audio", nullptr, "of an audio stream (default: of a video stream)"};
constexpr Option csvOption = {"--csv", nullptr, "as comma-separated values, for another program"};
constexpr Option options[] = {audioOption, csvOption, streamOption, backendOption};

/// Milliseconds; nothing when the backend cannot tell them.
std::string timeText(double ms) {
  char text[32] = "";
  if (ms >= 0.0) {
    std::snprintf(text, sizeof text, "%.3f", ms);
  }
  return text;
}

void run(const CommandLine& line) {
  MediaFile file(line);
  const auto stream = file.openRaw(line, !line.has(audioOption.name));
  warnOfDecoded(*stream, file.path(), chosenStream(line));
  const bool isCsv = line.has(csvOption.name);
  std::puts(isCsv ? "sample,count,bytes,key,ms" : "    sample     count     bytes  key          ms");

  RawReader reader(*stream);
  RawSample sample;
  while (reader.next(sample)) {
    throwIfInterrupted();
    std::printf(isCsv ? "%ld,%ld,%ld,%d,%s\n" : "%10ld %9ld %9ld %4d %11s\n", sample.number, sample.count, sample.bytes,
                sample.isKey ? 1 : 0, timeText(sample.ms).c_str());
  }
  if (!reader.missing().empty()) {
    throw Failure("samples not read: " + reader.missing());
  }
}

}  // namespace

const Command rawCommand = {"raw", "List the compressed samples of a stream", arguments, options, run};

}  // namespace quillet::client
