// quillet info: what a media file holds.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <type_traits>

#include "command_line.h"
#include "interruption.h"
#include "json.h"
#include "shared/failure.h"
#include "shared/library_stream.h"
#include "shared/text.h"
#include "stored_stream.h"
#include "stream_access.h"

namespace quillet::client {
namespace {

constexpr Argument arguments[] = {fileArgument};
constexpr Option jsonOption = {"--json", nullptr, "as JSON, for another program"};
constexpr Option options[] = {jsonOption, backendOption};

// As many as an AVI file can number; ends the search when a backend fails for every number.
constexpr int mostStreams = 100;

constexpr double msPerSecond = 1000.0;

/// What there is to tell of a file, for people and for programs.
struct Report {
  std::string text;
  std::string json;  ///< The streams, with commas between.
  int opened = 0;
  double duration = 0.0;  ///< In milliseconds, of the longest stream; 0 when no stream tells it.
};

/// What there is to tell of a stream.
class StreamReport {
 public:
  StreamReport(bool video, int number) : line((video ? "video " : "audio ") + std::to_string(number) + ":") {
    json.add("kind", video ? "video" : "audio");
    json.add("number", static_cast<long long>(number));
  }

  void say(const std::string& part) {
    line += (isBegun ? ", " : " ") + part;
    isBegun = true;
  }

  /// Says no more than this in a line of its own.
  void warn(const char* kind, const std::string& message) {
    warnings += std::string("  ") + kind + ": " + message + "\n";
    json.add(kind, message);
  }

  void appendTo(Report& report) const {
    report.text += line + "\n" + warnings;
    report.json += (report.json.empty() ? "" : ",\n  ") + json.text();
  }

  JsonObject json;

 private:
  std::string line;
  std::string warnings;
  bool isBegun = false;
};

std::string formatted(const char* format, double number) {
  char text[64];
  std::snprintf(text, sizeof text, format, number);
  return text;
}

std::string counted(long count, const std::string& thing) {
  return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

/// @param bitRate in bits per second.
std::string bitRateText(double bitRate) {
  constexpr double bitsPerKbit = 1000.0;
  return formatted("%.0f kbit/s", bitRate / bitsPerKbit);
}

void tellFormat(StreamReport& report, VideoSourceStream& stream, const StoredStream*) {
  const BITMAPINFOHEADER& format = *stream.format();
  const bool isTopDown = format.biHeight < 0;
  const long height = std::abs(format.biHeight);
  report.say(std::to_string(format.biWidth) + " x " + std::to_string(height) + (isTopDown ? " top-down" : ""));
  report.say(counted(stream.duration(), "frame"));
  report.say(formatted("%.6g frames/s", stream.frameRate()));
  report.json.add("width", static_cast<long long>(format.biWidth));
  report.json.add("height", static_cast<long long>(height));
  report.json.add("top_down", isTopDown);
  report.json.add("frames", static_cast<long long>(stream.duration()));
  report.json.add("frames_per_second", stream.frameRate());
}

/// Lengths of compressed audio are exact where they follow from its bytes; else from what the file says of times.
void tellFormat(StreamReport& report, AudioSourceStream& stream, const StoredStream* stored) {
  const WAVEFORMATEX& format = *stream.format();
  const bool isExact = stored != nullptr && (stream.usesDirectShow() ? !stored->isCompressed : stored->hasFixedBlocks);
  if (stored == nullptr || stored->isCompressed) {
    report.say("decoded to " + std::to_string(format.wBitsPerSample) + "-bit PCM");
  }
  report.say(counted(format.nChannels, "channel"));
  report.say((isExact ? "" : "about ") + counted(stream.duration(), "sample"));
  report.say(std::to_string(format.nSamplesPerSec) + " samples/s");
  report.json.add("channels", static_cast<long long>(format.nChannels));
  report.json.add("bits_per_sample", static_cast<long long>(format.wBitsPerSample));
  report.json.add("samples", static_cast<long long>(stream.duration()));
  report.json.add("samples_are_estimated", !isExact);
  report.json.add("samples_per_second", static_cast<long long>(format.nSamplesPerSec));
}

void tellStored(StreamReport& report, const StoredStream& stored, long frames) {
  if (stored.keyFrames > 0) {
    const bool areAll = stored.keyFrames == frames && frames > 1;
    report.say(areAll
                   ? "all key frames"
                   : counted(stored.keyFrames, "key frame") +
                         (stored.keyFrameDistance > 0 ? " at most " + std::to_string(stored.keyFrameDistance) + " apart"
                                                      : ""));
    report.json.add("key_frames", static_cast<long long>(stored.keyFrames));
  }
  if (stored.keyFrameDistance > 0) {
    report.json.add("key_frame_distance", static_cast<long long>(stored.keyFrameDistance));
  }
  if (stored.bitRate > 0) {
    report.say(bitRateText(static_cast<double>(stored.bitRate)));
    report.json.add("bit_rate", stored.bitRate);
  }
}

/// What is known of how the file stores a stream; of what DirectShow may have decoded nothing.
template <class Stream>
std::optional<StoredStream> storedBehind(Stream& stream, const std::filesystem::path& path, int number) {
  constexpr bool isVideo = std::is_same_v<Stream, VideoSourceStream>;
  auto stored = storedStream(path, isVideo, number);
  // Samples of sound it would play through to count them.
  if (!stored && isVideo && stream.usesDirectShow()) {
    const std::unique_ptr<RawDataSourceStream> raw(
        RawDataSourceStream::open(path.c_str(), true, true, number, interruption()));
    if (raw != nullptr && raw->duration() >= 0) {
      stored = storedStream(*raw);
    }
    if (stored && !stored->isCompressed) {
      stored.reset();
    }
  }
  return stored;
}

template <class Stream>
void tellStream(StreamReport& report, Stream& stream, const std::filesystem::path& path, int number, double& longest) {
  const std::string warning = stream.lastError != common_error::success ? lastErrorText(stream) : "";
  const std::optional<StoredStream> stored = storedBehind(stream, path, number);
  report.json.add("backend", stream.usesDirectShow() ? "ds" : "vfw");
  if (stored && !stored->codec.empty()) {
    report.say(stored->codec);
    report.json.add("format", stored->codec);
    report.json.add("is_compressed", stored->isCompressed);
  }
  tellFormat(report, stream, stored ? &*stored : nullptr);
  const double duration = stream.msDuration();
  if (duration >= 0.0) {
    report.say(formatted("%.3f s", duration / msPerSecond));
    report.json.add("duration_ms", duration);
    longest = std::max(longest, duration);
  } else {
    report.say("duration unknown: " + lastErrorText(stream));
  }
  if (stored) {
    tellStored(report, *stored, stream.duration());
  }
  report.say(backendName(stream.usesDirectShow()));
  if (!warning.empty()) {
    report.warn("warning", warning);
  }
}

/// Tells of the streams of one kind, asking for one number after the other until there is none.
/// @return why the first one could not be opened, if so.
template <class Stream>
std::string tellStreams(Report& report, MediaFile& file) {
  std::string failure;
  for (int number = 0; number < mostStreams; ++number) {
    const Opening<Stream> opening = file.tryOpen<Stream>(number);
    if (failure.empty()) {
      failure = opening.failure;
    }
    if (!opening.exists) {
      break;
    }
    StreamReport stream(std::is_same_v<Stream, VideoSourceStream>, number);
    if (opening.stream != nullptr) {
      tellStream(stream, *opening.stream, file.path(), number, report.duration);
      ++report.opened;
    } else {
      stream.say(opening.failure);
      stream.json.add("error", opening.failure);
    }
    stream.appendTo(report);
  }
  return failure;
}

void print(const Report& report, const std::filesystem::path& path, bool asJson) {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  const double bitRate =
      error || report.duration <= 0.0 ? 0.0 : static_cast<double>(size) * 8 * msPerSecond / report.duration;
  if (asJson) {
    JsonObject json;
    json.add("file", displayName(path));
    if (!error) {
      json.add("bytes", static_cast<long long>(size));
    }
    if (bitRate > 0.0) {
      json.add("bit_rate", std::round(bitRate));
    }
    json.addValue("streams", "[\n  " + report.json + "]");
    std::printf("%s\n", json.text().c_str());
    return;
  }
  std::fputs(report.text.c_str(), stdout);
  if (bitRate > 0.0) {
    std::printf("file: %llu bytes, %s\n", static_cast<unsigned long long>(size), bitRateText(bitRate).c_str());
  }
}

void run(const CommandLine& line) {
  MediaFile file(line);
  Report report;
  const std::string videoFailure = tellStreams<VideoSourceStream>(report, file);
  const std::string audioFailure = tellStreams<AudioSourceStream>(report, file);
  if (report.opened > 0) {
    print(report, file.path(), line.has(jsonOption.name));
    return;
  }
  const std::string reasons =
      videoFailure == audioFailure ? " " + videoFailure : "\n  video: " + videoFailure + "\n  audio: " + audioFailure;
  throw Failure("cannot open any stream of '" + displayName(file.path()) + "':" + reasons);
}

}  // namespace

const Command infoCommand = {"info", "List the video and audio streams of a media file", arguments, options, run};

}  // namespace quillet::client
