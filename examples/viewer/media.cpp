#include "media.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "shared/failure.h"
#include "shared/library_stream.h"
#include "shared/text.h"

using quillet::client::Failure;
using quillet::client::lastErrorText;

namespace quillet::viewer {
namespace {

/// Enough for a wide screen; the view shows what falls on one of its pixels as one.
constexpr long waveformColumns = 4096;

constexpr ULONGLONG msBetweenMessages = 50;

int optionsOf(Backend backend) {
  switch (backend) {
    case Backend::videoForWindows:
      return dialog_option::captioned;
    case Backend::directShow:
      return dialog_option::captioned | dialog_option::useDirectShow;
    default:
      return dialog_option::captioned | dialog_option::automatic;
  }
}

std::string warningOf(AudioOrVideoStream& stream) {
  return stream.lastError == common_error::success ? "" : lastErrorText(stream);
}

std::string describe(VideoSourceStream& video) {
  const BITMAPINFOHEADER& format = *video.format();
  char text[96];
  std::snprintf(text, sizeof text, "%ld x %ld, %.4g frames/s, %s", format.biWidth, std::abs(format.biHeight),
                video.frameRate(), client::backendName(video.usesDirectShow()));
  return text;
}

}  // namespace

Media::Media(const std::filesystem::path& path, Backend backend, HWND window) : path(path), window(window) {
  std::string noAudio;
  video = open<VideoSourceStream>(optionsOf(backend), noVideo);
  openingWarning = hasVideo() ? warningOf(*video) : "";
  audio = open<AudioSourceStream>(optionsOf(backend) | dialog_option::audio, noAudio);
  if (!hasVideo() && audio == nullptr) {
    throw Failure("Cannot open '" + client::displayName(path) + "'.\n\n" + noVideo + "\n" + noAudio);
  }
  ms = std::max(1.0, hasVideo() ? video->msDuration() : audio->msDuration());
  places = hasVideo() ? std::max(1L, video->duration())
                      : static_cast<long>(std::min<double>(ms, std::numeric_limits<long>::max()));
  formatText = hasVideo() ? describe(*video) : "Audio only";
  if (hasVideo()) {
    directShow = video->usesDirectShow();
    keyFrameThread = std::make_unique<client::Worker>([this] { readKeyFrames(); });
  }
  if (audio != nullptr) {
    audioThread = std::make_unique<client::Worker>([this] { readWaveform(); });
  } else {
    sharedWaveform.with([&](Waveform& waveform) { waveform.problem = noAudio; });
  }
}

Media::~Media() {
  stop = true;  // For both threads, before the wait for the first of them.
}

template <class Stream>
std::unique_ptr<Stream> Media::open(int options, std::string& problem) const {
  const std::string kind = (options & dialog_option::audio) != 0 ? "No audio: " : "No video: ";
  std::unique_ptr<SourceStream> stream(
      SourceStream::open(options, window, path.c_str(), 0, client::toAnsi(path.native()).c_str()));
  if (stream == nullptr) {
    problem = kind + "the stream or its progress dialog could not be made";
    return nullptr;
  }
  if (stream->lastErrorIsFatal()) {
    problem = kind + lastErrorText(*stream);
    return nullptr;
  }
  return std::unique_ptr<Stream>(dynamic_cast<Stream*>(stream.release()));  // The options tell that it is one.
}

long Media::placeAt(double time) {
  if (!hasVideo()) {
    return std::lround(std::min(time, ms));
  }
  return client::numberAt(*video, time);
}

long Media::placesPerSecond() const {
  return std::max(1L, std::lround(static_cast<double>(places) * 1000.0 / ms));
}

Frame Media::fetch(long number) {
  Frame frame;
  frame.time = client::timeOf(*video, number);
  frame.format = *video->format();
  long found = number;
  const unsigned char* const bits = video->getFrameBits(dialog_option::startHidden, window, found, nullptr);
  if (bits == nullptr) {
    throw Failure("Frame " + std::to_string(number) + ": " + lastErrorText(*video));
  }
  frame.bits.assign(bits, bits + frame.format.biSizeImage);
  frame.note = warningOf(*video);
  if (frame.note.empty() && found != number) {
    frame.note = "No frame of its own: frame " + std::to_string(found) + " goes on";
  }
  return frame;
}

std::string Media::tune() {
  video->configure(window);
  if (video->lastErrorIsFatal()) {
    throw Failure("Tune: " + lastErrorText(*video));
  }
  return warningOf(*video);
}

/// Reads all compressed frames in order, which costs no seeks, on a stream of the thread's own.
void Media::readKeyFrames() {
  QuilletThread();
  const std::unique_ptr<RawDataSourceStream> raw(RawDataSourceStream::open(path.c_str(), true, directShow, 0, nullptr));
  if (raw == nullptr || raw->lastErrorIsFatal()) {
    return;  // No frame is known, then.
  }
  ULONGLONG lastMessage = 0;
  for (long frame = 0; frame < places && !stop;) {
    long sample = frame;
    long samples = 0;
    long bytes = 0;
    bool key = false;
    if (raw->getData(sample, samples, bytes, key) == nullptr) {
      break;
    }
    frame = std::max(frame, sample + samples - 1) + 1;
    sharedKeyFrames.with([&](KeyFrames& keyFrames) {
      // A frame without data gets that of an earlier one.
      if (key && (keyFrames.numbers.empty() || keyFrames.numbers.back() < sample)) {
        keyFrames.numbers.push_back(sample);
      }
      keyFrames.known = frame;
    });
    if (GetTickCount64() - lastMessage >= msBetweenMessages) {
      lastMessage = GetTickCount64();
      tellWindow();
    }
  }
  tellWindow();
}

void Media::readWaveform() {
  QuilletThread();
  try {
    const double audioMs = std::max(1.0, audio->msDuration());
    const double share = std::min(1.0, audioMs / ms);
    const auto samples = static_cast<long>(audio->duration() * std::min(1.0, ms / audioMs));
    client::PeakReader reader(*audio, 0, std::max(1L, samples) - 1, waveformColumns);
    sharedWaveform.with([&](Waveform& waveform) {
      waveform.channels.resize(reader.channels(), std::vector<client::Peak>(waveformColumns));
      waveform.share = share;
    });
    while (!stop && reader.readPiece()) {
      sharedWaveform.with([&](Waveform& waveform) {
        for (int channel = 0; channel < reader.channels(); ++channel) {
          std::copy(reader.peaks(channel).begin() + waveform.columnsDone,
                    reader.peaks(channel).begin() + reader.columnsDone(),
                    waveform.channels[channel].begin() + waveform.columnsDone);
        }
        waveform.columnsDone = reader.columnsDone();
      });
      tellWindow();
    }
  } catch (const std::exception& exception) {
    sharedWaveform.with([&](Waveform& waveform) { waveform.problem = exception.what(); });
    tellWindow();
  }
}

}  // namespace quillet::viewer
