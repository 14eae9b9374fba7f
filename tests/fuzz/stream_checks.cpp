#include "fuzz.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <map>
#include <memory>
#include <sstream>
#include <string_view>

#include <uuids.h>

#include <quillet/quillet.h>

#include "support/avi_builder.h"
#include "support/process_state.h"
#include "support/wine_gaps.h"

namespace quillet::test {
namespace {

/// Thrown when the stream can only be deleted.
struct Unusable {};

class StreamCheck {
 public:
  StreamCheck(SourceStream& stream, std::string name) : stream(stream), name(std::move(name)) {}

  void run() {
    const bool hasOpened = !stream.lastErrorIsFatal();
    require(stream.ErrorMessage(stream.lastError) != nullptr, "code without a message");
    length = stream.duration();
    const bool isOpen = stream.lastError == 0;
    require(isOpen ? length >= 0 : length == -1, "length and code contradict each other");
    // Raw streams stay open without a key sample.
    require(isOpen == hasOpened || (isOpen && stream.isRawData()), "open with a fatal code, or not open without");
    if (!isOpen) {
      return;
    }
    checkFormat();
    enter(name + " msDuration");
    const double duration = stream.msDuration();
    settleTime(duration);
    // All twice, the second time backwards.
    const long places[] = {0, 1, length / 2, length - 1, length - 1, length / 2, 1, 0};
    std::map<long, std::size_t> answers;
    for (const long place : places) {
      if (place >= 0 && place < length) {
        askTime(place);
        const std::size_t answer = read(place, true);
        // Where a graph lands in a damaged file depends on where it comes from.
        require(
            answers.emplace(place, answer).first->second == answer || stream.usesDirectShow() || mayStopAtKeyFrames(),
            "two reads differ");
      }
    }
    for (const double time : {0.0, duration / 2, duration, -1.0, -1e300, 1e300, std::nan("")}) {
      enter(name + " StreamTimeToSample(" + std::to_string(time) + ')');
      double asked = time;
      const long sample = stream.StreamTimeToSample(asked);
      require(sample >= -1, "sample out of range", sample);
      settle(sample >= 0);
    }
    for (const long place : {-1L, length, LONG_MAX, LONG_MIN}) {
      read(place, false);
      askTime(place);
    }
  }

 private:
  bool mayStopAtKeyFrames() const {
    return wine_gap::getFrameStopsAtKeyFrames && dynamic_cast<VideoSourceStream*>(&stream) != nullptr;
  }

  /// @param seen what cannot be.
  void require(bool holds, const char* what, double seen = 0) {
    if (!holds) {
      std::ostringstream detail;
      detail << seen << ", code " << stream.lastError << ", length " << length;
      reportBroken(what, detail.str());
    }
  }

  /// Compares the code with whether there is a result.
  void settle(bool hasResult) {
    const int code = stream.lastError;
    const bool isFatal = stream.lastErrorIsFatal();
    require(hasResult ? code == 0 || !isFatal : code != 0,
            hasResult ? "result with a fatal code" : "failure with code 0");
    require(stream.ErrorMessage(code) != nullptr, "code without a message");
    if (isFatal) {
      throw Unusable();
    }
  }

  void settleTime(double ms) {
    require(std::isfinite(ms) && (ms >= 0.0 || ms == -1.0), "time out of range", ms);
    settle(ms >= 0.0);
  }

  /// Looks at every byte of data that is promised to be there.
  /// @return a digest of it.
  std::size_t lookAt(const void* data, long long size) {
    require(size >= 0, "negative size");
    const long long available = bytesInBlock(data);
    require(available == -1 || available >= size, "fewer bytes than promised", static_cast<double>(available));
    return std::hash<std::string_view>()({static_cast<const char*>(data), static_cast<std::size_t>(size)});
  }

  void checkFormat() {
    enter(name + " format");
    if (auto* const video = dynamic_cast<VideoSourceStream*>(&stream)) {
      const BITMAPINFOHEADER& format = *video->format();
      require(format.biSize == sizeof format && format.biBitCount == 24 && format.biCompression == BI_RGB,
              "not a format of 24 bits");
      require(format.biWidth > 0 && format.biHeight != 0 && format.biHeight != LONG_MIN, "width or height");
      require(format.biSizeImage == rgb24Format(format.biWidth, std::abs(format.biHeight)).biSizeImage, "biSizeImage",
              format.biSizeImage);
      require(std::isfinite(video->frameRate()) && video->frameRate() > 0, "frame rate");
    } else if (auto* const audio = dynamic_cast<AudioSourceStream*>(&stream)) {
      const WAVEFORMATEX& format = *audio->format();
      require(format.wFormatTag == WAVE_FORMAT_PCM && format.nChannels > 0 && format.nSamplesPerSec > 0 &&
                  format.nBlockAlign == format.nChannels * ((format.wBitsPerSample + 7) / 8) && format.nBlockAlign > 0,
              "not a format of PCM");
    } else {
      auto& raw = dynamic_cast<RawDataSourceStream&>(stream);
      const AM_MEDIA_TYPE& type = *raw.format();
      require(type.cbFormat == 0 || type.pbFormat != nullptr, "no format block");
      lookAt(type.pbFormat, type.cbFormat);
      require(raw.firstKeySample() >= -1 && raw.firstKeySample() < std::max(length, 1L), "first key sample");
    }
    VIDEOINFOHEADER info = {};
    stream.videoInfo(info);
  }

  void askTime(long place) {
    enter(name + " StreamSampleToTime(" + std::to_string(place) + ')');
    long sample = place;
    settleTime(stream.StreamSampleToTime(sample));
  }

  /// Reads at a place that is in the stream, or must be refused.
  /// @return a digest of the answer.
  std::size_t read(long place, bool isInside) {
    enter(name + " read(" + std::to_string(place) + ')');
    const void* data = nullptr;
    std::size_t answer = 0;
    if (auto* const video = dynamic_cast<VideoSourceStream*>(&stream)) {
      long frame = place;
      data = video->getFrameBits(frame);
      require(data == nullptr || (frame >= 0 && frame < length), "frame out of range", frame);
      answer = data != nullptr ? lookAt(data, video->format()->biSizeImage) : 0;
    } else if (auto* const audio = dynamic_cast<AudioSourceStream*>(&stream)) {
      constexpr long runLength = 500;
      const long last = isInside ? std::min(place + runLength, length) - 1 : place;
      data = audio->getSamples(place, last);
      answer = data != nullptr ? lookAt(data, (last - place + 1LL) * audio->format()->nBlockAlign) : 0;
    } else {
      long sample = place;
      long samples = 0;
      long bytes = 0;
      bool key = false;
      auto& raw = dynamic_cast<RawDataSourceStream&>(stream);
      data = raw.getData(sample, samples, bytes, key);
      // A frame may be empty, and is the one before then.
      require(data == nullptr || bytes > 0 || raw.format()->majortype == MEDIATYPE_Video, "no bytes");
      require(data == nullptr || (sample >= 0 && sample < length && samples > 0), "samples out of range", sample);
      answer = data != nullptr ? lookAt(data, bytes) : 0;
    }
    require(isInside || data == nullptr, "read beyond the stream");
    settle(data != nullptr);
    return answer;
  }

  SourceStream& stream;
  const std::string name;
  long length = 0;
};

}  // namespace

void checkStream(const char* fileName, bool video, bool raw, bool directShow) {
  const std::string name = std::string(directShow ? "ds" : "vfw") + (raw ? " raw" : "") + (video ? " video" : " audio");
  enter(name + " open");
  const std::unique_ptr<SourceStream> stream(raw ? RawDataSourceStream::open(fileName, video, directShow, 0, nullptr)
                                                 : SourceStream::open(fileName, video, directShow, 0, nullptr));
  if (stream == nullptr) {
    reportBroken("no object", name);
  }
  try {
    StreamCheck(*stream, name).run();
  } catch (const Unusable&) {
  }
  if (damagedHeap() != nullptr) {
    reportBroken("a heap is damaged", name);
  }
  enter(name + " close");
}

}  // namespace quillet::test
