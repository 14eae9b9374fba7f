// The error model that all objects of the library share, and what the abstract source streams do by themselves.

#include <climits>
#include <cstring>
#include <map>

#include "support/avifile_handler.h"
#include "support/writing.h"

using namespace quillet::test;
namespace vfw_error = quillet::vfw_error;

namespace {

/// An object with the codes of a backend of the test's choice.
class AnyBackend : public AudioOrVideoStream {
 public:
  AnyBackend(int resourceBase, int lastLocalCode) : resourceBase(resourceBase), lastLocalCode(lastLocalCode) {}
  int maxLocalErrorCode() override { return lastLocalCode; }
  int errorMessages_resourceBase() override { return resourceBase; }
  bool local_ErrorIsFatal(int code) override { return code == 1; }
  bool usesDirectShow() override { return true; }

  const char* messageOf(int code) {
    lastError = code;
    return ErrorMessage(code);
  }

 private:
  int resourceBase;
  int lastLocalCode;
};

/// A video source that has a format and a rate, but no frames.
class VideoSource : public VideoSourceStream, public VfWAudioOrVideoStream {
 public:
  VideoSource() = default;
  VideoSource(const BITMAPINFOHEADER& format, double framesPerSecond) {
    bitmapFormat = format;
    rate = framesPerSecond;
    finishOpening(0);
  }
  void configure(void*) override {}
  double StreamSampleToTime(long&) override { return -1.0; }
  long StreamTimeToSample(double&) override { return -1; }
  double msDuration() override { return -1.0; }
  long findFrame(long) override { return -1; }
  unsigned char* getFrameBits(long&) override { return nullptr; }
};

TEST(Messages, EveryCodeHasItsText) {
  AnyBackend directShow(100, 73);
  AnyBackend videoForWindows(500, 40);
  AnyBackend output(300, 8);
  AnyBackend outputOfOthers(700, 8);
  const auto messageOf = [](AnyBackend& backend) { return [&](int code) { return backend.messageOf(code); }; };
  const struct {
    std::function<const char*(int code)> message;
    int count;
    const char *first, *last;
  } blocks[] = {
      {messageOf(directShow), 74, "Success",
       "Could not change the interleaving period (output pin reconnection error)"},
      {messageOf(videoForWindows), 41, "Success", "Audio compression buffer overflow"},
      {messageOf(output), 9, "No video stream", "Audio buffer overflow"},
      {messageOf(outputOfOthers), 9, "No video stream", "Audio buffer overflow"},
      {[](int value) { return MediaContainer::Message(static_cast<MediaContainer::Error>(value)); }, 14, "Success",
       "No input pin (audio or video renderer)"},
  };
  for (const auto& [message, count, first, last] : blocks) {
    SCOPED_TRACE(last);
    std::set<std::string> texts;
    for (int code = 0; code < count; ++code) {
      ASSERT_NE(message(code), nullptr) << code;
      EXPECT_TRUE(texts.insert(message(code)).second) << message(code) << " twice";
    }
    EXPECT_STREQ(message(0), first);
    EXPECT_STREQ(message(count - 1), last);
    EXPECT_EQ(message(count), nullptr);
    EXPECT_EQ(message(-1), nullptr);
  }
  EXPECT_STREQ(directShow.messageOf(33), "Media Time time format rejected");
  EXPECT_STREQ(directShow.messageOf(57), "Unused error code");
  EXPECT_STREQ(directShow.messageOf(67), "The sample grabbers's input pin is not connected");
  EXPECT_STREQ(videoForWindows.messageOf(25), "Cannot set the compessor");
  // The output codes of a backend follow its own.
  EXPECT_STREQ(directShow.messageOf(208), "Audio buffer overflow");
  EXPECT_STREQ(videoForWindows.messageOf(200), "No video stream");
}

TEST(Messages, ArgumentOnlyGatesTheCall) {
  const std::unique_ptr<VfWVideoSourceStream> stream(VfWVideoSourceStream::open(nullptr, 0, nullptr));
  stream->lastError = 12;
  for (int code : {0, 12, 150, 208}) {
    EXPECT_STREQ(stream->ErrorMessage(code), "Cannot find a PCM format to decompress to") << code;
  }
  EXPECT_EQ(stream->ErrorMessage(-1), nullptr);
  EXPECT_EQ(stream->ErrorMessage(209), nullptr);
  stream->lastError = 41;
  EXPECT_EQ(stream->ErrorMessage(0), nullptr);
}

TEST(Fatality, IsOfTheCode) {
  const std::unique_ptr<VfWVideoSourceStream> stream(VfWVideoSourceStream::open(nullptr, 0, nullptr));
  const std::set<int> warnings = {0, 8, 9, 17, 20, 25, 29, 30, 31, 200, 201, 204, 205, 206, 207};
  for (int code = -2; code <= 211; ++code) {
    EXPECT_EQ(stream->Error_isFatal(code), !warnings.contains(code)) << code;
  }
  EXPECT_TRUE(stream->Error_isFatal(INT_MIN));
  EXPECT_TRUE(stream->Error_isFatal(INT_MAX));
  EXPECT_EQ(stream->maxLocalErrorCode(), 40);
  EXPECT_EQ(stream->errorMessages_resourceBase(), 500);
  AnyBackend other(100, 73);
  for (const auto& [code, fatal] : {std::pair(45, false), {73, false}, {74, true}, {199, true}}) {
    EXPECT_EQ(other.Error_isFatal(code), fatal) << code;
  }
}

TEST(Fatality, ResetTellsWhetherTheObjectIsUsable) {
  VideoSource stream;
  for (const auto& [code, isUsable] :
       std::map<int, bool>{{0, true}, {9, true}, {2, false}, {150, false}, {206, true}}) {
    stream.lastError = code;
    EXPECT_EQ(stream.lastErrorIsFatal(), !isUsable) << code;
    EXPECT_EQ(stream.resetLastError(), isUsable) << code;
    EXPECT_EQ(stream.lastError, 0);
  }
}

/// Calls an operation and expects it to find the stream closed.
#define EXPECT_NOT_OPENED(stream, call, failureValue) \
  do {                                                \
    (stream).lastError = 77;                          \
    EXPECT_EQ(call, failureValue);                    \
    EXPECT_EQ((stream).lastError, 1);                 \
  } while (false)

TEST(UnopenedStream, AnswersFailureAndCodeOne) {
  long sample = 0;
  double time = 0;
  VIDEOINFOHEADER info = {};
  const std::unique_ptr<VfWVideoSourceStream> video(VfWVideoSourceStream::open("no such file.avi", 0, nullptr));
  const std::unique_ptr<VfWAudioSourceStream> audio(VfWAudioSourceStream::open("no such file.wav", 0, nullptr));
  for (VfWSourceStream* const stream :
       {static_cast<VfWSourceStream*>(video.get()), static_cast<VfWSourceStream*>(audio.get())}) {
    EXPECT_EQ(stream->lastError, 3);
    EXPECT_NOT_OPENED(*stream, stream->duration(), -1);
    EXPECT_NOT_OPENED(*stream, stream->msDuration(), -1.0);
    EXPECT_NOT_OPENED(*stream, stream->StreamSampleToTime(sample), -1.0);
    EXPECT_NOT_OPENED(*stream, stream->StreamTimeToSample(time), -1);
    EXPECT_NOT_OPENED(*stream, (stream->configure(nullptr), 0), 0);
  }
  EXPECT_NOT_OPENED(*video, video->frameRate(), -1.0);
  EXPECT_NOT_OPENED(*video, video->videoInfo(info), nullptr);
  EXPECT_NOT_OPENED(*video, video->findFrame(0), -1);
  EXPECT_NOT_OPENED(*video, video->getFrameBits(sample), nullptr);
  EXPECT_NOT_OPENED(*audio, audio->getSamples(0, 0), nullptr);
  // The format is there all the same, but empty.
  EXPECT_NOT_OPENED(*video, video->format()->biSize, 0U);
  EXPECT_NOT_OPENED(*audio, audio->format()->nChannels, 0);
}

TEST(VideoInfo, DescribesTheDecodedStream) {
  const BITMAPINFOHEADER format = rgb24Format(320, 240);
  const BITMAPINFOHEADER padded = rgb24Format(1, 2);  // Rows are padded to 32 bits.
  const struct {
    BITMAPINFOHEADER format;
    double rate;
    REFERENCE_TIME frameTime;
    DWORD bitRate;
  } cases[] = {
      {format, 24, 416667, 44236800}, {format, 30000.0 / 1001, 333667, 55240759}, {padded, 10, 1000000, 32 * 2 * 10}};
  for (const auto& item : cases) {
    VideoSource stream(item.format, item.rate);
    VIDEOINFOHEADER info;
    std::memset(&info, 0xEE, sizeof info);
    ASSERT_EQ(stream.videoInfo(info), &info);
    EXPECT_EQ(stream.lastError, 0);
    VIDEOINFOHEADER expected = {};
    expected.AvgTimePerFrame = item.frameTime;
    expected.dwBitRate = item.bitRate;
    expected.bmiHeader = item.format;
    EXPECT_EQ(bytesOf(info), bytesOf(expected));
    EXPECT_EQ(stream.frameRate(), item.rate);
  }
}

// Video for Windows has the first try; what DirectShow gives stands, its failure too. A named backend is the only one.
TEST(Factories, PreferVideoForWindows) {
  using Source = std::unique_ptr<SourceStream>;
  const auto script = std::make_shared<AviScript>();
  script->streams.push_back(aviScriptVideo(rgb24Format(4, 4), 25, 1, {Bytes(48)}));
  script->streams.push_back(aviScriptAudio(bytesOf(pcmFormat(8000, 1, 8)), 8000, 1, {Bytes(1), Bytes(1)}));
  const char* const name = "scripted.avi";
  for (const bool found : {true, false}) {
    const auto handler = found ? std::make_unique<AviFileHandler>(script) : nullptr;
    const auto expectKind = [&](const Source& stream, bool isVideo, bool directShow) {
      EXPECT_EQ(stream->usesDirectShow(), directShow);
      EXPECT_EQ(dynamic_cast<VideoSourceStream*>(stream.get()) != nullptr, isVideo);
      EXPECT_EQ(stream->duration(), !found || directShow ? -1 : isVideo ? 1 : 2);
      EXPECT_FALSE(stream->isRawData());
    };
    for (const bool isVideo : {true, false}) {
      expectKind(Source(SourceStream::open(name, isVideo, 0, nullptr)), isVideo, !found);
    }
    expectKind(Source(VideoSourceStream::open(name, 0, nullptr)), true, !found);
    expectKind(Source(AudioSourceStream::open(name, 0, nullptr)), false, !found);
    for (const bool directShow : {false, true}) {
      expectKind(Source(VideoSourceStream::open(name, directShow, 0, nullptr)), true, directShow);
      expectKind(Source(AudioSourceStream::open(name, directShow, 0, nullptr)), false, directShow);
    }
  }
  const std::unique_ptr<RawDataSourceStream> raw(RawDataSourceStream::open(name, true, 0, nullptr));
  EXPECT_TRUE(raw->isRawData() && raw->usesDirectShow());
}

}  // namespace
