// The error model that all objects of the library share, and what the abstract source streams do by themselves.

#include <climits>

#include "support/avifile_handler.h"
#include "support/writing.h"

using namespace quillet::test;
namespace vfw_error = quillet::vfw_error;

namespace {

/// A stream that is not open, of a backend of the test's choice.
std::unique_ptr<VideoSourceStream> unopened(bool directShow) {
  return std::unique_ptr<VideoSourceStream>(VideoSourceStream::open(nullptr, directShow, 0, nullptr));
}

TEST(Messages, EveryCodeHasItsText) {
  const auto directShow = unopened(true);
  const auto videoForWindows = unopened(false);
  const auto messageOf = [](AudioOrVideoStream& stream, int firstCode = 0) {
    return [&stream, firstCode](int code) {
      stream.lastError = firstCode + code;
      return stream.ErrorMessage(0);
    };
  };
  const struct {
    std::function<const char*(int code)> message;
    int count;
    const char *first, *last;
  } blocks[] = {
      {messageOf(*directShow), 74, "Success",
       "Could not change the interleaving period (output pin reconnection error)"},
      {messageOf(*videoForWindows), 41, "Success", "Audio compression buffer overflow"},
      {messageOf(*directShow, 200), 9, "No video stream", "Audio buffer overflow"},
      {messageOf(*videoForWindows, 200), 9, "No video stream", "Audio buffer overflow"},
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
  for (const auto& [code, text] : {std::pair(33, "Media Time time format rejected"),
                                   {57, "Unused error code"},
                                   {67, "The sample grabbers's input pin is not connected"}}) {
    EXPECT_STREQ(messageOf(*directShow)(code), text);
  }
  EXPECT_STREQ(messageOf(*videoForWindows)(25), "Cannot set the compessor");
}

TEST(Messages, ArgumentOnlyGatesTheCall) {
  const auto stream = unopened(false);
  stream->lastError = 12;
  for (int code : {0, 12, 150, 208}) {
    EXPECT_STREQ(stream->ErrorMessage(code), "Cannot find a PCM format to decompress to") << code;
  }
  EXPECT_EQ(stream->ErrorMessage(-1), nullptr);
  EXPECT_EQ(stream->ErrorMessage(209), nullptr);
}

TEST(Fatality, IsOfTheCode) {
  const auto stream = unopened(false);
  const std::set<int> warnings = {0, 8, 9, 17, 20, 25, 29, 30, 31, 200, 201, 204, 205, 206, 207};
  for (int code = -2; code <= 211; ++code) {
    const bool isFatal = !warnings.contains(code);
    EXPECT_EQ(stream->Error_isFatal(code), isFatal) << code;
    stream->lastError = code;
    EXPECT_EQ(stream->lastErrorIsFatal(), isFatal) << code;
    EXPECT_EQ(stream->resetLastError(), !isFatal) << code;
    EXPECT_EQ(stream->lastError, 0);
  }
  EXPECT_TRUE(stream->Error_isFatal(INT_MIN) && stream->Error_isFatal(INT_MAX));
  EXPECT_EQ(stream->maxLocalErrorCode(), 40);
  EXPECT_EQ(stream->errorMessages_resourceBase(), 500);
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
