// quillet copy: the streams of a media file in a new AVI file, as they are.

#include <cstdio>
#include <memory>
#include <string>

#include "avi_output.h"
#include "shared/failure.h"
#include "shared/library_stream.h"
#include "shared/text.h"
#include "stored_stream.h"
#include "transfer.h"

namespace quillet::client {
namespace {

constexpr Option options[] = {videoOption, audioOption, periodOption, backendOption};

/// The streams that are copied, from one backend: its numbers are those that its writer wants.
struct RawStreams {
  std::unique_ptr<RawFeed> video;
  std::unique_ptr<RawFeed> audio;
  std::string failure;  ///< Why a stream that is wanted cannot be copied.
};

/// Opens the stream of a kind, unless it is not wanted or not there.
std::unique_ptr<RawFeed> openFeed(MediaFile& file, bool video, Wish wish, std::string& failure) {
  if (wish == Wish::unwanted) {
    return nullptr;
  }
  Opening<RawDataSourceStream> opening = file.tryOpenRaw(video, 0);
  if (opening.stream != nullptr && canRead(*opening.stream)) {
    return std::make_unique<RawFeed>(std::move(opening.stream));
  }
  if (opening.stream != nullptr) {
    opening.failure = lastErrorText(*opening.stream);
  }
  if (wish == Wish::required || opening.exists) {
    failure += std::string(video ? " video: " : " audio: ") + opening.failure;
  }
  return nullptr;
}

RawStreams openStreams(const CommandLine& line, std::span<const Backend> backend) {
  MediaFile file(line, inArgument, backend);
  RawStreams streams;
  streams.video = openFeed(file, true, wishFor(line, true), streams.failure);
  streams.audio = openFeed(file, false, wishFor(line, false), streams.failure);
  if (streams.failure.empty() && streams.video == nullptr && streams.audio == nullptr) {
    streams.failure =
        std::string(" no stream that ") + backendName(backend.front() == Backend::directShow) + " can open";
  }
  return streams;
}

/// Tells what the copy of a stream has not, or has in another place.
/// @param kind "video" or "audio".
/// @param feed may be null.
/// @return what is missing, in words; empty for nothing.
std::string shortcomings(const char* kind, const RawFeed* feed) {
  if (feed == nullptr) {
    return "";
  }
  if (feed->delay() > 0) {
    std::fprintf(stderr,
                 "quillet: warning: the %s stream is not stored in the order of its numbers: the copy keeps the stored "
                 "order, in which frames come up to %ld later\n",
                 kind, feed->delay());
  }
  return feed->missing().empty() ? "" : std::string(" ") + kind + ": " + feed->missing();
}

void run(const CommandLine& line) {
  const std::filesystem::path out = outPath(line);
  const std::optional<double> period = chosenPeriod(line);
  const std::span<const Backend> backends = chosenBackends(line);
  std::string failures;
  for (std::size_t i = 0; i < backends.size(); ++i) {
    const std::span<const Backend> backend = backends.subspan(i, 1);
    const RawStreams streams = openStreams(line, backend);
    if (!streams.failure.empty()) {
      failures += (failures.empty() ? "" : ";") + streams.failure;
      continue;
    }
    for (RawFeed* const feed : {streams.video.get(), streams.audio.get()}) {
      if (feed != nullptr) {
        warnOfDecoded(feed->stream(), line.text(inArgument.name), 0);
      }
    }
    AviContent content;
    content.video = streams.video != nullptr ? streams.video->videoFormat() : nullptr;
    content.audio = streams.audio != nullptr ? streams.audio->audioFormat() : nullptr;
    AviOutput output(out, backend, content);
    if (period) {
      output.setInterleavingPeriod(*period);
    }
    output.copy(streams.video.get(), streams.audio.get());
    reportTransfer(out, streams.video.get(), streams.audio.get());
    const std::string missing = shortcomings("video", streams.video.get()) + shortcomings("audio", streams.audio.get());
    if (!missing.empty()) {
      throw Failure("samples not copied:" + missing);
    }
    return;
  }
  throw Failure("cannot copy from '" + displayName(line.text(inArgument.name)) + "':" + failures);
}

}  // namespace

const Command copyCommand = {"copy", "Copy the streams of a media file into an AVI file, as they are",
                             transferArguments, options, run};

}  // namespace quillet::client
