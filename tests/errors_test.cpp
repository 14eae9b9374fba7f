// The error model that all objects of the library share, and what the abstract source streams do by themselves.

#include <climits>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include <quillet/quillet.h>

#include "support/avi_builder.h"
#include "support/avifile_handler.h"
#include "support/leak_check.h"

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

/// The parts of a source that its kind leaves open, answered with a shrug.
template <class Kind>
class Source : public Kind, public VfWAudioOrVideoStream {
 public:
  void configure(void*) override {}
  double StreamSampleToTime(long&) override { return -1.0; }
  long StreamTimeToSample(double&) override { return -1; }
  double msDuration() override { return -1.0; }
};

class VideoSource : public Source<VideoSourceStream> {
 public:
  VideoSource() = default;
  VideoSource(const BITMAPINFOHEADER& format, double framesPerSecond) {
    bitmapFormat = format;
    rate = framesPerSecond;
    finishOpening(0);
  }
  long findFrame(long) override { return -1; }
  unsigned char* getFrameBits(long&) override { return nullptr; }
};

class RawSource : public Source<RawDataSourceStream> {
 public:
  explicit RawSource(long firstKey) { keySample = firstKey; }
  void succeed() { finishOpening(0); }
  VIDEOINFOHEADER* videoInfo(VIDEOINFOHEADER&) override { return nullptr; }
  unsigned char* getData(long&, long&, long&, bool&) override { return nullptr; }
};

TEST(Messages, EveryCodeHasItsText) {
  struct Block {
    int base, first, last;
  };
  // DirectShow, its output files, Video for Windows, its output files.
  for (const Block& block : {Block{100, 0, 73}, Block{300, 0, 8}, Block{500, 0, 40}, Block{700, 0, 8}}) {
    AnyBackend backend(block.base, block.last);
    std::set<std::string> texts;
    for (int code = block.first; code <= block.last; ++code) {
      const char* const text = backend.messageOf(code);
      ASSERT_NE(text, nullptr) << block.base + code;
      EXPECT_TRUE(texts.insert(text).second) << text << " twice";
    }
    EXPECT_EQ(backend.messageOf(block.last + 1), nullptr) << block.base;
  }
}

TEST(Messages, AreTheGivenTexts) {
  const std::map<int, std::string> directShow = {
      {0, "Success"},
      {1, "Stream was not successfully opened"},
      {2, "Not enough memory"},
      {12, "Requested sample beyond actual data in the stream"},
      {33, "Media Time time format rejected"},
      {35, "Could not retrieve the requested frame or an earlier one: returning the next available frame"},
      {57, "Unused error code"},
      {67, "The sample grabbers's input pin is not connected"},
      {71, "No sample found at the given date, returning the closest one at a later date"},
      {73, "Could not change the interleaving period (output pin reconnection error)"},
  };
  const std::map<int, std::string> videoForWindows = {
      {0, "Success"},
      {1, "Stream was not successfully opened"},
      {3, "Could not open the source file"},
      {8, "Parameter out of range"},
      {17, "Cannot convert from stream time to sample/frame number or vice-versa"},
      {25, "Cannot set the compessor"},
      {30, "The AVI file and its streams are not fully configured: they can't be used for writing yet"},
      {40, "Audio compression buffer overflow"},
  };
  const std::map<int, std::string> output = {{200, "No video stream"},
                                             {201, "No audio stream"},
                                             {202, "Both audio and video streams are undefined"},
                                             {203, "Unacceptable video format"},
                                             {208, "Audio buffer overflow"}};
  AnyBackend ds(100, 73);
  AnyBackend vfw(500, 40);
  for (const auto& [code, text] : directShow) {
    EXPECT_STREQ(ds.messageOf(code), text.c_str());
  }
  for (const auto& [code, text] : videoForWindows) {
    EXPECT_STREQ(vfw.messageOf(code), text.c_str());
  }
  for (const auto& [code, text] : output) {
    EXPECT_STREQ(ds.messageOf(code), text.c_str());
    EXPECT_STREQ(vfw.messageOf(code), text.c_str());
  }
}

TEST(Messages, OfMediaContainer) {
  std::set<std::string> texts;
  for (int value = 0; value <= 13; ++value) {
    const char* const text = MediaContainer::Message(static_cast<MediaContainer::Error>(value));
    ASSERT_NE(text, nullptr) << value;
    EXPECT_TRUE(texts.insert(text).second) << text << " twice";
  }
  EXPECT_STREQ(MediaContainer::Message(MediaContainer::Success), "Success");
  EXPECT_STREQ(MediaContainer::Message(MediaContainer::NoGraphBuilderNorMediaDetector),
               "Could neither create a GraphBuilder object nor use the MediaDetector");
  EXPECT_STREQ(MediaContainer::Message(MediaContainer::NoRendererInputPin), "No input pin (audio or video renderer)");
  for (int outside : {-1, 14, 1000}) {
    EXPECT_EQ(MediaContainer::Message(static_cast<MediaContainer::Error>(outside)), nullptr) << outside;
  }
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

TEST(Fatality, OfVideoForWindowsCodes) {
  const std::unique_ptr<VfWVideoSourceStream> stream(VfWVideoSourceStream::open(nullptr, 0, nullptr));
  const std::set<int> warnings = {0, 8, 9, 17, 20, 25, 29, 30, 31, 200, 201, 204, 205, 206, 207};
  for (int code = -2; code <= 211; ++code) {
    EXPECT_EQ(stream->Error_isFatal(code), !warnings.contains(code)) << code;
  }
  EXPECT_TRUE(stream->Error_isFatal(INT_MIN));
  EXPECT_TRUE(stream->Error_isFatal(INT_MAX));
  EXPECT_EQ(stream->maxLocalErrorCode(), 40);
  EXPECT_EQ(stream->errorMessages_resourceBase(), 500);
  EXPECT_FALSE(stream->usesDirectShow());
}

TEST(Fatality, OfCodesBetweenTheBlocks) {
  AnyBackend backend(100, 73);
  EXPECT_FALSE(backend.Error_isFatal(45));
  EXPECT_FALSE(backend.Error_isFatal(73));
  EXPECT_TRUE(backend.Error_isFatal(74));
  EXPECT_TRUE(backend.Error_isFatal(199));
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
  EXPECT_EQ(video->lastError, 3);
  EXPECT_NOT_OPENED(*video, video->duration(), -1);
  EXPECT_NOT_OPENED(*video, video->frameRate(), -1.0);
  EXPECT_NOT_OPENED(*video, video->msDuration(), -1.0);
  EXPECT_NOT_OPENED(*video, video->StreamSampleToTime(sample), -1.0);
  EXPECT_NOT_OPENED(*video, video->StreamTimeToSample(time), -1);
  EXPECT_NOT_OPENED(*video, video->videoInfo(info), nullptr);
  EXPECT_NOT_OPENED(*video, video->findFrame(0), -1);
  EXPECT_NOT_OPENED(*video, video->getFrameBits(sample), nullptr);
  EXPECT_NOT_OPENED(*video, (video->configure(nullptr), 0), 0);
  EXPECT_STREQ(video->ErrorMessage(1), "Stream was not successfully opened");
  // The format is there all the same, but empty.
  video->lastError = 77;
  ASSERT_NE(video->format(), nullptr);
  EXPECT_EQ(video->lastError, 1);
  EXPECT_EQ(video->format()->biSize, 0U);

  const std::unique_ptr<VfWAudioSourceStream> audio(VfWAudioSourceStream::open("no such file.wav", 0, nullptr));
  EXPECT_EQ(audio->lastError, 3);
  EXPECT_NOT_OPENED(*audio, audio->duration(), -1);
  EXPECT_NOT_OPENED(*audio, audio->msDuration(), -1.0);
  EXPECT_NOT_OPENED(*audio, audio->StreamSampleToTime(sample), -1.0);
  EXPECT_NOT_OPENED(*audio, audio->StreamTimeToSample(time), -1);
  EXPECT_NOT_OPENED(*audio, audio->getSamples(0, 0), nullptr);
  audio->lastError = 77;
  ASSERT_NE(audio->format(), nullptr);
  EXPECT_EQ(audio->lastError, 1);
  EXPECT_EQ(audio->format()->nChannels, 0);
}

TEST(RawStream, TellsItsFormatAndKeyBeforeItIsOpen) {
  RawSource stream(42);
  EXPECT_TRUE(stream.isRawData());
  EXPECT_EQ(stream.firstKeySample(), 42);
  EXPECT_EQ(stream.lastError, 1);
  stream.lastError = 77;
  EXPECT_NE(stream.format(), nullptr);
  EXPECT_EQ(stream.lastError, 1);
  EXPECT_NOT_OPENED(stream, stream.duration(), -1);

  stream.succeed();
  EXPECT_EQ(stream.firstKeySample(), 42);
  EXPECT_EQ(stream.lastError, 0);
  EXPECT_NE(stream.format(), nullptr);
  EXPECT_EQ(stream.duration(), 0);
}

TEST(RawStream, FreesItsMediaType) {
  struct Unknown : ComObject<IUnknown> {};
  const auto object = makeCom<Unknown>();
  const auto round = [&] {
    RawSource stream(0);
    stream.succeed();
    stream.format()->pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(16));
    stream.format()->cbFormat = 16;
    object.CopyTo(&stream.format()->pUnk);
  };
  EXPECT_TRUE(leavesNothingBehind(round));
  EXPECT_EQ((object->AddRef(), object->Release()), 1U);
}

TEST(VideoInfo, DescribesTheDecodedStream) {
  struct Case {
    double rate;
    REFERENCE_TIME frameTime;
    DWORD bitRate;
  };
  for (const Case& expected : {Case{25, 400000, 46080000}, Case{24, 416667, 44236800}, Case{30, 333333, 55296000},
                               Case{30000.0 / 1001, 333667, 55240759}}) {
    VideoSource stream(rgb24Format(320, 240), expected.rate);
    VIDEOINFOHEADER info;
    std::memset(&info, 0xEE, sizeof info);
    ASSERT_EQ(stream.videoInfo(info), &info);
    EXPECT_EQ(stream.lastError, 0);
    EXPECT_EQ(info.AvgTimePerFrame, expected.frameTime);
    EXPECT_EQ(info.dwBitRate, expected.bitRate);
    EXPECT_EQ(info.dwBitErrorRate, 0U);
    EXPECT_EQ(info.rcSource.right, 0);
    EXPECT_EQ(info.rcTarget.bottom, 0);
    EXPECT_EQ(std::memcmp(&info.bmiHeader, stream.format(), sizeof info.bmiHeader), 0);
    EXPECT_EQ(stream.frameRate(), expected.rate);
  }
  // Rows are padded to 32 bits.
  VideoSource narrow(rgb24Format(1, 2), 10);
  VIDEOINFOHEADER info;
  EXPECT_EQ(narrow.videoInfo(info)->dwBitRate, 32U * 2 * 10);
}

class Sink : public QuilletNotification {
 public:
  int progress(int) override { return 0; }
};

TEST(Notification, ChangesWithoutTouchingTheError) {
  Sink first;
  Sink second;
  const std::unique_ptr<VfWAudioSourceStream> stream(VfWAudioSourceStream::open("no such file.wav", 0, &first));
  stream->lastError = 8;
  EXPECT_EQ(stream->notify(), &first);
  EXPECT_EQ(stream->notify(&second), &first);
  EXPECT_EQ(stream->notify(nullptr), &second);
  EXPECT_EQ(stream->notify(), nullptr);
  EXPECT_EQ(stream->lastError, 8);
}

template <class Stream>
bool isVideoForWindows(Stream* stream) {
  return stream != nullptr && stream->lastError == 0 && !stream->usesDirectShow() && !stream->isRawData();
}

TEST(Factories, PreferVideoForWindows) {
  const auto script = std::make_shared<AviScript>();
  script->streams.push_back(aviScriptVideo(rgb24Format(4, 4), 25, 1, {Bytes(48)}));
  script->streams.push_back(aviScriptAudio(bytesOf(pcmFormat(8000, 1, 8)), 8000, 1, {Bytes(1), Bytes(1)}));
  const AviFileHandler handler(script);
  const char* const name = "scripted.avi";

  using Video = std::unique_ptr<VideoSourceStream>;
  using Audio = std::unique_ptr<AudioSourceStream>;
  using Any = std::unique_ptr<SourceStream>;
  EXPECT_TRUE(isVideoForWindows(Video(VideoSourceStream::open(name, 0, nullptr)).get()));
  EXPECT_TRUE(isVideoForWindows(Video(VideoSourceStream::open(name, false, 0, nullptr)).get()));
  EXPECT_TRUE(isVideoForWindows(Audio(AudioSourceStream::open(name, 0, nullptr)).get()));
  EXPECT_TRUE(isVideoForWindows(Audio(AudioSourceStream::open(name, false, 0, nullptr)).get()));

  for (const bool automatic : {false, true}) {
    const Any video(automatic ? SourceStream::open(name, true, 0, nullptr)
                              : SourceStream::open(name, true, false, 0, nullptr));
    EXPECT_TRUE(isVideoForWindows(video.get()));
    EXPECT_NE(dynamic_cast<VideoSourceStream*>(video.get()), nullptr);
    const Any audio(automatic ? SourceStream::open(name, false, 0, nullptr)
                              : SourceStream::open(name, false, false, 0, nullptr));
    EXPECT_TRUE(isVideoForWindows(audio.get()));
    EXPECT_NE(dynamic_cast<AudioSourceStream*>(audio.get()), nullptr);
    EXPECT_EQ(audio->duration(), 2);
  }
}

// Video for Windows has the first try; what DirectShow gives stands, its failure too. A named backend is the only one.
TEST(Factories, HandOnWhatDirectShowGives) {
  using Source = std::unique_ptr<SourceStream>;
  const char* const name = "no such file.avi";
  for (const bool video : {true, false}) {
    const Source automatic(SourceStream::open(name, video, 0, nullptr));
    ASSERT_NE(automatic, nullptr);
    EXPECT_TRUE(automatic->usesDirectShow());
    EXPECT_EQ(automatic->lastError, quillet::ds_error::cannotOpenSourceFile);
    EXPECT_TRUE(Source(SourceStream::open(name, video, true, 0, nullptr))->usesDirectShow());
    EXPECT_FALSE(Source(SourceStream::open(name, video, false, 0, nullptr))->usesDirectShow());
  }
  EXPECT_EQ(RawDataSourceStream::open(name, true, 0, nullptr), nullptr) << "no backend reads compressed samples yet";
}

}  // namespace
