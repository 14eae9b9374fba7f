// quillet convert: the decoded streams of a media file in a new AVI file, compressed anew.

#include <cstdio>
#include <optional>
#include <string>

#include "avi_output.h"
#include "compression.h"
#include "shared/failure.h"
#include "shared/text.h"
#include "transfer.h"

namespace quillet::client {
namespace {

constexpr Option videoCodecOption = {"--video-codec", "FOURCC", "compressor of the frames (default: uncompressed)"};
constexpr Option audioFormatOption = {"--audio-format", "FORMAT", audioFormatHelp};
constexpr Option chooseOption = {"--choose", nullptr, "choose the other streams' compressors in dialogs"};
constexpr Option options[] = {videoOption,  audioOption,  videoCodecOption, audioFormatOption,
                              chooseOption, periodOption, backendOption};

/// Opens the first stream of a kind, and with it `feed`, unless it is not wanted or not there.
template <class Feed, class Stream>
void openWanted(std::optional<Feed>& feed, MediaFile& file, const CommandLine& line, bool video) {
  const Wish wish = wishFor(line, video);
  if (wish == Wish::required) {
    feed.emplace(file.open<Stream>(line));
    return;
  }
  if (wish == Wish::unwanted) {
    return;
  }
  Opening<Stream> opening = file.tryOpen<Stream>(0);
  if (opening.stream != nullptr) {
    feed.emplace(std::move(opening.stream));
  } else if (opening.exists) {
    std::fprintf(stderr, "quillet: warning: the %s stream is left out: %s\n", video ? "video" : "audio",
                 opening.failure.c_str());
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
  const std::filesystem::path out = outPath(line);
  const std::optional<double> period = chosenPeriod(line);
  MediaFile file(line, inArgument);
  std::optional<FrameFeed> video;
  std::optional<SampleFeed> audio;
  openWanted<FrameFeed, VideoSourceStream>(video, file, line, true);
  openWanted<SampleFeed, AudioSourceStream>(audio, file, line, false);
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
  AviContent content;
  content.video = video ? &video->format() : nullptr;
  content.audio = audio ? &audio->format() : nullptr;
  content.videoCompression = videoCompression ? &*videoCompression : nullptr;
  content.audioCompression = audioCompression ? &*audioCompression : nullptr;
  content.userChooses = line.has(chooseOption.name);
  AviOutput output(out, chosenBackends(line), content);
  if (period) {
    output.setInterleavingPeriod(*period);
  }
  MediaFeed* const frames = video ? &*video : nullptr;
  MediaFeed* const samples = audio ? &*audio : nullptr;
  output.write(frames, samples);
  reportTransfer(out, frames, samples);
}

}  // namespace

const Command convertCommand = {"convert", "Compress the streams of a media file into an AVI file", transferArguments,
                                options, run};

}  // namespace quillet::client
