#include "transfer.h"

#include <cstdio>

#include <windows.h>

#include "shared/failure.h"
#include "shared/text.h"

namespace quillet::client {
namespace {

/// Asks for what tells a file from all others, whatever name leads to it: another drive's, a link's, one with a prefix.
/// @return whether there is such a file.
bool identify(const std::filesystem::path& path, BY_HANDLE_FILE_INFORMATION& identity) {
  auto* const file = CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                 OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    return false;
  }
  const bool isIdentified = GetFileInformationByHandle(file, &identity) != 0;
  CloseHandle(file);
  return isIdentified;
}

bool areOneFile(const std::filesystem::path& a, const std::filesystem::path& b) {
  BY_HANDLE_FILE_INFORMATION first = {};
  BY_HANDLE_FILE_INFORMATION second = {};
  return identify(a, first) && identify(b, second) && first.dwVolumeSerialNumber == second.dwVolumeSerialNumber &&
         first.nFileIndexHigh == second.nFileIndexHigh && first.nFileIndexLow == second.nFileIndexLow;
}

}  // namespace

Wish wishFor(const CommandLine& line, bool video) {
  if (line.has((video ? videoOption : audioOption).name)) {
    return Wish::required;
  }
  return line.has((video ? audioOption : videoOption).name) ? Wish::unwanted : Wish::ifThere;
}

std::filesystem::path outPath(const CommandLine& line) {
  const std::filesystem::path in = line.text(inArgument.name);
  std::filesystem::path out = line.text(outArgument.name);
  if (areOneFile(in, out)) {
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
