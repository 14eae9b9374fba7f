#include "avi_check.h"

#include <cstdint>
#include <cstring>
#include <fstream>
#include <memory>
#include <system_error>

#include <quillet/quillet.h>

#include "interruption.h"
#include "stored_stream.h"
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

/// @param stream that Video for Windows has opened, which counts by the index and the bytes.
/// @param unit "frames" or "samples".
/// @param tolerance how many of them may be missing.
std::string faultOfStream(SourceStream* stream, const std::string& unit, long written, long tolerance = 0) {
  const std::string failure = failureOf(stream, false);
  const long found = stream != nullptr ? stream->duration() : -1;
  if (found < 0) {
    return "the " + unit + " in it cannot be read: " + failure;
  }
  return found >= written - tolerance
             ? ""
             : "it has " + std::to_string(found) + " of " + std::to_string(written) + " " + unit;
}

std::string faultOfFrames(const wchar_t* path, long written) {
  const std::unique_ptr<SourceStream> stream(RawDataSourceStream::open(path, true, false, 0, interruption()));
  return faultOfStream(stream.get(), "frames", written);
}

std::string faultOfSamples(const wchar_t* path, long written, bool areCopied) {
  const std::unique_ptr<RawDataSourceStream> stream(RawDataSourceStream::open(path, false, false, 0, interruption()));
  std::string fault = faultOfStream(stream.get(), "samples", 0);
  if (!fault.empty()) {
    return fault;
  }
  const StoredStream stored = storedStream(*stream);
  if (!stored.hasFixedBlocks) {
    return "";  // Their number does not follow from anything.
  }
  if (areCopied) {
    return faultOfStream(stream.get(), "samples", written);
  }
  const std::unique_ptr<AudioSourceStream> decoded(AudioSourceStream::open(path, false, 0, interruption()));
  // A compressor may leave out what does not fill a block, none of which is as long as this.
  const long rate = decoded != nullptr ? static_cast<long>(decoded->format()->nSamplesPerSec) : 0;
  return faultOfStream(decoded.get(), "samples", written, stored.isCompressed ? rate / 8 : 0);
}

}  // namespace

std::string faultOf(const std::filesystem::path& path, bool directShow, const AviLengths& written) {
  if (!hasItsChunks(path)) {
    return "not all of it has arrived";
  }
  if (directShow) {  // Which tells lengths by time only.
    int video = 0;
    int audio = 0;
    const MediaContainer::Error error = MediaContainer::streamsNumber(path.c_str(), true, &video, &audio);
    if (error != MediaContainer::Success) {
      return std::string("it cannot be read: ") + MediaContainer::Message(error);
    }
    return (written.frames == 0 || video > 0) && (written.samples == 0 || audio > 0) ? "" : "a stream is missing in it";
  }
  const std::string fault = written.frames > 0 ? faultOfFrames(path.c_str(), written.frames) : "";
  return fault.empty() && written.samples > 0 ? faultOfSamples(path.c_str(), written.samples, written.areCopied)
                                              : fault;
}

}  // namespace quillet::client
