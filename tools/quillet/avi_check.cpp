#include "avi_check.h"

#include <cstdint>
#include <cstring>
#include <fstream>
#include <memory>
#include <system_error>

#include <quillet/quillet.h>

#include "interruption.h"
#include "stream_access.h"

namespace quillet::client {
namespace {

/// Whether the file has all of the RIFF chunks that it says it has; a large one has several.
bool hasItsChunks(const std::filesystem::path& path) {
  struct {
    char id[4];
    std::uint32_t size;
  } header;
  std::error_code error;
  const std::uint64_t size = std::filesystem::file_size(path, error);
  std::ifstream file(path, std::ios::binary);
  std::uint64_t end = 0;
  // Ends: each turn comes farther, and beyond the end of the file nothing can be read.
  while (!error && file.read(reinterpret_cast<char*>(&header), sizeof header) &&
         std::memcmp(header.id, "RIFF", sizeof header.id) == 0) {
    end += end % 2 + sizeof header + header.size;
    file.seekg(static_cast<std::streamoff>(end + end % 2));
  }
  return end > sizeof header && end <= size;
}

/// What Video for Windows, which opens a file by its index, finds wrong with a stream.
std::string faultOfStream(const std::filesystem::path& path, bool video, long length, bool isExact) {
  const std::unique_ptr<RawDataSourceStream> stream(
      RawDataSourceStream::open(path.c_str(), video, false, 0, interruption()));
  const std::string failure = failureOf(stream.get(), false);
  const long found = stream != nullptr ? stream->duration() : -1;
  if (found > 0 && (found == length || !isExact)) {
    return "";
  }
  const std::string kind = video ? "frames" : "samples";
  return found < 0 ? "the " + kind + " in it cannot be read: " + failure
                   : "it has " + std::to_string(found) + " of " + std::to_string(length) + " " + kind;
}

}  // namespace

std::string faultOf(const std::filesystem::path& path, bool directShow, const AviLengths& written) {
  if (!hasItsChunks(path)) {
    return "not all of it has arrived";
  }
  if (directShow) {  // Which has lengths by time only.
    int video = 0;
    int audio = 0;
    const MediaContainer::Error error = MediaContainer::streamsNumber(path.c_str(), true, &video, &audio);
    if (error != MediaContainer::Success) {
      return std::string("it cannot be read: ") + MediaContainer::Message(error);
    }
    return (written.frames == 0 || video > 0) && (written.samples == 0 || audio > 0) ? "" : "a stream is missing in it";
  }
  std::string fault = written.frames > 0 ? faultOfStream(path, true, written.frames, true) : "";
  if (fault.empty() && written.samples > 0) {
    fault = faultOfStream(path, false, written.samples, written.hasPcm);
  }
  return fault;
}

}  // namespace quillet::client
