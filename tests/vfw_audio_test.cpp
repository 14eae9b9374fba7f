// Audio samples by number, through Video for Windows.

#include <climits>
#include <cstring>
#include <memory>
#include <numeric>

#include <gtest/gtest.h>

#include <quillet/quillet.h>

#include "support/avi_builder.h"
#include "support/avifile_handler.h"
#include "support/leak_check.h"
#include "support/random.h"
#include "support/temp_file.h"
#include "support/test_acm_driver.h"
#include "support/wine_gaps.h"

using namespace quillet::test;
namespace vfw_error = quillet::vfw_error;

namespace {

using AudioPointer = std::unique_ptr<VfWAudioSourceStream>;

AudioPointer openAudio(const char* name) {
  return AudioPointer(VfWAudioSourceStream::open(name, 0, nullptr));
}

/// Reads a run that must be there.
Bytes readRun(AudioSourceStream& stream, long first, long last) {
  const unsigned char* const samples = stream.getSamples(first, last);
  EXPECT_EQ(stream.lastError, 0) << first << " to " << last;
  if (samples == nullptr) {
    ADD_FAILURE() << "no samples " << first << " to " << last;
    return {};
  }
  return Bytes(samples, samples + (last - first + 1) * stream.format()->nBlockAlign);
}

/// The single values of a run of 16-bit mono samples.
std::vector<int> readValues(AudioSourceStream& stream, long first, long last) {
  const Bytes bytes = readRun(stream, first, last);
  std::vector<int> values;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    values.push_back(bytes[i] | bytes[i + 1] << 8);
  }
  return values;
}

std::vector<int> countFrom(int first, int count) {
  std::vector<int> values(count);
  std::iota(values.begin(), values.end(), first);
  return values;
}

/// Reads runs at random places, some of them in a row, and expects them to be those of `whole`.
void expectRandomRuns(AudioSourceStream& stream, const Bytes& whole, int runs) {
  std::mt19937 random = loggedRandom();
  const long sampleSize = stream.format()->nBlockAlign;
  long next = 0;
  for (int i = 0; i < runs; ++i) {
    const bool isInARow = next < stream.duration() && random() % 3 == 0;
    const long first = isInARow ? next : between(0, stream.duration() - 1, random);
    const long last = between(first, std::min(first + 3000, stream.duration() - 1), random);
    const Bytes expected(whole.begin() + first * sampleSize, whole.begin() + (last + 1) * sampleSize);
    ASSERT_EQ(readRun(stream, first, last), expected) << first << " to " << last << " at run " << i;
    next = last + 1;
  }
}

void expectOutside(AudioSourceStream& stream, long first, long last) {
  EXPECT_EQ(stream.getSamples(first, last), nullptr) << first << " to " << last;
  EXPECT_EQ(stream.lastError, vfw_error::parameterOutOfRange) << first << " to " << last;
}

void expectRunsOutsideRefused(AudioSourceStream& stream) {
  const long length = stream.duration();
  expectOutside(stream, -1, 0);
  expectOutside(stream, 0, -1);
  expectOutside(stream, 5, 4);
  expectOutside(stream, length, length);
  expectOutside(stream, 0, length);
  expectOutside(stream, LONG_MIN, LONG_MAX);
  EXPECT_EQ(readRun(stream, length - 1, length - 1).size(), stream.format()->nBlockAlign);
}

Bytes noise(std::size_t size) {
  std::mt19937 random(1);
  Bytes bytes(size);
  for (auto& byte : bytes) {
    byte = static_cast<std::uint8_t>(random());
  }
  return bytes;
}

TEST(Pcm, OfWavFileIsReadAsItIs) {
  const WAVEFORMATEX format = pcmFormat(22050, 2, 16);
  const Bytes data = noise(4 * 10000);
  Bytes shortFormat = bytesOf(format);
  shortFormat.resize(sizeof(PCMWAVEFORMAT));
  for (const Bytes& record : {bytesOf(format), shortFormat}) {
    const TempFile file(".wav", wavFile(record, data));
    const AudioPointer stream = openAudio(file.name());
    ASSERT_EQ(stream->lastError, 0);
    EXPECT_EQ(stream->duration(), 10000);
    EXPECT_EQ(std::memcmp(stream->format(), &format, sizeof format), 0);
    EXPECT_EQ(readRun(*stream, 0, 9999), data);
    expectRandomRuns(*stream, data, 200);
    expectRunsOutsideRefused(*stream);
  }
}

TEST(Pcm, LeavesNothingBehind) {
  const TempFile file(".wav", wavFile(bytesOf(pcmFormat(8000, 1, 16)), noise(2 * 8000)));
  EXPECT_TRUE(leavesNothingBehind([&] {
    const AudioPointer stream = openAudio(file.name());
    readRun(*stream, 4000, 5000);
    readRun(*stream, 0, 30);
  }));
}

TEST(Pcm, OfAviFileIsReadAcrossChunks) {
  const Bytes format = bytesOf(pcmFormat(8000, 1, 16));
  const Bytes data = noise(2 * 8000);
  std::vector<AviChunk> chunks;
  for (std::size_t from = 0; from < data.size(); from += 700) {
    chunks.push_back({Bytes(data.begin() + from, data.begin() + std::min(from + 700, data.size()))});
  }
  const TempFile file(".avi", aviFile({audioStream(format, chunks)}).build());
  const AudioPointer stream = openAudio(file.name());
  ASSERT_EQ(stream->lastError, 0);
  ASSERT_EQ(stream->duration(), 8000);
  EXPECT_EQ(readRun(*stream, 0, 7999), data);
  expectRandomRuns(*stream, data, 200);
}

/// A PCM stream that plays a script.
class ScriptedPcm : public testing::Test {
 protected:
  static constexpr int count = 100;

  void SetUp() override {
    std::vector<Bytes> samples;
    for (int i = 0; i < count; ++i) {
      samples.push_back(bytesOf(static_cast<WORD>(i)));
    }
    script->streams = {aviScriptAudio(bytesOf(pcmFormat(1000, 1, 16)), 1000, 1, samples)};
  }

  AudioPointer open() { return openAudio("scripted.avi"); }

  const std::shared_ptr<AviScript> script = std::make_shared<AviScript>();
  const AviFileHandler handler{script};
};

TEST_F(ScriptedPcm, IsReadWholeHoweverLittleComesAtOnce) {
  for (const long limit : {1L, 7L, 64L}) {
    script->streams[0].samplesPerRead = limit;
    EXPECT_EQ(readValues(*open(), 3, 98), countFrom(3, 96)) << limit;
  }
}

TEST_F(ScriptedPcm, UnreadableSampleFailsItsRunsOnly) {
  script->streams[0].unreadable.insert(50);
  const AudioPointer stream = open();
  for (const auto& [first, last] : {std::pair{50L, 50L}, {0L, 99L}, {49L, 50L}, {50L, 60L}}) {
    EXPECT_EQ(stream->getSamples(first, last), nullptr);
    EXPECT_EQ(stream->lastError, vfw_error::errorReadingSamples);
  }
  EXPECT_EQ(readValues(*stream, 0, 49), countFrom(0, 50));
  EXPECT_EQ(readValues(*stream, 51, 99), countFrom(51, 49));
  script->streams[0].canSeek = false;
  EXPECT_EQ(stream->getSamples(0, 1), nullptr);
  EXPECT_EQ(stream->lastError, vfw_error::cannotSeek);
}

TEST_F(ScriptedPcm, ConvertsTimesInWholeMilliseconds) {
  const AudioPointer stream = open();
  for (const auto& [ms, expected] : {std::pair{2.4, 2L}, {2.5, 3L}, {2.6, 3L}}) {
    double time = ms;
    EXPECT_EQ(stream->StreamTimeToSample(time), expected) << ms;
  }
  long sample = 42;
  EXPECT_EQ(stream->StreamSampleToTime(sample), 42.0);
  EXPECT_EQ(stream->msDuration(), 100.0);
}

TEST_F(ScriptedPcm, OpensOrSaysWhyNot) {
  AviScriptStream& source = script->streams[0];
  EXPECT_EQ(open()->lastError, 0);
  source.hasFormat = false;
  EXPECT_EQ(open()->lastError, vfw_error::cannotRetrieveFormat);
  source.hasFormat = true;
  source.format.resize(15);
  EXPECT_EQ(open()->lastError, vfw_error::cannotRetrieveFormat);
  source.format = bytesOf(pcmFormat(1000, 1, 16));
  source.info.dwLength = static_cast<DWORD>(-1);
  EXPECT_EQ(open()->lastError, vfw_error::undefinedStreamLength);
}

class ImaFile : public testing::TestWithParam<const char*> {};

TEST_P(ImaFile, IsTheSameInAnyOrder) {
  const std::string name = mediaFile(GetParam());
  const AudioPointer linear = openAudio(name.c_str());
  ASSERT_EQ(linear->lastError, 0);
  // What the header says of the time counts, but for the last millisecond.
  const long rate = static_cast<long>(linear->format()->nSamplesPerSec);
  EXPECT_EQ(linear->duration(), MulDiv(static_cast<int>(linear->msDuration()) - 1, rate, 1000));

  // In one run, and in runs of an odd size that follow one another.
  const Bytes whole = readRun(*linear, 0, linear->duration() - 1);
  const AudioPointer stepping = openAudio(name.c_str());
  Bytes pieces;
  for (long first = 0; first < stepping->duration(); first += 333) {
    const Bytes piece = readRun(*stepping, first, std::min(first + 332, stepping->duration() - 1));
    pieces.insert(pieces.end(), piece.begin(), piece.end());
  }
  EXPECT_EQ(pieces, whole);

  const AudioPointer seeking = openAudio(name.c_str());
  expectRandomRuns(*seeking, whole, 300);
  expectRunsOutsideRefused(*seeking);
}

INSTANTIATE_TEST_SUITE_P(Ima, ImaFile,
                         testing::Values("ima_8000_mono.wav", "ima_8000_stereo.wav", "ima_22050_mono.wav",
                                         "ima_22050_stereo.wav", "ima_44100_mono.wav", "ima_44100_stereo.wav",
                                         "ima_hasty.wav", "ima_slow.wav"));

TEST(ImaAdpcm, LengthIsThatOfTheSound) {
  for (const char* const name : {"ima_8000_stereo.wav", "ima_22050_mono.wav", "ima_44100_stereo.wav"}) {
    const AudioPointer stream = openAudio(mediaFile(name).c_str());
    const double seconds = static_cast<double>(stream->duration()) / stream->format()->nSamplesPerSec;
    // 1.5 s, filled up to whole blocks of a quarter of a second at most.
    EXPECT_GE(seconds, 1.499) << name;
    EXPECT_LE(seconds, 1.751) << name;
  }
}

TEST(Compressed, LeavesNothingBehind) {
  const std::string name = mediaFile("ima_22050_stereo.wav");
  const auto round = [&] {
    const AudioPointer stream = openAudio(name.c_str());
    readRun(*stream, 20000, 21000);
    readRun(*stream, 0, 30);
  };
  EXPECT_TRUE(leavesNothingBehind(round, wine_gap::blocksLeftByFormatSuggest));
}

/// A stream for the tests' own ACM driver: 10 blocks of 80 samples, each 10 ms long, that count from 0.
class ScriptedBlocks : public testing::Test {
 protected:
  static constexpr WORD blocks = 10;
  static constexpr WORD perBlock = 80;

  void SetUp() override {
    std::vector<Bytes> samples;
    for (WORD i = 0; i < blocks; ++i) {
      samples.push_back(TestAcmDriver::block(perBlock, static_cast<WORD>(i * perBlock)));
    }
    script->streams = {aviScriptAudio(TestAcmDriver::format(8000, 1, 400), 8000, perBlock, samples)};
  }

  AviScriptStream& source() { return script->streams[0]; }
  AudioPointer open() { return openAudio("scripted.avi"); }

  TestAcmDriver driver;
  const std::shared_ptr<AviScript> script = std::make_shared<AviScript>();
  const AviFileHandler handler{script};
};

TEST_F(ScriptedBlocks, RunsInARowDecodeEachBlockOnceAndNeverSeek) {
  const AudioPointer stream = open();
  ASSERT_EQ(stream->lastError, 0);
  ASSERT_EQ(stream->duration(), 792);  // 99 of 100 ms.
  EXPECT_EQ(readValues(*stream, 0, 99), countFrom(0, 100));
  script->calls.clear();
  EXPECT_EQ(readValues(*stream, 100, 199), countFrom(100, 100));
  for (long sample = 200; sample < 792; ++sample) {
    EXPECT_EQ(readValues(*stream, sample, sample), countFrom(sample, 1));
  }
  EXPECT_EQ(script->count(AviScriptCall::findSample), 0);
  EXPECT_EQ(driver.starts, 1);
  EXPECT_EQ(driver.converted, (std::vector<WORD>{0, 80, 160, 240, 320, 400, 480, 560, 640, 720}));

  // Again inside the last block, which is still held, then elsewhere.
  readValues(*stream, 730, 740);
  EXPECT_EQ(driver.starts, 1);
  EXPECT_EQ(readValues(*stream, 200, 200), countFrom(200, 1));
  EXPECT_EQ(driver.starts, 2);
  EXPECT_EQ(driver.converted.back(), 160);
}

TEST_F(ScriptedBlocks, AreTheSameInAnyOrder) {
  const AudioPointer stream = open();
  Bytes whole;
  for (WORD i = 0; i < 792; ++i) {
    const Bytes sample = bytesOf(i);
    whole.insert(whole.end(), sample.begin(), sample.end());
  }
  expectRandomRuns(*stream, whole, 500);
}

TEST_F(ScriptedBlocks, MissingTailRepeatsTheLastBlock) {
  source().samples.back() = TestAcmDriver::block(30, 720);
  const AudioPointer stream = open();
  const std::vector<int> values = readValues(*stream, 700, 791);
  for (int sample = 720; sample < 792; ++sample) {
    EXPECT_EQ(values[sample - 700], 720 + (sample - 720) % 30) << sample;
  }
}

TEST_F(ScriptedBlocks, LastBlockThatDecodesToNothingRepeatsASample) {
  source().samples.back() = TestAcmDriver::block(0, 720);
  const AudioPointer stream = open();
  const std::vector<int> values = readValues(*stream, 719, 725);
  EXPECT_EQ(values, (std::vector<int>{719, 640, 640, 640, 640, 640, 640}));
}

TEST_F(ScriptedBlocks, BlocksThatDecodeToNothingArePassed) {
  source().samples[3] = TestAcmDriver::block(0, 240);
  source().samples[4] = TestAcmDriver::block(0, 320);
  const AudioPointer stream = open();
  const std::vector<int> values = readValues(*stream, 0, 400);
  EXPECT_EQ(values[239], 239);
  EXPECT_EQ(values[240], 400);
  EXPECT_EQ(values[400], 560);
}

TEST_F(ScriptedBlocks, UnreadableBlockFailsItsRunsOnly) {
  source().unreadable.insert(4);
  const AudioPointer stream = open();
  for (int i = 0; i < 2; ++i) {
    // The second run would follow the block that was decoded last.
    for (const long first : {300L, 320L}) {
      EXPECT_EQ(stream->getSamples(first, 350), nullptr);
      EXPECT_EQ(stream->lastError, vfw_error::errorReadingSamples);
    }
    EXPECT_EQ(readValues(*stream, 240, 319), countFrom(240, 80));
    EXPECT_EQ(readValues(*stream, 400, 480), countFrom(400, 81));
  }
}

TEST_F(ScriptedBlocks, BlockThatCannotBeDecodedFailsItsRunsOnly) {
  source().samples[4] = TestAcmDriver::badBlock();
  const AudioPointer stream = open();
  for (int i = 0; i < 2; ++i) {
    for (const long first : {319L, 320L}) {
      EXPECT_EQ(stream->getSamples(first, 320), nullptr);
      EXPECT_EQ(stream->lastError, vfw_error::cannotDecompress);
    }
    EXPECT_EQ(readValues(*stream, 240, 319), countFrom(240, 80));
    EXPECT_EQ(readValues(*stream, 400, 480), countFrom(400, 81));
  }
  source().canSeek = false;
  EXPECT_EQ(stream->getSamples(0, 1), nullptr);
  EXPECT_EQ(stream->lastError, vfw_error::cannotSeek);
}

TEST_F(ScriptedBlocks, LengthLeavesOutTheLastMillisecond) {
  const struct {
    int blocks;
    DWORD samplesInBlock;
    long length;
  } cases[] = {{0, 8, 0}, {1, 8, 8}, {2, 8, 8}, {3, 8, 16}, {10, 80, 792}};
  for (const auto& [count, samplesInBlock, length] : cases) {
    source().samples.assign(count, TestAcmDriver::block(static_cast<WORD>(samplesInBlock), 0));
    source().info.dwLength = static_cast<DWORD>(count);
    source().info.dwScale = samplesInBlock;
    EXPECT_EQ(open()->duration(), length) << count << " blocks of " << samplesInBlock;
  }
}

TEST_F(ScriptedBlocks, ConvertTimesExactly) {
  const AudioPointer stream = open();
  stream->lastError = vfw_error::dataNotFound;
  long sample = 1;
  EXPECT_EQ(stream->StreamSampleToTime(sample), 0.125);
  for (const auto& [ms, expected] : {std::pair{0.249, 1L}, {0.25, 2L}, {1000.0, 8000L}, {-1.0, -8L}}) {
    double time = ms;
    EXPECT_EQ(stream->StreamTimeToSample(time), expected) << ms;
  }
  EXPECT_EQ(stream->lastError, vfw_error::dataNotFound) << "conversions leave the code alone";
}

TEST_F(ScriptedBlocks, FormatsThatNothingDecodesAreRefused) {
  // A tag that nobody has: no PCM format is suggested for it, or, where any is, no converter opens.
  auto& format = *reinterpret_cast<WAVEFORMATEX*>(source().format.data());
  format.wFormatTag = 0x7A52;
  const int error = open()->lastError;
  EXPECT_TRUE(error == vfw_error::noPcmFormat || error == vfw_error::cannotInitializeDecompressor) << error;

  // A tag that there is a converter for, but in more channels than it takes.
  format.wFormatTag = WAVE_FORMAT_IMA_ADPCM;
  format.nChannels = 7;
  EXPECT_EQ(open()->lastError, vfw_error::noPcmFormat);
  format.nChannels = 1;

  format.wFormatTag = TestAcmDriver::formatTag;
  format.nAvgBytesPerSec = 0;
  EXPECT_EQ(open()->lastError, vfw_error::cannotInitializeDecompressor);
  format.nAvgBytesPerSec = 400;
  EXPECT_EQ(open()->lastError, 0);
  // A format that claims more than there is of it is the driver's to judge, and nobody reads beyond it.
  format.cbSize = 60000;
  EXPECT_EQ(open()->lastError, 0);

  // Data rates from which no size of a frame follows.
  MPEGLAYER3WAVEFORMAT mp3 = {};
  mp3.wfx = {WAVE_FORMAT_MPEGLAYER3, 1, 44100, 0, 1, 0, MPEGLAYER3_WFX_EXTRA_BYTES};
  mp3.wID = MPEGLAYER3_ID_MPEG;
  for (const DWORD rate : {0U, 1U, 38U, 0x02000000U}) {
    mp3.wfx.nAvgBytesPerSec = rate;
    source().format = bytesOf(mp3);
    EXPECT_EQ(open()->lastError, vfw_error::cannotInitializeDecompressor) << rate;
  }
}

TEST_F(ScriptedBlocks, BeginSilentWhenTheStreamStartsLater) {
  source().info.dwStart = 2;
  const AudioPointer stream = open();
  ASSERT_EQ(stream->lastError, 0);
  const std::vector<int> silence(2 * perBlock, 0);
  EXPECT_EQ(readValues(*stream, 0, 2 * perBlock - 1), silence);
  std::vector<int> expected = countFrom(2 * perBlock, perBlock);
  expected.insert(expected.begin(), 10, 0);
  EXPECT_EQ(readValues(*stream, 2 * perBlock - 10, 3 * perBlock - 1), expected);
}

TEST_F(ScriptedBlocks, HaveNoLengthWithoutATimeScale) {
  source().info.dwScale = 0;
  EXPECT_EQ(open()->lastError, vfw_error::undefinedStreamLength);
}

TEST_F(ScriptedBlocks, LeaveNothingOpenInTheDriver) {
  AudioPointer stream = open();
  EXPECT_EQ(driver.openStreams, 1);
  EXPECT_EQ(driver.preparedHeaders, 1);
  stream.reset();
  EXPECT_EQ(driver.openStreams, 0);
  EXPECT_EQ(driver.preparedHeaders, 0);
}

TEST_F(ScriptedBlocks, RefuseRunsOutsideTheStream) {
  expectRunsOutsideRefused(*open());
}

}  // namespace
