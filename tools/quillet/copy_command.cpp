// quillet copy and quillet convert: the streams of a media file in a new AVI file.

#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "avi_output.h"
#include "command_line.h"
#include "compression.h"
#include "failure.h"
#include "media_feed.h"
#include "stream_access.h"
#include "text.h"

namespace quillet::cli {
namespace {

constexpr Argument inArgument = {"IN", "media file"};
constexpr Argument outArgument = {"OUT", "AVI file to write"};
constexpr Argument arguments[] = {inArgument, outArgument};

constexpr Option videoOption = {"--video", nullptr, "the video stream (default: both, as far as the file has them)"};
constexpr Option audioOption = {"--audio", nullptr, "the audio stream"};
constexpr Option periodOption = {"--period", "MS", "milliseconds of a stream that stand together in the file"};
constexpr Option videoCodecOption = {"--video-codec", "FOURCC", "compressor of the frames (default: uncompressed)"};
constexpr Option audioFormatOption = {"--audio-format", "FORMAT", audioFormatHelp};
constexpr Option copyOptions[] = {videoOption, audioOption, periodOption, backendOption};
constexpr Option convertOptions[] = {videoOption,       audioOption,  videoCodecOption,
                                     audioFormatOption, periodOption, backendOption};

/// Opens the first stream of a kind, and with it `feed`, unless the user wants the other kind alone. A file need not have
/// what the user did not ask for.
template <class Feed, class Stream>
void openWanted(std::optional<Feed>& feed, const MediaFile& file, const CommandLine& line, const Option& wanted,
                const Option& other) {
  if (line.has(wanted.name)) {
    feed.emplace(file.open<Stream>(line));
    return;
  }
  if (line.has(other.name)) {
    return;
  }
  Opening<Stream> opening = file.tryOpen<Stream>(0);
  if (opening.stream != nullptr) {
    feed.emplace(std::move(opening.stream));
  } else if (opening.exists) {
    std::fprintf(stderr, "quillet: warning: the %s stream is left out: %s\n", wanted.name + 2, opening.failure.c_str());
  }
}

/// The value of an option that says how a stream is compressed.
/// @return null when it is not given.
const std::wstring* compressionOf(const CommandLine& line, const Option& option, bool isWritten) {
  if (!line.has(option.name)) {
    return nullptr;
  }
  if (!isWritten) {
    throw wrongUsage(std::string(option.name) + ": no such stream is written");
  }
  return &line.text(option.name);
}

void run(const CommandLine& line) {
  const MediaFile file(line, inArgument);
  const std::filesystem::path outPath = line.text(outArgument.name);
  std::error_code ignored;
  if (std::filesystem::equivalent(file.path(), outPath, ignored)) {
    throw wrongUsage("IN and OUT are the same file");
  }
  std::optional<FrameFeed> video;
  std::optional<SampleFeed> audio;
  openWanted<FrameFeed, VideoSourceStream>(video, file, line, videoOption, audioOption);
  openWanted<SampleFeed, AudioSourceStream>(audio, file, line, audioOption, videoOption);
  if (!video && !audio) {
    throw Failure("cannot open any stream of '" + displayName(file.path()) + "'");
  }

  std::optional<Compression> videoCompression;
  std::optional<Compression> audioCompression;
  if (const std::wstring* const codec = compressionOf(line, videoCodecOption, video.has_value())) {
    videoCompression = Compression::ofVideo(toUtf8(*codec));
  }
  if (const std::wstring* const format = compressionOf(line, audioFormatOption, audio.has_value())) {
    audioCompression = Compression::ofAudio(toUtf8(*format), audio->format());
  }
  const std::optional<double> period =
      line.has(periodOption.name) ? std::optional(line.decimal(periodOption.name)) : std::nullopt;
  AviContent content;
  content.video = video ? &*video : nullptr;
  content.audio = audio ? &*audio : nullptr;
  content.videoCompression = videoCompression ? &*videoCompression : nullptr;
  content.audioCompression = audioCompression ? &*audioCompression : nullptr;
  AviOutput output(outPath, chosenBackends(line), content);
  if (period) {
    output.setInterleavingPeriod(*period);
  }
  output.write();
  std::printf("%s: %ld frames, %ld samples\n", displayName(outPath).c_str(), video ? video->total() : 0,
              audio ? audio->total() : 0);
}

}  // namespace

const Command copyCommand = {"copy", "Copy the streams of a media file into an AVI file", arguments, copyOptions, run};

const Command convertCommand = {"convert", "Compress the streams of a media file into an AVI file", arguments,
                                convertOptions, run};

}  // namespace quillet::cli
