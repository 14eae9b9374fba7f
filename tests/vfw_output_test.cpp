// Writing AVI files through Video for Windows. Wine writes video right, and audio not (see wine_gaps.h): the tests with
// audio write to a handler of .avi files that keeps what comes, and the sources read it from there.

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <quillet/quillet.h>

#include "support/avi_builder.h"
#include "support/avifile_handler.h"
#include "support/dialog_driver.h"
#include "support/leak_check.h"
#include "support/random.h"
#include "support/temp_file.h"
#include "support/test_acm_driver.h"
#include "support/test_codec.h"
#include "support/wine_gaps.h"

using namespace quillet::test;
namespace output_error = quillet::output_error;
namespace vfw_error = quillet::vfw_error;
using Writer = std::unique_ptr<OutputAVIFile>;

namespace {

constexpr long width = 8;
constexpr long height = 4;
constexpr long frameSize = width * height * 3;

VIDEOINFOHEADER videoFormat(REFERENCE_TIME frameTime = 400'000) {
  VIDEOINFOHEADER format = {};
  format.AvgTimePerFrame = frameTime;
  format.bmiHeader = rgb24Format(width, height);
  format.rcTarget = {0, 0, width, height};
  return format;
}

/// A picture that differs from those of other numbers.
Bytes picture(long frame) {
  Bytes pixels(frameSize);
  for (long i = 0; i < frameSize; ++i) {
    pixels[i] = static_cast<std::uint8_t>(frame * 37 + i * (frame + 1));
  }
  return pixels;
}

/// Samples whose values are their numbers.
std::vector<WORD> countedSamples(long first, long count) {
  std::vector<WORD> values(static_cast<std::size_t>(count));
  for (long i = 0; i < count; ++i) {
    values[i] = static_cast<WORD>(first + i);
  }
  return values;
}

class VfWOutput : public testing::Test {
 protected:
  Writer create(bool withVideo, bool compressVideo, bool withAudio, bool compressAudio) const {
    return Writer(OutputAVIFile::create(file.name(), withVideo ? &video : nullptr, compressVideo,
                                        withAudio ? &audio : nullptr, compressAudio, false));
  }

  static bool writePicture(OutputAVIFile& writer, long frame, bool key = true) {
    return writer.writeFrame(frame, picture(frame).data(), 1, -1, key);
  }

  bool writeCounted(OutputAVIFile& writer, long first, long count, bool key = true) const {
    return writer.writeSample(first, reinterpret_cast<unsigned char*>(countedSamples(first, count).data()), count, -1,
                              key);
  }

  /// Reads the file's pictures in order.
  void expectPictures(long count) const {
    const std::unique_ptr<VideoSourceStream> source(VideoSourceStream::open(file.name(), false, 0, nullptr));
    ASSERT_EQ(source->lastError, 0);
    EXPECT_EQ(source->duration(), count);
    EXPECT_EQ(source->frameRate(), 25.0);
    for (long frame = 0; frame < count; ++frame) {
      long found = frame;
      const unsigned char* const bits = source->getFrameBits(found);
      ASSERT_NE(bits, nullptr);
      EXPECT_EQ(found, frame);
      EXPECT_EQ(Bytes(bits, bits + frameSize), picture(frame)) << frame;
    }
  }

  AVICOMPRESSOPTIONS audioOptions(const Bytes& format) const {
    AVICOMPRESSOPTIONS options = {};
    options.fccType = streamtypeAUDIO;
    options.lpFormat = const_cast<std::uint8_t*>(format.data());
    options.cbFormat = static_cast<DWORD>(format.size());
    return options;
  }

  static AVICOMPRESSOPTIONS videoOptions(DWORD handler = TestCodec::fourcc) {
    AVICOMPRESSOPTIONS options = {};
    options.fccType = streamtypeVIDEO;
    options.fccHandler = handler;
    options.dwKeyFrameEvery = 4;
    options.dwFlags = AVICOMPRESSF_KEYFRAMES;
    return options;
  }

  const VIDEOINFOHEADER video = videoFormat();
  const WAVEFORMATEX audio = pcmFormat(8000, 1, 16);
  const Bytes compressedFormat = TestAcmDriver::format(8000, 1, 320);
  const TempFile file{".avi"};
};

TEST_F(VfWOutput, HasAWholeNumberOfFramesPerSecond) {
  const auto script = std::make_shared<AviScript>();
  const AviFileHandler handler(script);
  // Exact halves go down: 0.4 s a frame are 2.5 frames a second.
  const std::pair<REFERENCE_TIME, DWORD> cases[] = {{333667, 30}, {400000, 25},    {4'000'000, 2},
                                                    {417083, 24}, {10'000'000, 1}, {20'000'000, 0},
                                                    {0, 0},       {-400000, 0},    {30'000'000, 0}};
  for (const auto& [frameTime, rate] : cases) {
    script->streams.clear();
    const VIDEOINFOHEADER format = videoFormat(frameTime);
    const Writer writer(OutputAVIFile::create(file.name(), &format, false, nullptr, false, false));
    EXPECT_EQ(writer->lastError, rate > 0 ? 0 : vfw_error::cannotCreateVideoStream) << frameTime;
    if (rate > 0) {
      const AVISTREAMINFOW& info = script->streams.at(0).info;
      EXPECT_EQ(info.dwRate, rate);
      EXPECT_EQ(info.dwScale, 1U);
      EXPECT_EQ(info.rcFrame.right, width);
      EXPECT_EQ(std::wstring(info.szName), L"video stream");
    }
  }
}

TEST_F(VfWOutput, FramesComeBack) {
  {
    const Writer writer = create(true, false, false, false);
    ASSERT_TRUE(writer->start());
    EXPECT_TRUE(writePicture(*writer, 0));
    EXPECT_TRUE(writer->writeFrame(1, picture(1).data(), 1, frameSize, true));
    EXPECT_TRUE(writePicture(*writer, 2));
    EXPECT_TRUE(writer->close());
  }
  expectPictures(3);
}

TEST_F(VfWOutput, CompressesVideo) {
  const TestCodec codec;
  {
    const Writer writer = create(true, true, false, false);
    EXPECT_TRUE(writer->canSetCompressor(true));
    EXPECT_FALSE(writer->canRun());
    EXPECT_FALSE(writer->start());
    EXPECT_EQ(writer->lastError, vfw_error::notFullyConfigured);

    // A compressor that does not exist makes room for another.
    AVICOMPRESSOPTIONS options = videoOptions(mmioFOURCC('n', 'o', 'n', 'e'));
    ASSERT_TRUE(writer->setCompressor(true, &options));
    EXPECT_FALSE(writer->setCompressor(true, &options));
    EXPECT_EQ(writer->lastError, output_error::compressorAlreadySet);
    EXPECT_FALSE(writer->start());
    EXPECT_EQ(writer->lastError, vfw_error::cannotSetCompressor);
    EXPECT_FALSE(writer->isCompressorSet(true));

    options = videoOptions();
    ASSERT_TRUE(writer->setCompressor(true, &options));
    ASSERT_TRUE(writer->start()) << writer->lastError;
    for (long frame = 0; frame < 10; ++frame) {
      EXPECT_TRUE(writePicture(*writer, frame, false));
    }
    EXPECT_TRUE(writer->close());
  }
  expectPictures(10);
  PAVISTREAM stream = nullptr;
  ASSERT_EQ(AVIStreamOpenFromFileA(&stream, file.name(), streamtypeVIDEO, 0, OF_READ, nullptr), 0);
  EXPECT_EQ(AVIStreamFindSample(stream, 3, FIND_PREV | FIND_KEY), 0);
  EXPECT_EQ(AVIStreamFindSample(stream, 5, FIND_PREV | FIND_KEY), 4) << "a key frame every four";
  AVIStreamRelease(stream);
}

TEST_F(VfWOutput, WritesPiecesUntilAllIsWritten) {
  const auto script = std::make_shared<AviScript>();
  script->samplesPerWrite = 100;
  const AviFileHandler handler(script);
  const Writer writer = create(false, false, true, false);
  ASSERT_TRUE(writer->start());
  EXPECT_TRUE(writeCounted(*writer, 0, 250));
  EXPECT_EQ(writer->nextSample_number(), 250);
  ASSERT_EQ(script->calls.size(), 3U);
  const long expected[][3] = {{0, 250, AVIIF_KEYFRAME}, {100, 150, 0}, {200, 50, 0}};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(script->calls[i].position, expected[i][0]);
    EXPECT_EQ(script->calls[i].count, expected[i][1]);
    EXPECT_EQ(script->calls[i].flags, static_cast<DWORD>(expected[i][2])) << "the first piece alone is a key sample";
  }

  script->failingWrite = 4;
  EXPECT_FALSE(writeCounted(*writer, 250, 250));
  EXPECT_EQ(writer->lastError, vfw_error::writeError);
  EXPECT_EQ(writer->nextSample_number(), 250);
  EXPECT_EQ(script->streams[0].samples.size(), 350U) << "what was written before stays";

  script->samplesPerWrite = 0;
  EXPECT_FALSE(writeCounted(*writer, 350, 1)) << "no progress is a failure";
}

TEST_F(VfWOutput, WritesBothStreamsThroughTheEngine) {
  const auto script = std::make_shared<AviScript>();
  const AviFileHandler handler(script);
  constexpr long frames = 50;
  constexpr long samples = 16000;
  {
    const Writer writer = create(true, false, true, false);
    ASSERT_TRUE(writer->start());
    EXPECT_EQ(writer->interleavingPeriod(), 7'500'000);
    AutomaticInterleaveEngine engine;
    ASSERT_TRUE(engine.setOutputStream(writer.get(), true));
    const auto writeVideo = [&] {
      for (long frame = 0;
           frame < frames && engine.Write(engine.VideoThread, frame, picture(frame).data(), 1, -1, true); ++frame) {
      }
      engine.exit(engine.VideoThread);
    };
    struct Thread {
      static DWORD WINAPI run(void* work) {
        QuilletThread();
        (*static_cast<const decltype(writeVideo)*>(work))();
        return 0;
      }
    };
    const HANDLE thread =
        CreateThread(nullptr, 0, Thread::run, const_cast<void*>(static_cast<const void*>(&writeVideo)), 0, nullptr);
    for (long first = 0; first < samples; first += 500) {
      auto values = countedSamples(first, 500);
      EXPECT_TRUE(
          engine.Write(engine.AudioThread, first, reinterpret_cast<unsigned char*>(values.data()), 500, -1, true));
    }
    engine.exit(engine.AudioThread);
    EXPECT_EQ(WaitForSingleObject(thread, 20000), WAIT_OBJECT_0);
    CloseHandle(thread);
    EXPECT_TRUE(engine.close());
    EXPECT_TRUE(writer->close());
  }
  // An interleaving period is 6000 samples, of which 18.75 frames are the length.
  EXPECT_EQ(script->calls[0].count, 6000) << "audio is first, and in whole periods";
  expectPictures(frames);
  const std::unique_ptr<AudioSourceStream> source(AudioSourceStream::open(file.name(), false, 0, nullptr));
  ASSERT_EQ(source->duration(), samples);
  const auto* const read = reinterpret_cast<const WORD*>(source->getSamples(0, samples - 1));
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(std::vector<WORD>(read, read + samples), countedSamples(0, samples));
}

TEST_F(VfWOutput, CompressesAudioBlockByBlock) {
  const TestAcmDriver driver;
  const auto script = std::make_shared<AviScript>();
  const AviFileHandler handler(script);
  std::mt19937 random = loggedRandom();
  constexpr long total = 40'050;  // Half a block at the end.
  for (const bool closes : {true, false}) {
    script->streams.clear();
    Writer writer = create(false, false, true, true);
    AVICOMPRESSOPTIONS options = audioOptions(compressedFormat);
    ASSERT_TRUE(writer->setCompressor(false, &options));
    ASSERT_TRUE(writer->start());
    for (long first = 0; first < total;) {
      const long count = std::min(between(1L, 5900L, random), total - first);
      ASSERT_TRUE(writeCounted(*writer, first, count)) << writer->lastError;
      first += count;
      EXPECT_EQ(writer->nextSample_number(), first / TestAcmDriver::compressedSamplesPerBlock);
    }
    if (closes) {
      EXPECT_TRUE(writer->close());
    }
    writer.reset();
    // What one conversion of the whole gives, the end of it only when the file was closed.
    std::vector<Bytes> blocks;
    for (long first = 0; first < (closes ? total : total - 50); first += 100) {
      blocks.push_back(
          TestAcmDriver::block(static_cast<WORD>(std::min(total - first, 100L)), static_cast<WORD>(first)));
    }
    EXPECT_EQ(script->streams[0].samples, blocks);
    EXPECT_EQ(script->streams[0].format, compressedFormat);
  }
  EXPECT_EQ(driver.openStreams, 0);
  EXPECT_EQ(driver.preparedHeaders, 0);
}

TEST_F(VfWOutput, RefusesAudioThatDoesNotFitOrConvert) {
  const TestAcmDriver driver;
  const auto script = std::make_shared<AviScript>();
  const AviFileHandler handler(script);
  const Writer writer = create(false, false, true, true);
  AVICOMPRESSOPTIONS options = audioOptions(compressedFormat);
  ASSERT_TRUE(writer->setCompressor(false, &options));
  EXPECT_FALSE(writeCounted(*writer, 0, 1));
  EXPECT_EQ(writer->lastError, vfw_error::notFullyConfigured) << "not started";
  ASSERT_TRUE(writer->start());
  EXPECT_FALSE(writeCounted(*writer, 0, 6001)) << "a period is 6000 samples";
  EXPECT_EQ(writer->lastError, vfw_error::audioCompressionOverflow);
  EXPECT_TRUE(writeCounted(*writer, 0, 5950)) << "nothing was appended";
  EXPECT_FALSE(writeCounted(*writer, 5950, 5951)) << "50 samples wait for their block";
  EXPECT_TRUE(writeCounted(*writer, 5950, 5950));
  EXPECT_EQ(script->streams[0].samples.size(), 119U);
  EXPECT_FALSE(writeCounted(*writer, 0xFFFF, 100)) << "the driver refuses these";
  EXPECT_EQ(writer->lastError, vfw_error::audioCompressionFailure);
}

TEST_F(VfWOutput, KnowsWhichCompressorsItNeeds) {
  const TestAcmDriver driver;
  const auto script = std::make_shared<AviScript>();
  const AviFileHandler handler(script);
  AVICOMPRESSOPTIONS forVideo = videoOptions();
  AVICOMPRESSOPTIONS forAudio = audioOptions(compressedFormat);
  const auto expectRefused = [](OutputAVIFile& writer, bool isVideo, AVICOMPRESSOPTIONS& options, int code) {
    EXPECT_FALSE(writer.canSetCompressor(isVideo));
    EXPECT_EQ(writer.lastError, 0);
    EXPECT_FALSE(writer.setCompressor(isVideo, &options));
    EXPECT_EQ(writer.lastError, code);
    EXPECT_FALSE(writer.chooseCompressor(nullptr, isVideo)) << "and no dialog is shown";
    EXPECT_EQ(writer.lastError, code);
  };
  const Writer videoOnly = create(true, false, false, true);
  expectRefused(*videoOnly, true, forVideo, output_error::directCopyRequired);
  expectRefused(*videoOnly, false, forAudio, output_error::noAudioStream);
  EXPECT_FALSE(videoOnly->writeSample(0, nullptr, 0, 0, true));
  EXPECT_EQ(videoOnly->lastError, output_error::noAudioStream);
  const Writer audioOnly = create(false, true, true, true);
  expectRefused(*audioOnly, true, forVideo, output_error::noVideoStream);
  EXPECT_TRUE(audioOnly->setCompressor(false, &forAudio));
  EXPECT_TRUE(audioOnly->isCompressorSet(false));
  expectRefused(*audioOnly, false, forAudio, output_error::compressorAlreadySet);

  const Writer both = create(true, true, true, true);
  WAVEFORMATEX impossible = audio;
  impossible.wFormatTag = 0x1234;
  const Bytes impossibleFormat = bytesOf(impossible);
  forAudio = audioOptions(impossibleFormat);
  EXPECT_FALSE(both->setCompressor(false, &forAudio));
  EXPECT_EQ(both->lastError, vfw_error::cannotSetCompressor);
  EXPECT_FALSE(both->Error_isFatal(both->lastError));
  both->configureCompressor(nullptr, true);
  EXPECT_EQ(both->lastError, output_error::noCompressorSelected);
  // No compressor after all.
  EXPECT_TRUE(both->setCompressor(true, nullptr));
  EXPECT_FALSE(both->canRun());
  EXPECT_TRUE(both->setCompressor(false, nullptr));
  EXPECT_TRUE(both->canRun());
  EXPECT_FALSE(both->compressedVideo() || both->compressedAudio());
  EXPECT_TRUE(both->start());
  EXPECT_EQ(script->streams.back().format.size(), sizeof(WAVEFORMATEX));
}

TEST_F(VfWOutput, TakesThePeriodFromTheAudioOptions) {
  const TestAcmDriver driver;
  const auto script = std::make_shared<AviScript>();
  const AviFileHandler handler(script);
  const Writer writer = create(true, false, true, true);
  AVICOMPRESSOPTIONS options = audioOptions(compressedFormat);
  options.dwFlags = AVICOMPRESSF_INTERLEAVE;
  options.dwInterleaveEvery = 5;
  ASSERT_TRUE(writer->setCompressor(false, &options));
  EXPECT_EQ(writer->interleavingPeriod(), 2'000'000);
  {
    const DialogDriver user({{"AVI interleaving period", [](HWND dialog) {
                                EXPECT_EQ(textOf(dialog, 101), "0.200000");
                                enter(dialog, 101, "0.5");
                                press(dialog, IDOK);
                              }}});
    writer->configureAVI(nullptr);
  }
  EXPECT_EQ(writer->lastError, 0);
  EXPECT_EQ(writer->interleavingPeriod(), 4'800'000) << "whole frames";
}

TEST_F(VfWOutput, AsksForThePeriod) {
  const auto script = std::make_shared<AviScript>();
  const AviFileHandler handler(script);
  const Writer writer = create(true, false, true, false);
  const auto answer = [](const char* text, int button) {
    return DialogStep{"AVI interleaving period", [=](HWND dialog) {
                        enter(dialog, 101, text);
                        press(dialog, button);
                      }};
  };
  const DialogStep warning = {"Quillet library", [](HWND box) {
                                EXPECT_EQ(textOf(box, 0xFFFF),
                                          "Positive floating point value expected for the interleaving period.");
                                press(box, IDOK);
                              }};
  const struct {
    std::vector<DialogStep> steps;
    long long period;
  } cases[] = {
      {{answer("1", IDCANCEL)}, 7'500'000},
      {{answer("2 ", IDOK)}, 20'000'000},
      {{answer("0", IDOK), warning, answer("1.5", IDOK)}, 15'000'000},
      {{answer("-1", IDOK), warning, answer("1.5s", IDOK), warning, answer("3", IDCANCEL)}, 15'000'000},
      {{answer("", IDOK), warning, answer("1e300", IDOK), warning, answer("1e-3", IDOK)}, 400'000},  // A frame.
  };
  for (const auto& [steps, period] : cases) {
    {
      const DialogDriver user(steps);
      writer->configureAVI(nullptr);
    }
    EXPECT_EQ(writer->lastError, 0);
    EXPECT_EQ(writer->interleavingPeriod(), period);
  }
  const Writer videoOnly = create(true, false, false, false);
  videoOnly->configureAVI(nullptr);
  EXPECT_EQ(videoOnly->lastError, vfw_error::notInterleaved);
  EXPECT_FALSE(videoOnly->isAutomaticallyInterleaved() || videoOnly->setAutomaticInterleaving(true));
}

TEST_F(VfWOutput, LetsTheUserChoose) {
  const TestCodec codec;
  const auto script = std::make_shared<AviScript>();
  const AviFileHandler handler(script);
  for (const bool isVideo : {true, false}) {
    const Writer writer = create(true, true, true, true);
    for (const int button : {IDCANCEL, IDOK}) {
      const DialogDriver user({{"", [=](HWND dialog) { press(dialog, button); }}});
      EXPECT_EQ(writer->chooseCompressor(nullptr, isVideo), button == IDOK);
      EXPECT_EQ(writer->lastError, button == IDOK ? 0 : output_error::dialogCancelled);
      EXPECT_EQ(writer->isCompressorSet(isVideo), button == IDOK);
    }
    EXPECT_EQ(writer->canRun(), false) << "the other has none";
  }
}

TEST_F(VfWOutput, KeepsTheStateThatTheCodecsDialogLeaves) {
  TestCodec codec;
  const auto script = std::make_shared<AviScript>();
  const AviFileHandler handler(script);
  const Writer writer = create(true, true, false, false);
  Bytes state = {7, 8, 9};
  AVICOMPRESSOPTIONS options = videoOptions();
  options.lpParms = state.data();
  options.cbParms = 3;
  ASSERT_TRUE(writer->setCompressor(true, &options));
  const auto expect = [&](int code) {
    writer->configureCompressor(nullptr, true);
    EXPECT_EQ(writer->lastError, code);
  };
  expect(vfw_error::noConfigurationDialog);
  std::vector<Bytes> found;  // By the dialog.
  codec.dialog = [&](Bytes& present) {
    found.push_back(present);
    ++present[0];
  };
  codec.stateResult = ICERR_ERROR;
  expect(vfw_error::cannotAccessCodecParameters);
  codec.stateResult = ICERR_OK;
  expect(0);
  codec.stateResult = 3;  // As well as ICERR_OK.
  expect(0);
  EXPECT_EQ(found, (std::vector<Bytes>{{7, 8, 9}, {7, 8, 9}, {8, 8, 9}})) << "the client's, then the kept ones";
  EXPECT_EQ(state, (Bytes{7, 8, 9})) << "the client's own is not touched";
  codec.state.push_back(0);
  expect(vfw_error::corruptCompressorParameters);
  writer->configureCompressor(nullptr, false);
  EXPECT_EQ(writer->lastError, 0) << "audio has none, and that is no failure";

  const Writer unknown = create(true, true, false, false);
  options = videoOptions(mmioFOURCC('n', 'o', 'n', 'e'));
  unknown->setCompressor(true, &options);
  unknown->configureCompressor(nullptr, true);
  EXPECT_EQ(unknown->lastError, vfw_error::cannotOpenCodec);
}

TEST_F(VfWOutput, FailsWithTheCodeOfTheStep) {
  const auto expectCode = [&](const char* name, const VIDEOINFOHEADER* video, bool compress, const WAVEFORMATEX* audio,
                              int code) {
    const Writer writer(OutputAVIFile::create(name, video, compress, audio, false, false));
    ASSERT_NE(writer, nullptr);
    EXPECT_EQ(writer->lastError, code);
    unsigned char data[4] = {};
    const std::function<bool()> operations[] = {[&] { return writer->start(); },
                                                [&] { return writer->close(); },
                                                [&] { return writer->writeFrame(0, data, 1, 4, true); },
                                                [&] { return writer->writeSample(0, data, 1, 2, true); },
                                                [&] { return writer->setCompressor(true, nullptr); },
                                                [&] { return writer->chooseCompressor(nullptr, false); }};
    for (const auto& operation : operations) {
      writer->lastError = 0;
      EXPECT_FALSE(operation());
      EXPECT_EQ(writer->lastError, vfw_error::notOpened);
    }
    EXPECT_FALSE(writer->canRun() || writer->canSetCompressor(true));
  };
  expectCode("Z:\\no such folder\\x.avi", &video, false, nullptr, vfw_error::cannotCreateFile);
  expectCode(nullptr, &video, false, nullptr, vfw_error::cannotCreateFile);
  expectCode(file.name(), nullptr, false, nullptr, output_error::noStreamDefined);
  VIDEOINFOHEADER plain16 = video;
  plain16.bmiHeader.biBitCount = 16;
  expectCode(file.name(), &plain16, true, nullptr, output_error::unacceptableVideoFormat);

  const auto script = std::make_shared<AviScript>();
  const AviFileHandler handler(script);
  WAVEFORMATEX withoutRate = audio;
  withoutRate.nSamplesPerSec = 0;
  expectCode(file.name(), nullptr, false, &withoutRate, vfw_error::cannotCreateAudioStream);
  script->refusedStream = streamtypeVIDEO;
  expectCode(file.name(), &video, false, &audio, vfw_error::cannotCreateVideoStream);
  script->refusedStream = streamtypeAUDIO;
  expectCode(file.name(), &video, false, &audio, vfw_error::cannotCreateAudioStream);
  script->refusedStream = 0;
  for (const DWORD kind : {streamtypeVIDEO, streamtypeAUDIO}) {
    script->refusedFormats = {kind};
    const Writer writer = create(true, false, true, false);
    EXPECT_FALSE(writePicture(*writer, 0));
    EXPECT_EQ(writer->lastError, vfw_error::notFullyConfigured) << "not started";
    EXPECT_FALSE(writer->start());
    EXPECT_EQ(writer->lastError, vfw_error::cannotSetFormat);
  }
  script->refusedFormats.clear();
  const Writer writer = create(true, false, true, false);
  EXPECT_TRUE(writer->start() && writer->close());
  EXPECT_FALSE(writePicture(*writer, 0));
  EXPECT_EQ(writer->lastError, vfw_error::notOpened) << "closed";
}

TEST_F(VfWOutput, LeavesNothingBehind) {
  TestCodec codec;
  codec.dialog = [](Bytes& state) { ++state[0]; };
  const TestAcmDriver driver;
  const auto script = std::make_shared<AviScript>();
  const AviFileHandler handler(script);
  int round = 0;
  const auto writeAndGoAway = [&] {
    script->streams.clear();
    script->calls.clear();
    const int end = ++round % 3;
    script->refusedFormats = end == 0 ? std::set<DWORD>{streamtypeAUDIO} : std::set<DWORD>{};
    const Writer writer = create(true, true, true, true);
    AVICOMPRESSOPTIONS forAudio = audioOptions(compressedFormat);
    writer->setCompressor(false, &forAudio);
    for (const DWORD handler : {mmioFOURCC('n', 'o', 'n', 'e'), TestCodec::fourcc}) {
      AVICOMPRESSOPTIONS forVideo = videoOptions(handler);
      writer->setCompressor(true, &forVideo);
      writer->configureCompressor(nullptr, true);
      writer->configureCompressor(nullptr, true);
      EXPECT_EQ(writer->start(), handler == TestCodec::fourcc && end != 0);
    }
    writePicture(*writer, 0);
    writeCounted(*writer, 0, 150);
    if (end == 1) {
      writer->close();
    }
  };
  EXPECT_TRUE(leavesNothingBehind(writeAndGoAway, wine_gap::blocksOfACompressedStream));
  EXPECT_EQ(driver.openStreams, 0);
  EXPECT_EQ(driver.preparedHeaders, 0);
}

TEST_F(VfWOutput, WineCountsChunksOfAudioAsSamples) {
  const Writer writer = create(false, false, true, false);
  ASSERT_TRUE(writer->start());
  EXPECT_TRUE(writeCounted(*writer, 0, 100));
  EXPECT_EQ(writeCounted(*writer, 100, 100), !wine_gap::audioIsWrittenByChunks);
}

}  // namespace
