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
  std::unique_ptr<Stream> stream;
  if (line.has(wanted.name)) {
    stream = file.open<Stream>(line);
  } else if (!line.has(other.name)) {
    stream = file.tryOpen<Stream>(0).stream;
  }
  if (stream != nullptr) {
    feed.emplace(std::move(stream));
  }
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
  if (video && line.has(videoCodecOption.name)) {
    videoCompression = Compression::ofVideo(toUtf8(line.text(videoCodecOption.name)));
  }
  if (audio && line.has(audioFormatOption.name)) {
    audioCompression = Compression::ofAudio(toUtf8(line.text(audioFormatOption.name)), audio->format());
  }
  AviContent content;
  content.video = video ? &*video : nullptr;
  content.audio = audio ? &*audio : nullptr;
  content.videoCompression = videoCompression ? &*videoCompression : nullptr;
  content.audioCompression = audioCompression ? &*audioCompression : nullptr;
  AviOutput output(outPath, chosenBackends(line), content);
  if (line.has(periodOption.name)) {
    output.setInterleavingPeriod(line.decimal(periodOption.name));
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
