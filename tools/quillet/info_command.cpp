// quillet info: what a media file holds.

#include <cstdio>
#include <string>

#include "command_line.h"
#include "shared/failure.h"
#include "shared/library_stream.h"
#include "shared/text.h"
#include "stream_access.h"

namespace quillet::client {
namespace {

constexpr Argument arguments[] = {fileArgument};
constexpr Option options[] = {backendOption};

// As many as an AVI file can number; ends the search when a backend fails for every number.
constexpr int mostStreams = 100;

const char* kindOf(const Opening<VideoSourceStream>&) {
  return "video";
}

const char* kindOf(const Opening<AudioSourceStream>&) {
  return "audio";
}

void printFormat(VideoSourceStream& stream) {
  const BITMAPINFOHEADER& format = *stream.format();
  std::printf("%ld x %ld, %d-bit RGB, %ld frames, %.6g frames/s", format.biWidth, format.biHeight, format.biBitCount,
              stream.duration(), stream.frameRate());
}

void printFormat(AudioSourceStream& stream) {
  const WAVEFORMATEX& format = *stream.format();
  std::printf("%d-bit PCM, %d channel%s, %ld samples, %lu samples/s", format.wBitsPerSample, format.nChannels,
              format.nChannels == 1 ? "" : "s", stream.duration(), format.nSamplesPerSec);
}

template <class Stream>
void printStream(Stream& stream) {
  const int openingCode = stream.lastError;
  const std::string warning = openingCode != common_error::success ? "  warning: " + lastErrorText(stream) + "\n" : "";
  printFormat(stream);
  constexpr double msPerSecond = 1000.0;
  const double duration = stream.msDuration();
  if (duration >= 0.0) {
    std::printf(", %.3f s", duration / msPerSecond);
  } else {
    std::printf(", duration unknown: %s", lastErrorText(stream).c_str());
  }
  std::printf(", %s\n%s", backendName(stream.usesDirectShow()), warning.c_str());
}

struct Found {
  int opened = 0;
  std::string failure;  ///< Of the first stream that could not be opened.
};

/// Prints the streams of one kind, asking for one number after the other until there is none.
template <class Stream>
Found printStreams(MediaFile& file) {
  Found found;
  for (int number = 0; number < mostStreams; ++number) {
    const Opening<Stream> opening = file.tryOpen<Stream>(number);
    if (found.failure.empty()) {
      found.failure = opening.failure;
    }
    if (!opening.exists) {
      break;
    }
    std::printf("%s %d: ", kindOf(opening), number);
    if (opening.stream == nullptr) {
      std::printf("%s\n", opening.failure.c_str());
      continue;
    }
    printStream(*opening.stream);
    ++found.opened;
  }
  return found;
}

void run(const CommandLine& line) {
  MediaFile file(line);
  const Found video = printStreams<VideoSourceStream>(file);
  const Found audio = printStreams<AudioSourceStream>(file);
  if (video.opened + audio.opened > 0) {
    return;
  }
  const std::string reasons = video.failure == audio.failure
                                  ? " " + video.failure
                                  : "\n  video: " + video.failure + "\n  audio: " + audio.failure;
  throw Failure("cannot open any stream of '" + displayName(file.path()) + "':" + reasons);
}

}  // namespace

const Command infoCommand = {"info", "List the video and audio streams of a media file", arguments, options, run};

}  // namespace quillet::client
