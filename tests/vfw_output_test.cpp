// Writing AVI files through Video for Windows. Wine writes video right, but counts a piece of audio as one sample: the
// tests with audio write to a handler of .avi files that keeps what comes, and the sources read it from there.

#include "support/avifile_handler.h"
#include "support/dialog_driver.h"
#include "support/leak_check.h"
#include "support/test_acm_driver.h"
#include "support/test_codec.h"
#include "support/wine_gaps.h"
#include "support/writing.h"

using namespace quillet::test;
namespace output_error = quillet::output_error;
namespace vfw_error = quillet::vfw_error;

namespace {

class VfWOutput : public testing::Test {
 protected:
  Writer create(bool withVideo, bool compressVideo, bool withAudio, bool compressAudio) const {
    return Writer(OutputAVIFile::create(file.name(), withVideo ? &video : nullptr, compressVideo,
                                        withAudio ? &audio : nullptr, compressAudio, false));
  }

  static AVICOMPRESSOPTIONS audioOptions(const Bytes& format, DWORD framesPerPeriod = 0) {
    auto* const wave = const_cast<std::uint8_t*>(format.data());
    const auto size = static_cast<DWORD>(format.size());
    return {streamtypeAUDIO, 0, 0, 0, 0, AVICOMPRESSF_INTERLEAVE, wave, size, nullptr, 0, framesPerPeriod};
  }

  static AVICOMPRESSOPTIONS videoOptions(DWORD handler = TestCodec::fourcc) {
    return {streamtypeVIDEO, handler, 4, 0, 0, AVICOMPRESSF_KEYFRAMES, nullptr, 0, nullptr, 0, 0};
  }

  const VIDEOINFOHEADER video = videoFormat();
  const WAVEFORMATEX audio = pcmFormat(8000, 1, 16);
  const Bytes compressedFormat = TestAcmDriver::format(8000, 1, 320);
  const TempFile file{".avi"};
  TestCodec codec;
  const TestAcmDriver driver;
};

/// What is written goes to a script.
class VfWOutputToScript : public VfWOutput {
 protected:
  const std::shared_ptr<AviScript> script = std::make_shared<AviScript>();
  const AviFileHandler handler{script};
};

TEST_F(VfWOutputToScript, HasAWholeNumberOfFramesPerSecond) {
  // Exact halves go down: 0.4 s a frame are 2.5 frames a second.
  const std::pair<REFERENCE_TIME, DWORD> cases[] = {{333667, 30},    {400000, 25}, {4'000'000, 2},
                                                    {20'000'000, 0}, {0, 0},       {-400000, 0}};
  for (const auto& [frameTime, rate] : cases) {
    script->streams.clear();
    const VIDEOINFOHEADER format = videoFormat(frameTime);
    const Writer writer(OutputAVIFile::create(file.name(), &format, false, nullptr, false, false));
    EXPECT_EQ(writer->lastError, rate > 0 ? 0 : vfw_error::cannotCreateVideoStream) << frameTime;
    if (rate > 0) {
      const AVISTREAMINFOW& info = script->streams.at(0).info;
      EXPECT_EQ(info.dwRate, rate);
      EXPECT_EQ(info.dwScale, 1U);
      EXPECT_EQ(info.rcFrame.right, 8);
    }
  }
}

TEST_F(VfWOutputToScript, WhatBelongsToAHeaderGoesAlong) {
  const struct {
    WORD bits;
    DWORD compression, coloursUsed;
    std::size_t wordsBehind;
  } cases[] = {
      {8, BI_RGB, 3, 3},   {8, BI_RGB, 0, 256},      {8, BI_RLE8, 0, 256},         {4, BI_RGB, 0, 16},
      {1, BI_RGB, 300, 2}, {24, BI_RGB, 16, 0},      {8, TestCodec::fourcc, 0, 0}, {0, TestCodec::fourcc, 9, 0},
      {16, BI_RGB, 0, 0},  {16, BI_BITFIELDS, 0, 3}, {8, TestCodec::fourcc, 7, 7}};
  for (const auto& c : cases) {
    script->streams.clear();
    Bytes block = noise(sizeof video + 256 * sizeof(RGBQUAD));
    auto& format = *reinterpret_cast<VIDEOINFOHEADER*>(block.data());
    format = video;
    format.bmiHeader.biBitCount = c.bits;
    format.bmiHeader.biCompression = c.compression;
    format.bmiHeader.biClrUsed = c.coloursUsed;
    format.bmiHeader.biSizeImage = 77;  // Of a codec's frames; that of others follows from their bits.
    const Writer writer(OutputAVIFile::create(file.name(), &format, false, nullptr, false, false));
    EXPECT_TRUE(writer->start() && writer->writeFrame(0, Bytes(200).data(), 1, -1, true));
    const bool isRgb = c.compression == BI_RGB;
    EXPECT_EQ(script->streams.at(0).samples.at(0).size(), isRgb ? 4U * std::max<WORD>(c.bits, 4) : 77U);
    EXPECT_EQ(script->streams.at(0).info.fccHandler, c.compression);
    const auto header = block.begin() + offsetof(VIDEOINFOHEADER, bmiHeader);
    EXPECT_EQ(script->streams.at(0).format,
              Bytes(header, header + sizeof(BITMAPINFOHEADER) + c.wordsBehind * sizeof(DWORD)));
  }
}

TEST_F(VfWOutput, CompressesVideo) {
  const Writer writer = create(true, true, false, false);
  EXPECT_TRUE(writer->canSetCompressor(true));
  EXPECT_FALSE(writer->canRun());
  EXPECT_TRUE(failed(writer->start(), *writer, vfw_error::notFullyConfigured));

  // A compressor that does not exist makes room for another.
  AVICOMPRESSOPTIONS options = videoOptions(mmioFOURCC('n', 'o', 'n', 'e'));
  ASSERT_TRUE(writer->setCompressor(true, &options));
  EXPECT_TRUE(failed(writer->setCompressor(true, &options), *writer, output_error::compressorAlreadySet));
  EXPECT_TRUE(failed(writer->start(), *writer, vfw_error::cannotSetCompressor));
  EXPECT_FALSE(writer->isCompressorSet(true));

  options = videoOptions();
  ASSERT_TRUE(writer->setCompressor(true, &options));
  ASSERT_TRUE(writer->start()) << writer->lastError;
  for (long frame = 0; frame < 10; ++frame) {
    EXPECT_TRUE(writer->writeFrame(frame, picture(frame).data(), 1, frame % 2 != 0 ? pictureSize : -1, false));
  }
  EXPECT_TRUE(failed(writer->writeFrame(10, picture(10).data(), -1, -1, true), *writer, vfw_error::writeError));
  EXPECT_FALSE(writer->writeFrame(LONG_MAX, picture(10).data(), 1, -1, true)) << "no number could follow";
  EXPECT_TRUE(writer->close());
  expectPictures(file.name(), 10);
}

TEST_F(VfWOutputToScript, WritesPiecesUntilAllIsWritten) {
  script->samplesPerWrite = 100;
  const Writer writer = create(false, false, true, false);
  ASSERT_TRUE(writer->start());
  EXPECT_EQ(script->streams.at(0).info.dwScale, 2U);
  EXPECT_EQ(script->streams[0].info.dwRate, 16000U);
  EXPECT_TRUE(writeCounted(*writer, 0, 250));
  EXPECT_EQ(writer->nextSample_number(), 250);
  using Kind = AviScriptCall;
  EXPECT_TRUE(script->calls ==
              (std::vector<AviScriptCall>{
                  {Kind::write, 0, 250, 0, AVIIF_KEYFRAME}, {Kind::write, 100, 150}, {Kind::write, 200, 50}}))
      << "the first piece alone is a key sample";
  for (long i = 0; i < 250; ++i) {
    EXPECT_EQ(script->streams[0].samples.at(i), countedSamples(i, 1));
  }

  EXPECT_TRUE(failed(writeCounted(*writer, 300, 250), *writer, vfw_error::writeError)) << "the handler takes no gap";
  EXPECT_EQ(writer->nextSample_number(), 250);
  script->samplesPerWrite = 0;
  EXPECT_FALSE(writeCounted(*writer, 250, 1)) << "no progress is a failure";
}

TEST_F(VfWOutputToScript, RefusesWhatTheFileOrTheDiskCannotHold) {
  script->keepsSamples = false;
  constexpr long half = 1 << 30;
  // What the disk loses: nothing, the last byte, the file.
  for (const long long lost : {0LL, 1LL, 2LL * half}) {
    script->streams.clear();
    script->bytesLost = 0;
    const Writer writer = create(true, false, true, false);
    ASSERT_TRUE(writer->start());
    unsigned char data[2] = {};
    EXPECT_TRUE(writer->writeFrame(0, data, 1, half, true));
    EXPECT_TRUE(failed(writer->writeFrame(1, data, 1, half - 1, true), *writer, vfw_error::writeError));
    EXPECT_TRUE(writer->writeFrame(1, data, 1, half - (1 << 21), true)) << "the headers are smaller";
    EXPECT_TRUE(failed(writer->writeSample(0, data, 1 << 20, -1, true), *writer, vfw_error::writeError));
    EXPECT_TRUE(failed(writer->writeFrame(50'000, data, 1, 2, true), *writer, vfw_error::writeError))
        << "those before it take their places";
    EXPECT_TRUE(writer->writeFrame(2, data, 1, 2, true)) << "what there is room for";
    EXPECT_EQ(writer->nextFrame_number(), 3);
    script->bytesLost = lost;
    EXPECT_EQ(writer->close(), lost == 0);
    EXPECT_EQ(writer->lastError, lost == 0 ? 0 : vfw_error::writeError);
  }
}

TEST_F(VfWOutputToScript, CompressesAudioBlockByBlock) {
  std::mt19937 random = loggedRandom();
  constexpr long total = 40'050;  // Half a block at the end.
  const Writer writer = create(false, false, true, true);
  AVICOMPRESSOPTIONS options = audioOptions(compressedFormat);
  ASSERT_TRUE(writer->setCompressor(false, &options));
  ASSERT_TRUE(writer->start());
  for (long first = 0; first < total;) {
    const long count = std::min(between(1L, 5900L, random), total - first);
    ASSERT_TRUE(writeCounted(*writer, first, count)) << writer->lastError;
    first += count;
    EXPECT_EQ(writer->nextSample_number(), first / TestAcmDriver::compressedSamplesPerBlock);
  }
  EXPECT_TRUE(writer->close());
  // What one conversion of the whole gives.
  std::vector<Bytes> blocks;
  for (long first = 0; first < total; first += 100) {
    blocks.push_back(TestAcmDriver::block(static_cast<WORD>(std::min(total - first, 100L)), static_cast<WORD>(first)));
  }
  EXPECT_EQ(script->streams[0].samples, blocks);
  EXPECT_EQ(script->streams[0].format, compressedFormat);
  EXPECT_EQ(script->calls.front().flags, static_cast<DWORD>(AVIIF_KEYFRAME));
  EXPECT_EQ(script->calls.back().flags, 0U);
  EXPECT_EQ(driver.openStreams, 0);
}

TEST_F(VfWOutputToScript, RefusesAudioThatDoesNotFitOrConvert) {
  const Writer writer = create(false, false, true, true);
  AVICOMPRESSOPTIONS options = audioOptions(compressedFormat);
  ASSERT_TRUE(writer->setCompressor(false, &options));
  EXPECT_TRUE(failed(writeCounted(*writer, 0, 1), *writer, vfw_error::notFullyConfigured)) << "not started";
  ASSERT_TRUE(writer->start());
  EXPECT_TRUE(failed(writeCounted(*writer, 0, 6001), *writer, vfw_error::audioCompressionOverflow))
      << "a period is 6000 samples";
  EXPECT_TRUE(writeCounted(*writer, 0, 5950)) << "nothing was appended";
  EXPECT_FALSE(writeCounted(*writer, 5950, 5951)) << "50 samples wait for their block";
  EXPECT_TRUE(writeCounted(*writer, 5950, 5950));
  EXPECT_EQ(script->streams[0].samples.size(), 119U);
  EXPECT_TRUE(failed(writeCounted(*writer, 0xFFFF, 100), *writer, vfw_error::audioCompressionFailure))
      << "the driver refuses these";
  EXPECT_TRUE(failed(writer->writeSample(0, nullptr, 1, 2, true), *writer, vfw_error::writeError));

  // A second start begins afresh, or leaves nothing to write to.
  EXPECT_TRUE(writer->start());
  EXPECT_EQ(writer->nextSample_number(), 0);
  script->refusedFormats = {streamtypeAUDIO};
  EXPECT_FALSE(writer->start());
  EXPECT_TRUE(failed(writeCounted(*writer, 0, 100), *writer, vfw_error::notFullyConfigured));
  script->refusedFormats.clear();
  EXPECT_TRUE(writer->start() && writeCounted(*writer, 0, 50));
  EXPECT_TRUE(failed(writer->close(), *writer, vfw_error::writeError)) << "the end has its place already taken";
}

TEST_F(VfWOutputToScript, KnowsWhichCompressorsItNeeds) {
  AVICOMPRESSOPTIONS forVideo = videoOptions();
  AVICOMPRESSOPTIONS forAudio = audioOptions(compressedFormat);
  const auto expectRefused = [](OutputAVIFile& writer, bool isVideo, AVICOMPRESSOPTIONS& options, int code) {
    EXPECT_TRUE(failed(writer.canSetCompressor(isVideo), writer, 0));
    EXPECT_TRUE(failed(writer.setCompressor(isVideo, &options), writer, code));
    EXPECT_TRUE(failed(writer.chooseCompressor(nullptr, isVideo), writer, code)) << "and no dialog is shown";
  };
  const Writer videoOnly = create(true, false, false, true);
  expectRefused(*videoOnly, true, forVideo, output_error::directCopyRequired);
  expectRefused(*videoOnly, false, forAudio, output_error::noAudioStream);
  unsigned char data[2] = {};
  for (const auto write : {&OutputAVIFile::writeSample, &OutputAVIFile::bufferedWriteSample}) {
    EXPECT_TRUE(failed((*videoOnly.*write)(0, data, 1, 2, true), *videoOnly, output_error::noAudioStream));
  }
  EXPECT_TRUE(failed(videoOnly->flushAudio(), *videoOnly, output_error::noAudioStream));
  EXPECT_TRUE(failed(videoOnly->nextFrame_number(), *videoOnly, output_error::noAudioStream)) << "on purpose";
  const Writer audioOnly = create(false, true, true, true);
  expectRefused(*audioOnly, true, forVideo, output_error::noVideoStream);
  EXPECT_TRUE(audioOnly->setCompressor(false, &forAudio));
  EXPECT_TRUE(audioOnly->compressedVideo());
  EXPECT_EQ(audioOnly->lastError, output_error::noVideoStream);
  expectRefused(*audioOnly, false, forAudio, output_error::compressorAlreadySet);

  const Writer both = create(true, true, true, true);
  WAVEFORMATEX impossible = audio;
  impossible.wFormatTag = 0x1234;
  const Bytes impossibleFormat = bytesOf(impossible);
  forAudio = audioOptions(impossibleFormat);
  EXPECT_TRUE(failed(both->setCompressor(false, &forAudio), *both, vfw_error::cannotSetCompressor));
  both->configureCompressor(nullptr, true);
  EXPECT_EQ(both->lastError, output_error::noCompressorSelected);
  // No compressor after all.
  EXPECT_TRUE(both->setCompressor(true, nullptr));
  EXPECT_FALSE(both->canRun());
  EXPECT_TRUE(both->setCompressor(false, nullptr));
  EXPECT_FALSE(both->compressedVideo() || both->compressedAudio());
  EXPECT_TRUE(both->start());
  EXPECT_EQ(script->streams.back().format.size(), sizeof(WAVEFORMATEX));
}

TEST_F(VfWOutputToScript, TakesThePeriodFromTheAudioOptions) {
  const Writer writer = create(true, false, true, true);
  AVICOMPRESSOPTIONS options = audioOptions(compressedFormat, 5);
  ASSERT_TRUE(writer->setCompressor(false, &options));
  EXPECT_EQ(writer->interleavingPeriod(), 2'000'000);
  EXPECT_TRUE(writer->setInterleavingPeriod(5'000'000));
  EXPECT_EQ(writer->interleavingPeriod(), 4'800'000) << "whole frames";
  EXPECT_TRUE(writer->setInterleavingPeriod(80'000'000));
  EXPECT_TRUE(writer->bufferedWriteSample(0, countedSamples(0, 60'000).data(), 60'000, -1, true)) << "fits now";
}

TEST_F(VfWOutputToScript, AsksForThePeriod) {
  const Writer writer = create(true, false, true, false);
  const auto answer = [](const char* text, int button) {
    return DialogStep{"AVI interleaving period", [=](HWND dialog) {
                        enter(dialog, 101, text);
                        press(dialog, button);
                      }};
  };
  const DialogStep warning = {"Quillet library", [](HWND box) { press(box, IDOK); }};
  std::vector<DialogStep> mended;
  for (const char* const text : {"0", "-1", "1.5s", "", "1e300"}) {
    mended.insert(mended.end(), {answer(text, IDOK), warning});
  }
  mended.push_back(answer("1e-3", IDOK));
  const std::pair<std::vector<DialogStep>, long long> cases[] = {
      {{answer("1", IDCANCEL)}, 7'500'000}, {{answer("0.3 ", IDOK)}, 3'000'000}, {mended, 400'000}};  // A frame.
  for (const auto& [steps, period] : cases) {
    (DialogDriver(steps), writer->configureAVI(nullptr));
    EXPECT_EQ(writer->lastError, 0);
    EXPECT_EQ(writer->interleavingPeriod(), period);
  }
  writer->configureAVI(GetModuleHandleA(nullptr));  // Which is no window.
  EXPECT_EQ(writer->lastError, vfw_error::cannotDisplayDialog);
  const Writer videoOnly = create(true, false, false, false);
  videoOnly->configureAVI(nullptr);
  EXPECT_EQ(videoOnly->lastError, vfw_error::notInterleaved);
  EXPECT_FALSE(videoOnly->isAutomaticallyInterleaved() || videoOnly->setAutomaticInterleaving(true));
}

TEST_F(VfWOutputToScript, LetsTheUserChoose) {
  const HWND parent = makeParent();
  for (const bool isVideo : {true, false}) {
    const Writer writer = create(true, true, true, true);
    for (const int button : {IDCANCEL, IDOK}) {
      const DialogDriver user({{"", [=](HWND dialog) {
                                  EXPECT_EQ(GetAncestor(dialog, GA_ROOTOWNER), parent);
                                  press(dialog, button);
                                }}});
      EXPECT_EQ(writer->chooseCompressor(parent, isVideo), button == IDOK);
      EXPECT_EQ(writer->lastError, button == IDOK ? 0 : output_error::dialogCancelled);
      EXPECT_EQ(writer->isCompressorSet(isVideo), button == IDOK);
    }
    EXPECT_EQ(writer->canRun(), false) << "the other has none";
  }
}

TEST_F(VfWOutputToScript, KeepsTheStateThatTheCodecsDialogLeaves) {
  const Writer writer = create(true, true, false, false);
  Bytes state = {7, 8, 9};
  AVICOMPRESSOPTIONS options = videoOptions();
  options.lpParms = state.data();
  options.cbParms = 3;
  ASSERT_TRUE(writer->setCompressor(true, &options));
  const auto expect = [&](int code) {
    writer->configureCompressor(GetDesktopWindow(), true);
    EXPECT_EQ(writer->lastError, code);
  };
  expect(vfw_error::noConfigurationDialog);
  std::vector<Bytes> found;  // By the dialog.
  codec.dialog = [&](Bytes& present) {
    found.push_back(present);
    ++present[0];
  };
  for (const auto& [result, code] : {std::pair<LRESULT, int>(ICERR_ERROR, vfw_error::cannotAccessCodecParameters),
                                     {ICERR_OK, 0},
                                     {3, 0}}) {  // As well as ICERR_OK.
    codec.stateResult = result;
    expect(code);
  }
  EXPECT_EQ(found, (std::vector<Bytes>{{7, 8, 9}, {7, 8, 9}, {8, 8, 9}})) << "the client's, then the kept ones";
  EXPECT_EQ(state, (Bytes{7, 8, 9})) << "the client's own is not touched";
  codec.state.push_back(0);
  expect(vfw_error::corruptCompressorParameters);
  writer->configureCompressor(nullptr, false);
  EXPECT_EQ(writer->lastError, 0) << "audio has none, and that is no failure";
}

TEST_F(VfWOutput, FailsWithTheCodeOfTheStep) {
  const auto expectCode = [&](const char* name, const VIDEOINFOHEADER* video, bool compress, const WAVEFORMATEX* audio,
                              int code) {
    const Writer writer(OutputAVIFile::create(name, video, compress, audio, false, false));
    ASSERT_NE(writer, nullptr);
    EXPECT_EQ(writer->lastError, code);
    unsigned char data[4] = {};
    const std::function<bool()> operations[] = {[&] { return writer->canRun(); },
                                                [&] { return writer->start(); },
                                                [&] { return writer->close(); },
                                                [&] { return writer->writeFrame(0, data, 1, 4, true); },
                                                [&] { return writer->bufferedWriteSample(0, data, 1, 2, true); },
                                                [&] { return writer->nextSample_number() >= 0; },
                                                [&] { return writer->setCompressor(true, nullptr); },
                                                [&] { return writer->chooseCompressor(nullptr, false); }};
    for (const auto& operation : operations) {
      writer->lastError = 0;
      EXPECT_FALSE(operation());
      EXPECT_EQ(writer->lastError, vfw_error::notOpened);
    }
    EXPECT_FALSE(writer->canSetCompressor(true));
  };
  expectCode("Z:\\no such folder\\x.avi", &video, false, nullptr, vfw_error::cannotCreateFile);
  expectCode(nullptr, &video, false, nullptr, vfw_error::cannotCreateFile);
  expectCode(file.name(), nullptr, false, nullptr, output_error::noStreamDefined);
  const std::tuple<WORD, DWORD, bool> formats[] = {{24, BI_RGB, true},  {16, BI_BITFIELDS, true},  {32, BI_RGB, true},
                                                   {16, BI_RGB, false}, {32, BI_BITFIELDS, false}, {24, BI_JPEG, false},
                                                   {24, BI_PNG, false}};
  for (const auto& [bits, compression, isAccepted] : formats) {
    const int code = isAccepted ? 0 : output_error::unacceptableVideoFormat;
    VIDEOINFOHEADER format = video;
    format.bmiHeader.biBitCount = bits;
    format.bmiHeader.biCompression = compression;
    EXPECT_EQ(Writer(OutputAVIFile::create(file.name(), &format, true, nullptr, false, false))->lastError, code);
    EXPECT_EQ(Writer(OutputAVIFile::create(file.name(), &format, false, nullptr, false))->lastError, 0);
  }

  const auto script = std::make_shared<AviScript>();
  const AviFileHandler handler(script);
  WAVEFORMATEX withoutRate = audio;
  withoutRate.nSamplesPerSec = 0;
  expectCode(file.name(), nullptr, false, &withoutRate, vfw_error::cannotCreateAudioStream);
  withoutRate.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
  expectCode(file.name(), nullptr, false, &withoutRate, vfw_error::cannotSetFormat);
  for (const DWORD kind : {streamtypeVIDEO, streamtypeAUDIO}) {
    script->refusedFormats = {kind};
    const Writer writer = create(true, false, true, false);
    EXPECT_TRUE(failed(writePicture(*writer, 0), *writer, vfw_error::notFullyConfigured)) << "not started";
    EXPECT_TRUE(failed(writer->start(), *writer, vfw_error::cannotSetFormat));
  }
  script->refusedFormats.clear();
  const Writer writer = create(true, false, true, false);
  EXPECT_TRUE(writer->start() && writer->close());
  EXPECT_TRUE(failed(writePicture(*writer, 0), *writer, vfw_error::notOpened)) << "closed";
}

TEST_F(VfWOutputToScript, LeavesNothingBehind) {
  codec.dialog = [](Bytes& state) { ++state[0]; };
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
      for (int i = 0; i < 2; ++i) {
        writer->configureCompressor(nullptr, true);
        EXPECT_EQ(writer->lastError, handler == TestCodec::fourcc ? 0 : vfw_error::cannotOpenCodec);
      }
      EXPECT_EQ(writer->start(), handler == TestCodec::fourcc && end != 0);
    }
    EXPECT_EQ(writePicture(*writer, 0) && writeCounted(*writer, 0, 150), end != 0);
    EXPECT_TRUE(end != 1 || writer->close());
  };
  EXPECT_TRUE(leavesNothingBehind(writeAndGoAway, wine_gap::blocksOfACompressedStream));
  EXPECT_EQ(driver.openStreams, 0);
  EXPECT_EQ(driver.preparedHeaders, 0);
}

}  // namespace
