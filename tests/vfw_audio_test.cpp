// Audio samples by number, through Video for Windows.

#include <climits>
#include <numeric>

#include "support/avifile_handler.h"
#include "support/leak_check.h"
#include "support/reading.h"
#include "support/test_acm_driver.h"
#include "support/wine_gaps.h"

using namespace quillet::test;
namespace vfw_error = quillet::vfw_error;

namespace {

using AudioPointer = std::unique_ptr<VfWAudioSourceStream>;

AudioPointer openAudio(const char* name) {
  return AudioPointer(VfWAudioSourceStream::open(name, 0, nullptr));
}

/// The single values of a run of 16-bit mono samples, which must be there.
std::vector<int> readValues(AudioSourceStream& stream, long first, long last) {
  const Bytes bytes = runOf(stream, first, last);
  EXPECT_EQ(stream.lastError, 0) << first << " to " << last;
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

void expectFailure(AudioSourceStream& stream, long first, long last, int code) {
  EXPECT_TRUE(failed(stream.getSamples(first, last), stream, code)) << first << " to " << last;
}

TEST(Streams, LeaveNothingBehind) {
  const TempFile pcm(".wav", wavFile(bytesOf(pcmFormat(8000, 1, 16)), noise(2 * 8000)));
  for (const auto& [name, blocks] : {std::pair<std::string, long>(pcm.name(), 0),
                                     {mediaFile("ima_8000_stereo.wav"), wine_gap::blocksLeftByFormatSuggest}}) {
    const auto round = [&name = name] {
      const AudioPointer stream = openAudio(name.c_str());
      EXPECT_NE(stream->getSamples(4000, 5000), nullptr);
      EXPECT_NE(stream->getSamples(0, 30), nullptr);
    };
    EXPECT_TRUE(leavesNothingBehind(round, blocks)) << name;
  }
}

/// A stream that plays a script, which the test may change before it is opened.
class Scripted : public testing::Test {
 protected:
  explicit Scripted(AviScriptStream stream) : script(std::make_shared<AviScript>(AviScript{{std::move(stream)}, {}})) {}

  AudioPointer open() { return openAudio("scripted.avi"); }
  int openingError() { return open()->lastError; }

  const std::shared_ptr<AviScript> script;
  AviScriptStream& source = script->streams[0];
  const AviFileHandler handler{script};
};

class ScriptedPcm : public Scripted {
 protected:
  ScriptedPcm() : Scripted(aviScriptAudio(bytesOf(pcmFormat(1000, 1, 16)), 1000, 1, {})) {
    for (WORD i = 0; i < 100; ++i) {
      source.samples.push_back(bytesOf(i));
    }
    source.info.dwLength = 100;
  }
};

TEST_F(ScriptedPcm, IsReadWholeHoweverLittleComesAtOnce) {
  for (const long limit : {1L, 7L, 64L}) {
    source.samplesPerRead = limit;
    EXPECT_EQ(readValues(*open(), 3, 98), countFrom(3, 96)) << limit;
  }
}

TEST_F(ScriptedPcm, UnreadableSampleFailsItsRunsOnly) {
  source.unreadable.insert(50);
  const AudioPointer stream = open();
  script->calls.clear();
  for (const auto& [first, last] : {std::pair{50L, 50L}, {0L, 99L}, {49L, 50L}, {50L, 60L}}) {
    expectFailure(*stream, first, last, vfw_error::errorReadingSamples);
  }
  EXPECT_EQ(readValues(*stream, 0, 49), countFrom(0, 50));
  EXPECT_EQ(readValues(*stream, 51, 99), countFrom(51, 49));
  EXPECT_EQ(script->count(AviScriptCall::findSample), 0) << "samples of one size need no search";
  source.canSeek = false;
  for (const DWORD size : {2, 0}) {
    source.info.dwSampleSize = size;
    expectFailure(*open(), 0, 1, vfw_error::cannotSeek);
  }
}

TEST_F(ScriptedPcm, BeginsSilentWhenTheStreamStartsLater) {
  source.info.dwStart = 20;
  for (const WORD bits : {16, 8}) {
    source.format = bytesOf(pcmFormat(1000, 16 / bits, bits));
    const int silence = bits == 8 ? 0x8080 : 0;
    const AudioPointer stream = open();
    EXPECT_EQ(readValues(*stream, 18, 21), (std::vector<int>{silence, silence, 20, 21}));
    EXPECT_EQ(readValues(*stream, 0, 19), std::vector<int>(20, silence));
  }
  for (const AviScriptCall& call : script->calls) {
    EXPECT_GE(call.position, 20);
  }
}

TEST_F(ScriptedPcm, OpensOrSaysWhyNot) {
  source.format.resize(sizeof(PCMWAVEFORMAT));
  const AudioPointer stream = open();
  EXPECT_EQ(stream->lastError, 0);
  EXPECT_EQ(bytesOf(*stream->format()), bytesOf(pcmFormat(1000, 1, 16)));
  long sample = 42;
  double time = 2.5;
  EXPECT_EQ(stream->StreamSampleToTime(sample), 42.0);
  EXPECT_EQ(stream->StreamTimeToSample(time), 3) << "in whole milliseconds";
  source.info.dwLength = static_cast<DWORD>(-1);
  EXPECT_EQ(openingError(), vfw_error::undefinedStreamLength);
  source.format.resize(15);
  EXPECT_EQ(openingError(), vfw_error::cannotRetrieveFormat);
}

/// The largest difference between two runs of 16-bit samples.
int largestDifference(const Bytes& left, const Bytes& right) {
  int largest = left.size() == right.size() ? 0 : INT_MAX;
  const auto valueAt = [](const Bytes& run, std::size_t at) { return static_cast<short>(run[at] | run[at + 1] << 8); };
  for (std::size_t at = 0; at + 1 < std::min(left.size(), right.size()); at += 2) {
    largest = std::max(largest, std::abs(valueAt(left, at) - valueAt(right, at)));
  }
  return largest;
}

TEST(CompressedSound, IsTheSameInAnyOrder) {
  constexpr int noise = 4;  // Of MP3's decoder, which differs from itself by so much, and by half of it from another.
  const struct {
    const char* file;
    long length;
    int tolerance = 0;
  } cases[] = {{"ima_8000_mono.wav", 6 * 2041},
               {"ima_8000_stereo.wav", 12 * 1017},
               {"ima_44100_stereo.wav", 66 * 1017},
               {"ima_44100_hasty.wav", 66 * 1017},  // The headers of these two are wrong about the time of a block.
               {"ima_44100_slow.wav", 66 * 1017},
               {"ms.avi", 64 * 1012},
               {"gsm.wav", 200 * 320},
               {"mulaw.avi", 64000},
               {"mp3.wav", 0, noise}};
  for (const auto& [file, length, tolerance] : cases) {
    SCOPED_TRACE(file);
    const std::string name = mediaFile(file);
    const AudioPointer linear = openAudio(name.c_str());
    ASSERT_EQ(linear->lastError, 0);
    if (length != 0) {
      ASSERT_EQ(linear->duration(), length);
    }
    const long end = linear->duration() - 1;
    EXPECT_EQ(linear->msDuration(), linear->duration() * 1000.0 / linear->format()->nSamplesPerSec);

    const Bytes whole = runOf(*linear, 0, end);
    // By another decoder. Of ADPCM by IMA there are two readings.
    if (Bytes expected = readFile(name + ".pcm"); !expected.empty()) {
      expected.resize(std::min(expected.size(), tolerance != 0 ? whole.size() : expected.size()));
      EXPECT_LE(largestDifference(whole, expected), tolerance / 2);
    }
    const AudioPointer seeking = openAudio(name.c_str());
    const long sampleSize = linear->format()->nBlockAlign;
    for (long first = end, last = end; first >= 0; first -= 997, last = std::min(first + 2000, end)) {
      const Bytes run = runOf(*seeking, first, last);
      ASSERT_LE(largestDifference(run, partOf(whole, first, last, sampleSize)), tolerance) << first;
    }
    if (tolerance == 0) {
      expectRandomRuns(*seeking, whole, 200);
    }
  }
}

/// A stream for the tests' own ACM driver: 10 blocks of 80 samples, each 10 ms long, that count from 0.
class ScriptedBlocks : public Scripted {
 protected:
  static constexpr WORD perBlock = 80;

  ScriptedBlocks() : Scripted(aviScriptAudio(TestAcmDriver::format(8000, 1, 400), 8000, perBlock, {})) {
    for (WORD i = 0; i < 10; ++i) {
      source.samples.push_back(TestAcmDriver::block(perBlock, static_cast<WORD>(i * perBlock)));
    }
    source.info.dwLength = 10;
  }

  TestAcmDriver driver;
};

TEST_F(ScriptedBlocks, RunsInARowDecodeEachBlockOnceAndNeverSeek) {
  AudioPointer stream = open();
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
  EXPECT_EQ(readValues(*stream, 730, 740), countFrom(730, 11));
  EXPECT_EQ(driver.starts, 1);
  EXPECT_EQ(readValues(*stream, 200, 200), countFrom(200, 1));
  EXPECT_EQ(driver.starts, 2);
  EXPECT_EQ(driver.converted.back(), 160);

  EXPECT_EQ(std::pair(driver.openStreams, driver.preparedHeaders), std::pair(1, 1));
  stream.reset();
  EXPECT_EQ(std::pair(driver.openStreams, driver.preparedHeaders), std::pair(0, 0));
}

TEST_F(ScriptedBlocks, MissingSamplesArePassedOrRepeatTheLastBlock) {
  source.samples.back() = TestAcmDriver::block(30, 720);
  const std::vector<int> values = readValues(*open(), 700, 791);
  for (int sample = 720; sample < 792; ++sample) {
    EXPECT_EQ(values[sample - 700], 720 + (sample - 720) % 30) << sample;
  }
  // One that decodes to nothing repeats a sample of the block before.
  source.samples.back() = TestAcmDriver::block(0, 720);
  EXPECT_EQ(readValues(*open(), 719, 725), (std::vector<int>{719, 640, 640, 640, 640, 640, 640}));
  source.samples[3] = TestAcmDriver::block(0, 240);
  source.samples[4] = TestAcmDriver::block(0, 320);
  EXPECT_EQ(readValues(*open(), 238, 241), (std::vector<int>{238, 239, 400, 401}));
  // An empty one is the end, however many the header promises.
  source.samples.resize(1);
  source.samples.resize(10);
  readValues(*open(), 80, 89);
  EXPECT_EQ(script->calls.back().position, 1);
}

TEST_F(ScriptedBlocks, BadBlockFailsItsRunsOnly) {
  for (const int code : {vfw_error::errorReadingSamples, vfw_error::cannotDecompress}) {
    source.unreadable.insert(4);
    if (code == vfw_error::cannotDecompress) {
      source.unreadable.clear();
      source.samples[4] = TestAcmDriver::block(TestAcmDriver::bad, 0);
    }
    const AudioPointer stream = open();
    for (int i = 0; i < 2; ++i) {
      // The second run would follow the block that was decoded last.
      for (const long first : {300L, 319L, 320L}) {
        expectFailure(*stream, first, 350, code);
      }
      EXPECT_EQ(readValues(*stream, 240, 319), countFrom(240, 80));
      EXPECT_EQ(readValues(*stream, 400, 480), countFrom(400, 81));
    }
    source.canSeek = false;
    expectFailure(*open(), 0, 1, vfw_error::cannotSeek);
    source.canSeek = true;
  }
}

TEST_F(ScriptedBlocks, ConvertTimesExactly) {
  const AudioPointer stream = open();
  stream->lastError = vfw_error::dataNotFound;
  long sample = 1;
  double time = 0.249;
  EXPECT_EQ(stream->StreamSampleToTime(sample), 0.125);
  EXPECT_EQ(stream->StreamTimeToSample(time), 1);
  EXPECT_EQ(stream->lastError, vfw_error::dataNotFound) << "conversions leave the code alone";
  expectNoPlaceOutside(*stream, vfw_error::cannotConvertTime);
}

TEST_F(ScriptedBlocks, FormatsThatNothingDecodesAreRefused) {
  // A tag that nobody has: no PCM format is suggested for it, or, where any is, no converter opens.
  auto& format = *reinterpret_cast<WAVEFORMATEX*>(source.format.data());
  format.wFormatTag = 0x7A52;
  const int error = openingError();
  EXPECT_TRUE(error == vfw_error::noPcmFormat || error == vfw_error::cannotInitializeDecompressor) << error;

  // A tag that there is a converter for, but in more channels than it takes.
  format.wFormatTag = WAVE_FORMAT_MULAW;
  format.nChannels = 4;
  EXPECT_EQ(openingError(), vfw_error::noPcmFormat);
  format.nChannels = 1;

  format.wFormatTag = TestAcmDriver::formatTag;
  format.nAvgBytesPerSec = 0;
  // A format that claims more than there is of it is the driver's to judge, and nobody reads beyond it.
  format.cbSize = 60000;
  EXPECT_EQ(openingError(), 0);

  // Data rates from which no size of a frame follows.
  MPEGLAYER3WAVEFORMAT mp3 = {};
  mp3.wfx = {WAVE_FORMAT_MPEGLAYER3, 1, 44100, 0, 1, 0, MPEGLAYER3_WFX_EXTRA_BYTES};
  mp3.wID = MPEGLAYER3_ID_MPEG;
  for (const DWORD rate : {0U, 1U, 38U, 0x02000000U}) {
    mp3.wfx.nAvgBytesPerSec = rate;
    source.format = bytesOf(mp3);
    EXPECT_EQ(openingError(), vfw_error::cannotInitializeDecompressor) << rate;
  }
  // Blocks that together last less than a frame, or no time: a header that is false.
  mp3.wfx.nAvgBytesPerSec = 16000;
  source.format = bytesOf(mp3);
  for (const DWORD scale : {1, 0}) {
    source.info.dwScale = scale;
    EXPECT_EQ(openingError(), vfw_error::undefinedStreamLength);
  }
}

TEST_F(ScriptedBlocks, BeginSilentWhenTheStreamStartsLater) {
  source.info.dwStart = 2;
  const AudioPointer stream = open();
  std::vector<int> expected = countFrom(2 * perBlock, perBlock);
  expected.insert(expected.begin(), 10, 0);
  EXPECT_EQ(readValues(*stream, 2 * perBlock - 10, 3 * perBlock - 1), expected);
}

}  // namespace
