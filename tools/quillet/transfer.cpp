#include "transfer.h"

#include <cstdio>
#include <system_error>

#include "failure.h"
#include "text.h"

namespace quillet::client {

Wish wishFor(const CommandLine& line, bool video) {
  if (line.has((video ? videoOption : audioOption).name)) {
    return Wish::required;
  }
  return line.has((video ? audioOption : videoOption).name) ? Wish::unwanted : Wish::ifThere;
}

std::filesystem::path outPath(const CommandLine& line) {
  const std::filesystem::path in = line.text(inArgument.name);
  std::filesystem::path out = line.text(outArgument.name);
  std::error_code ignored;
  if (std::filesystem::equivalent(in, out, ignored)) {
    throw wrongUsage("IN and OUT are the same file");
  }
  return out;
}

std::optional<double> chosenPeriod(const CommandLine& line) {
  return line.has(periodOption.name) ? std::optional(line.decimal(periodOption.name)) : std::nullopt;
}

void reportTransfer(const std::filesystem::path& out, const MediaFeed* video, const MediaFeed* audio) {
  std::printf("%s: %ld frames, %ld samples\n", displayName(out).c_str(), video != nullptr ? video->done() : 0,
              audio != nullptr ? audio->done() : 0);
}

}  // namespace quillet::client
