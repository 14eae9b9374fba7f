// Compressed samples by number, through both backends: the same as another program finds in real files, and every way
// that reading and converting can go, on scripted streams.

#include <climits>
#include <fstream>
#include <map>

#include <windows.h>

// Needs windows.h.
#include <evcode.h>

#include "quillet/raw_reader.h"
#include "shared/library_stream.h"
#include "support/avifile_handler.h"
#include "support/ds_streams.h"
#include "support/graph_override.h"
#include "support/leak_check.h"
#include "support/wine_gaps.h"
#include "support/writing.h"

extern "C" DWORD NTAPI RtlComputeCrc32(DWORD start, const BYTE* data, INT size);

using namespace quillet::test;
namespace ds_error = quillet::ds_error;
namespace vfw_error = quillet::vfw_error;

namespace {

using Raw = std::unique_ptr<RawDataSourceStream>;

Raw openRaw(const char* name, bool directShow, bool video = true, int index = 0) {
  return Raw(RawDataSourceStream::open(name, video, directShow, index, nullptr));
}

/// While it lives, files are split by Wine's own splitters: the one that comes first hands out decoded samples only.
class WithoutDecodingSplitter {
  static constexpr CLSID splitter = {0xF9D8D64E, 0xA144, 0x47DC, {0x8E, 0xE0, 0xF5, 0x34, 0x98, 0x37, 0x2C, 0x29}};
  const ClassObjectOverride none{splitter, [](REFIID, void**) { return E_FAIL; }};
};

struct Sample {
  long start = -1, samples = 0, bytes = 0;
  bool key = false;
  DWORD crc = 0;
  bool operator==(const Sample&) const = default;
};

Sample sampleOf(long start, long samples, bool key, const Bytes& data) {
  const auto size = static_cast<long>(data.size());
  return {start, samples, size, key, RtlComputeCrc32(0, data.data(), size)};
}

/// The sample for `number`; pictures are turned bottom-up.
Sample read(RawDataSourceStream& stream, long number, bool key = false) {
  const AM_MEDIA_TYPE type = *stream.format();
  long samples = 0;
  long bytes = 0;
  const BYTE* const data = stream.getData(number, samples, bytes, key);
  if (data == nullptr) {
    return {};
  }
  const bool isPicture = type.formattype == FORMAT_VideoInfo;
  const auto format =
      isPicture ? reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat)->bmiHeader : BITMAPINFOHEADER();
  return sampleOf(number, samples, key, bottomUp(Bytes(data, data + bytes), format));
}

void expectRead(RawDataSourceStream& stream, long number, bool keyWanted, const Sample& expected, int code = 0) {
  EXPECT_TRUE(read(stream, number, keyWanted) == expected) << "sample " << number << ", key " << keyWanted;
  EXPECT_EQ(stream.lastError, code) << "sample " << number << ", key " << keyWanted;
}

/// Reads all samples in order, then some in random order, and compares them with what another program has found.
/// @param rate stream samples in a second.
void expectPackets(RawDataSourceStream& stream, const char* listName, double rate) {
  SCOPED_TRACE(listName);
  std::ifstream list(mediaFile(listName));
  std::map<long, Sample> packets;
  double time = 0.0;
  double duration = 0.0;
  char key = '_';
  Sample packet;
  for (std::string line; std::getline(list, line); packets[packet.start] = packet) {
    constexpr auto form = "%lf,%lf,%ld,%c%*[^,],CRC32:%lx";
    ASSERT_EQ(std::sscanf(line.c_str(), form, &time, &duration, &packet.bytes, &key, &packet.crc), 5) << line;
    packet = {std::lround(time * rate), std::lround(duration * rate), packet.bytes, key == 'K', packet.crc};
  }
  ASSERT_GE(packets.size(), 40U);
  ASSERT_EQ(stream.lastError, 0);
  ASSERT_EQ(stream.duration(), packets.rbegin()->first + packets.rbegin()->second.samples);
  for (const auto& [start, expected] : packets) {
    expectRead(stream, start, false, expected);
  }
  std::mt19937 random = loggedRandom();
  for (int i = 0; i < 200; ++i) {
    auto found = std::prev(packets.upper_bound(between(0, stream.duration() - 1, random)));
    const long number = found->first + between(0, found->second.samples - 1, random);
    expectRead(stream, number, false, found->second);
    while (!found->second.key) {
      --found;
    }
    expectRead(stream, number, true, found->second);
  }
}

/// Expects a client that copies the stream to find these samples.
/// @param lacking how what it says of the others begins; empty when it says nothing.
void expectEach(RawDataSourceStream& stream, const std::vector<Sample>& samples, const std::string& lacking) {
  quillet::client::RawReader reader(stream);
  std::vector<Sample> found;
  for (quillet::client::RawSample sample; reader.next(sample);) {
    found.push_back(
        sampleOf(sample.number, sample.count, sample.isKey, Bytes(sample.data, sample.data + sample.bytes)));
  }
  EXPECT_TRUE(found == samples) << found.size() << " samples";
  EXPECT_EQ(reader.missing().substr(0, lacking.size()), lacking);
  EXPECT_EQ(reader.missing().empty(), lacking.empty()) << reader.missing();
}

TEST(RealFiles, HoldWhatAnotherProgramFinds) {
  const std::string both = mediaFile("compressed.avi");
  expectPackets(*openRaw(mediaFile("cinepak.avi").c_str(), false), "cinepak.txt", 25.0);
  expectPackets(*openRaw(both.c_str(), false), "compressed_video.txt", 50.0);
  if (wine_gap::piecesOfSoundHaveNoSize) {
    expectRead(*openRaw(both.c_str(), false, false), 0, false, {}, vfw_error::errorReadingSamples);
  }
  const WithoutDecodingSplitter compressed;
  expectPackets(*openRaw(both.c_str(), true), "compressed_video.txt", 50.0);
  expectPackets(*openRaw(both.c_str(), true, false), "compressed_audio.txt", 44100.0);
}

TEST(Backends, ReadOneFileAlike) {
  const WithoutDecodingSplitter compressed;
  const BITMAPINFOHEADER format = rgb24Format(64, 48);
  const WAVEFORMATEX mono = pcmFormat(8000, 1, 16);
  const std::vector<AviChunk> pictures = noiseChunks(120, format.biSizeImage), blocks = noiseChunks(120, 160);
  std::vector<Bytes> frames;
  Bytes sound;
  for (int i = 0; i < 120; ++i) {
    frames.push_back(pictures[i].data);
    sound.insert(sound.end(), blocks[i].data.begin(), blocks[i].data.end());
  }
  const AviStream shown = videoStream(format, 100, 1, pictures), heard = audioStream(bytesOf(mono), blocks);
  const TempFile single(".avi", aviFile({shown, heard}));
  const TempFile file(".avi", aviFile({videoStream(format, 100, 1, {pictures.rbegin(), pictures.rend()}),
                                       audioStream(bytesOf(mono), {blocks.rbegin(), blocks.rend()}), shown, heard}));
  for (int options = 0; options < 12; ++options) {  // The last four leave the choice of the backend to the library.
    SCOPED_TRACE(options);
    const bool isAudio = (options & quillet::dialog_option::audio) != 0;
    // The second stream of each kind, where it is certain which that is.
    const bool isDirectShow = (options & quillet::dialog_option::useDirectShow) != 0;
    const bool isSecond = !isDirectShow || !wine_gap::splitterShufflesStreams;
    const auto open = [&](const char* name) {
      return std::unique_ptr<SourceStream>(SourceStream::open(options, nullptr, name, isSecond, nullptr));
    };
    const auto stream = open(isSecond ? file.name() : single.name());
    ASSERT_EQ(stream->lastError, 0);
    EXPECT_EQ(stream->usesDirectShow(), isDirectShow);
    EXPECT_EQ(stream->isRawData(), (options & quillet::dialog_option::raw) != 0);
    EXPECT_EQ(stream->duration(), isAudio ? 9600 : 120);
    EXPECT_EQ(stream->msDuration(), 1200.0);
    for (const long number : {0, 10, 50}) {
      long sample = isAudio ? number * 80 : number;
      double time = number * 10.0;
      EXPECT_EQ(stream->StreamSampleToTime(sample), time);
      EXPECT_EQ(stream->StreamTimeToSample(time), sample);
    }
    VIDEOINFOHEADER info = {};
    stream->lastError = 42;
    EXPECT_EQ(stream->videoInfo(info), isAudio ? nullptr : &info);
    EXPECT_EQ(stream->lastError, isAudio ? 42 : 0);
    EXPECT_EQ(info.AvgTimePerFrame, isAudio ? 0 : 100'000);
    BITMAPINFOHEADER turned = format;
    turned.biHeight *= info.bmiHeader.biHeight < 0 ? -1 : 1;  // Either way up.
    EXPECT_TRUE(isAudio || bytesOf(info.bmiHeader) == bytesOf(turned));
    const auto expectOutside = [&](bool isRefused) {
      EXPECT_TRUE(isRefused);
      EXPECT_STREQ(stream->ErrorMessage(stream->lastError), "Parameter out of range");
      EXPECT_FALSE(stream->lastErrorIsFatal());
    };
    const auto missing = open("C:\\missing.avi");
    EXPECT_STREQ(missing->ErrorMessage(missing->lastError), "Could not open the source file");
    EXPECT_TRUE(missing->lastErrorIsFatal());
    const auto expectClosed = [&](bool isRefused) {
      EXPECT_TRUE(isRefused && std::exchange(missing->lastError, 0) == ds_error::notOpened);
    };
    long number = 0;
    double time = 0.0;
    expectClosed(missing->StreamSampleToTime(number) == -1.0);
    expectClosed(missing->StreamTimeToSample(time) == -1);
    expectClosed(missing->duration() == -1);
    expectClosed(missing->msDuration() == -1.0);
    missing->configure(nullptr);
    expectClosed(true);

    if (!stream->isRawData()) {
      expectNoPlaceOutside(
          *stream, stream->usesDirectShow() ? int{ds_error::parameterOutOfRange} : vfw_error::cannotConvertTime);
    }
    if (auto* const video = dynamic_cast<VideoSourceStream*>(stream.get())) {
      EXPECT_EQ(video->frameRate(), 100.0);
      EXPECT_EQ(info.dwBitRate, format.biSizeImage * 8 * 100);
      EXPECT_EQ(bytesOf(*video->format()), bytesOf(turned));
      EXPECT_EQ(differingFrames(*video, frames, 30), 0);
      for (long outside : {-1L, 120L, LONG_MIN, LONG_MAX}) {
        expectOutside(video->findFrame(outside) == -1);
        expectOutside(video->getFrameBits(outside) == nullptr && outside == -1);
      }
      for (auto [ms, shown] : {std::pair(304.0, 30), {306.0, 30}, {145.0, 14}}) {  // Or the nearest one.
        EXPECT_EQ(video->StreamTimeToSample(ms), video->usesDirectShow() && ms != 304.0 ? shown + 1 : shown);
      }
      auto& closed = dynamic_cast<VideoSourceStream&>(*missing);
      expectClosed(closed.findFrame(0) == -1);
      expectClosed(closed.getFrameBits(number) == nullptr);
      expectClosed(closed.frameRate() == -1.0);
      expectClosed(closed.videoInfo(info) == nullptr);
      expectClosed(closed.format()->biSize == 0);  // It is there all the same, but empty.
    } else if (auto* const audio = dynamic_cast<AudioSourceStream*>(stream.get())) {
      EXPECT_EQ(bytesOf(*audio->format()), bytesOf(mono));
      expectRandomRuns(*audio, sound, 60);
      for (const auto& [first, last] : {std::pair(-1L, 5L), {5L, 4L}, {9000L, 9600L}, {LONG_MIN, LONG_MAX}}) {
        expectOutside(audio->getSamples(first, last) == nullptr);
      }
      auto& closed = dynamic_cast<AudioSourceStream&>(*missing);
      expectClosed(closed.getSamples(0, 0) == nullptr);
      expectClosed(closed.format()->nChannels == 0);
    } else {
      auto& raw = dynamic_cast<RawDataSourceStream&>(*stream);
      EXPECT_EQ(raw.firstKeySample(), 0);
      EXPECT_TRUE(raw.format()->subtype == (isAudio ? MEDIASUBTYPE_PCM : MEDIASUBTYPE_RGB24));
      EXPECT_TRUE(raw.format()->formattype == (isAudio ? FORMAT_WaveFormatEx : FORMAT_VideoInfo));
      for (const long outside : {-1L, raw.duration()}) {
        expectOutside(read(raw, outside).start == -1);
      }
      for (long next = 0; next < raw.duration();) {
        const Sample run = read(raw, next, next % 2 != 0);
        const long end = run.start + run.samples;
        ASSERT_TRUE(run.start >= 0 && run.start <= next && end > next) << next;
        const Bytes data = isAudio ? partOf(sound, run.start, end - 1, 2) : frames[run.start];
        ASSERT_TRUE(run == sampleOf(run.start, run.samples, true, data)) << next;
        next = end;
      }
      auto& closed = dynamic_cast<RawDataSourceStream&>(*missing);
      expectClosed(read(closed, 0).start == -1);
      expectClosed(closed.videoInfo(info) == nullptr);
      expectClosed(closed.format() != nullptr);
      expectClosed(closed.firstKeySample() == 0);
    }
  }
  bool isShuffled = false;
  for (int i = 0; i < 20 && wine_gap::splitterShufflesStreams && !isShuffled; ++i) {
    isShuffled = runOf(*openAudio(file.name(), 1), 0, 79) != partOf(sound, 0, 79, 2);
  }
  EXPECT_EQ(isShuffled, wine_gap::splitterShufflesStreams);
}

TEST(Backends, KnowTheFrameOfATimeAtAnyRate) {
  const auto nearest = [](long long ms, long long rate, long long scale) {
    return (2 * ms * rate + 1000 * scale) / (2000 * scale);
  };
  int wrongOfAVIFile = 0;
  for (const auto& [rate, scale] :
       {std::pair(25, 2), {24000, 1001}, {24, 1}, {25, 1}, {30000, 1001}, {30, 1}, {50, 1}, {60000, 1001}, {60, 1}}) {
    const auto script =
        std::make_shared<AviScript>(AviScript{{aviScriptVideo(rgb24Format(4, 4), rate, scale, {})}, {}});
    script->streams[0].info.dwLength = LONG_MAX;
    const AviFileHandler handler(script);
    const std::unique_ptr<VideoSourceStream> vfw(VfWVideoSourceStream::open("scripted.avi", 0, nullptr));
    const REFERENCE_TIME frameTime = 10'000'000LL * scale / rate;
    const PlayedVideo ds(framesAt<int>({0}, 1, frameTime));
    for (long long ms = 0; ms < 3'607'000; ms += 3'607) {
      double time = ms;
      ASSERT_EQ(ds->StreamTimeToSample(time), nearest(ms, 10'000'000, frameTime)) << ms << " ms at " << rate;
      ASSERT_EQ(quillet::client::numberAt(*vfw, time), nearest(ms, rate, scale)) << ms << " ms at " << rate;
      wrongOfAVIFile += vfw->StreamTimeToSample(time) != ms * rate / (1000 * scale);
    }
  }
  EXPECT_EQ(wrongOfAVIFile > 0, wine_gap::wideTimesAreSingles && sizeof(void*) == 8);
}

TEST(VideoForWindows, FindsWhatThereIs) {
  const auto script = std::make_shared<AviScript>();
  // Frames 0 (a key frame), 3 and 6 are empty; 1 and 5 are key frames.
  script->streams = {aviScriptVideo(rgb24Format(4, 4), 25, 1, {{}, {1, 1}, {2}, {}, {4}, {5}, {}, {7}}),
                     aviScriptAudio(bytesOf(pcmFormat(8000, 1, 16)), 8000, 1, {{0, 1}, {2, 3}}),
                     aviScriptAudio(bytesOf(pcmFormat(8000, 1, 16)), 8000, 1, {{4, 5}, {6, 7}, {8, 9}})};
  AviScriptStream& played = script->streams[0];
  played.deltas = {2, 3, 4, 6, 7};
  played.info.dwSuggestedBufferSize = 0;
  const AviFileHandler handler(script);
  const TempFile file(".avi");
  const Raw stream = openRaw(file.name(), false);
  ASSERT_EQ(stream->lastError, 0);
  EXPECT_EQ(stream->firstKeySample(), 1);
  expectRead(*stream, 0, false, {}, vfw_error::dataNotFound);
  for (const auto& [wanted, keyWanted, start] : {std::tuple(3, false, 2), {1, false, 1}, {4, true, 1}, {6, false, 5}}) {
    expectRead(*stream, wanted, keyWanted, sampleOf(start, 1, start != 2, played.samples[start]));
  }
  played.unreadable = {4};
  expectRead(*stream, 4, false, {}, vfw_error::errorReadingSamples);
  constexpr auto lacking = "the 1 before the first key sample, 4 to 7: Error reading source samples (code 15, ";
  expectEach(*stream, {sampleOf(1, 1, true, {1, 1}), sampleOf(2, 1, false, {2})}, lacking);

  // The second stream of its kind, which starts late, and whose samples are of one size: none is searched for.
  script->streams[2].info.dwStart = 1;
  const Raw sound = openRaw(file.name(), false, false, 1);
  EXPECT_EQ(sound->firstKeySample(), 1);
  script->calls.clear();
  expectRead(*sound, 0, false, {}, vfw_error::dataNotFound);
  expectRead(*sound, 2, false, sampleOf(2, 1, true, {8, 9}));
  script->streams[2].samples[1].clear();
  expectRead(*sound, 1, false, {}, vfw_error::errorReadingSamples);
  EXPECT_EQ(script->count(AviScriptCall::findSample), 0);

  // A sample that there is no memory for, again and again, and then there is. With addresses of 64 bits there always is.
  const Raw starving = openRaw(file.name(), false);
  played.claimedSize = std::numeric_limits<long>::max();
  for (int i = 0; i < 2 && sizeof(void*) == sizeof(DWORD); ++i) {
    expectRead(*starving, 1, false, {}, vfw_error::notEnoughMemory);
  }
  played.claimedSize = 0;
  expectRead(*starving, 1, false, sampleOf(1, 1, true, played.samples[1]));

  played.deltas = {0, 1, 2, 3, 4, 5, 6, 7};
  const Raw keyless = openRaw(file.name(), false);
  EXPECT_EQ(keyless->lastError, vfw_error::noNonEmptyKeySample);
  EXPECT_EQ(keyless->firstKeySample(), -1);
  expectRead(*keyless, 2, true, {}, vfw_error::noPrecedingKeySample);
  expectRead(*keyless, 0, false, sampleOf(1, 1, false, {1, 1}), vfw_error::nextFrameReturned);

  reinterpret_cast<BITMAPINFOHEADER*>(played.format.data())->biBitCount = 16;  // Without masks.
  EXPECT_EQ(openRaw(file.name(), false)->lastError, vfw_error::unusableRawFormat);
}

// A power of two of them makes a second, so that all times are exact.
constexpr REFERENCE_TIME frameTime = 312'500;
constexpr double msPerFrame = 31.25;

enum class Marks { ends, noEnds, mediaTimes, none };

/// A stream whose samples start at these numbers: with ends, one frame long each; with media times, up to the next one.
ScriptedStream streamOf(const std::vector<int>& numbers, Marks marks, const std::vector<int>& keys, int length) {
  ScriptedStream stream = framesAt(numbers, length, frameTime);
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    ScriptedSample& sample = stream.samples[i];
    sample.stop = marks == Marks::ends ? sample.stop : std::nullopt;
    if (marks == Marks::mediaTimes) {
      sample.mediaTime = {numbers[i], i + 1 < numbers.size() ? numbers[i + 1] : length};
    }
    sample.timed = marks != Marks::none;
    sample.sync = std::find(keys.begin(), keys.end(), numbers[i]) != keys.end();
  }
  return stream;
}

/// An open stream of a script.
struct PlayedRaw : Played<DSRawDataSourceStream> {
  explicit PlayedRaw(ScriptedStream played, bool video = true) : Played(std::move(played), video) {}
};

/// A request, and what has to come of it.
struct Step {
  long wanted;
  bool keyWanted;
  long start, samples;
  long payload;               // Number of the script's sample whose data is returned.
  std::vector<double> seeks;  // Where to, in frame periods.
  int error = 0;
  int quickDecode = 0;
};

void check(const char* name, ScriptedStream played, const std::vector<Step>& steps, int openingCode = 0,
           const ScriptedStream::Seek& seek = landAsAsked) {
  SCOPED_TRACE(name);
  played.seek = seek;
  GraphOverride graph;
  const PlayedRaw script(played);
  ASSERT_EQ(script.stream->lastError, openingCode);
  graph.faults.seeks.clear();
  for (const Step& step : steps) {
    SCOPED_TRACE(testing::Message() << "step " << &step - steps.data());
    if (step.quickDecode != 0) {
      script.stream->config(step.quickDecode, 0, 0);
    }
    const int before = script.phases.counts[2];
    Sample expected;
    if (step.start >= 0) {
      const Bytes payload = scriptedPayload(step.payload, 24);
      expected = sampleOf(step.start, step.samples, played.samples[step.payload].sync, payload);
    }
    expectRead(*script.stream, step.wanted, step.keyWanted, expected, step.error);
    const auto seeks = graph.takeSeeks(frameTime);
    EXPECT_EQ(seeks, step.seeks);
    EXPECT_EQ(script.phases.counts[2] - before, static_cast<int>(std::max<std::size_t>(seeks.size(), 1)) - 1);
  }
}

TEST(Search, GoesItsWays) {
  constexpr double before9 = 9 - 1.0 / frameTime;
  const std::vector<Step> failing = {{2, false, -1, 0, 0, {2.5, 1.5, 0.0}, ds_error::dataNotFound},
                                     {2, true, -1, 0, 0, {2.5, 1.5, 0.0}, ds_error::noPrecedingKeySample}};
  const std::vector<int> ten = upTo(10);
  check("ends", streamOf(ten, Marks::ends, {0, 5}, 10),
        {{5, false, 5, 1, 5, {5.5}},
         {6, false, 6, 1, 6, {}},
         {6, true, 5, 1, 5, {}},
         {9, false, 9, 1, 9, {before9}},
         {8, true, 5, 1, 5, {8.5}},
         {3, false, 3, 1, 3, {3.5}},
         {8, false, 8, 1, 8, {}, 0, 4},
         {8, true, 5, 1, 5, {}}});
  check("no ends", streamOf(ten, Marks::noEnds, {0, 3}, 10),
        {{2, false, 2, 1, 2, {2.5}},
         {3, false, 3, 1, 3, {}},
         {4, false, 4, 1, 4, {}},
         {4, true, 3, 1, 3, {}},
         {9, false, 9, 1, 9, {before9}},
         {9, false, 9, 1, 9, {}},
         {9, true, 3, 1, 3, {before9}}});
  check("media times", streamOf({0, 2, 3, 6}, Marks::mediaTimes, {0, 3}, 8),
        {{4, false, 3, 3, 2, {4.5}}, {5, false, 3, 3, 2, {}}, {7, false, 6, 2, 3, {}}, {7, true, 3, 3, 2, {}}});
  check("no times", streamOf(ten, Marks::none, ten, 10), {{2, false, 2, 8, 9, {2.5}}, {7, false, 2, 8, 9, {}}});
  check("a gap, no keys", streamOf({0, 1, 2, 6, 7}, Marks::ends, {}, 8),
        {{4, false, -1, 0, 0, {4.5}, ds_error::dataNotFound},
         {2, false, 2, 1, 2, {2.5}},
         {3, false, 2, 4, 2, {}},
         {5, false, 2, 4, 2, {}},
         {6, true, -1, 0, 0, {6.5, 5.5, 3.5, 0.0}, ds_error::noPrecedingKeySample}},
        ds_error::noKeySampleInStream);
  check("a late start", streamOf({3, 4, 5}, Marks::ends, ten, 6), failing);
  check(
      "an early end", streamOf(upTo(5), Marks::ends, {0}, 8),
      {{6, false, 4, 1, 4, {6.5}, ds_error::sampleBeyondData}, {6, true, 0, 1, 0, {6.5}, ds_error::sampleBeyondData}});
  check("late seeks", streamOf(upTo(40), Marks::ends, upTo(40), 40), {{20, false, 20, 1, 20, {20.5, 19.5, 17.5, 13.5}}},
        0, landLater(4));
  check("seeks beyond the end", streamOf(ten, Marks::ends, ten, 10), failing, ds_error::noKeySampleInStream,
        landLater(100));
  check("seeks that fail", streamOf(ten, Marks::ends, ten, 10),
        {{2, false, -1, 0, 0, {2.5}, ds_error::unseekableMedia}}, ds_error::cannotRewind, failToSeek);
  check("no samples", streamOf({}, Marks::ends, {}, 10), {failing[0]}, ds_error::noKeySampleInStream);
  ScriptedStream aborting = streamOf(ten, Marks::noEnds, {0}, 10);
  aborting.samples[5].event = EC_ERRORABORT;
  aborting.samples.resize(6);
  check("an abort", aborting, {{7, false, -1, 0, 0, {7.5}, ds_error::dataNotFound}, {3, false, 3, 1, 3, {3.5}}});
  ScriptedStream odd = streamOf(ten, Marks::ends, ten, 10);
  odd.samples[4].stop = odd.samples[4].start - frameTime;
  check("an end before the start", odd, {{3, false, 3, 1, 3, {3.5}}, {4, false, 4, 1, 4, {}}});
}

TEST(Order, BringsEachSampleOnce) {
  ScriptedStream shared = streamOf({0, 1, 1, 2, 2}, Marks::ends, {}, 3);
  shared.samples[1].size = 10;
  ScriptedStream aborting = streamOf(upTo(6), Marks::noEnds, {}, 5);
  aborting.samples[5].event = EC_ERRORABORT;
  aborting.samples[5].failure = E_FAIL;
  ScriptedStream longer = streamOf(upTo(9), Marks::ends, {}, 9);
  longer.duration = 4 * frameTime;
  const std::vector<int> decodeOrder = {0, 3, 1, 2, 6, 4, 5};
  const struct {
    const char* name;
    ScriptedStream played;
    std::vector<long> counts;
    std::string lacking;
  } cases[] = {{"shared numbers", shared, {1, 1, 1, 1, 1}, ""},
               {"decode order", streamOf(decodeOrder, Marks::ends, {0}, 7), {1, 1, 1, 1, 1, 1, 1}, ""},
               {"decode order, no ends", streamOf(decodeOrder, Marks::noEnds, {0}, 7), {3, 1, 1, 4, 1, 1, 2}, ""},
               {"an early end", streamOf({0, 1, 4}, Marks::noEnds, {}, 5), {1, 3, 1}, ""},
               {"a cut", streamOf(upTo(3), Marks::ends, {}, 9), {1, 1, 1}, "3 to 8"},
               {"an abort", aborting, {1, 1, 1, 1}, "4 to 4: Data not found"},
               {"a duration that is too short", longer, {1, 1, 1, 1, 1, 1, 1, 1, 1}, ""}};
  for (const auto& [name, played, counts, lacking] : cases) {
    SCOPED_TRACE(name);
    std::vector<Sample> expected;
    for (const long count : counts) {
      const ScriptedSample& sample = played.samples[expected.size()];
      const Bytes payload = scriptedPayload(expected.size(), sample.size);
      expected.push_back(sampleOf(static_cast<long>(sample.start / frameTime), count, sample.sync, payload));
    }
    GraphOverride graph;
    const PlayedRaw script(played);
    graph.faults.seeks.clear();
    for (int i = 0; i < 2; ++i) {
      expectEach(*script.stream, expected, lacking);
      EXPECT_EQ(graph.takeSeeks(1).size(), 1) << "only to the start";
      read(*script.stream, script.stream->duration() - 1);
      graph.faults.seeks.clear();
    }
  }
}

TEST(Search, EndsSoonWhateverTheSteps) {
  // Blocks of 10 ms, of which one is missing.
  ScriptedStream sound = scriptedAudio(pcmFormat(8000, 1, 16), 500, 80);
  sound.samples.erase(sound.samples.begin() + 400);
  const PlayedRaw gap(sound, false);
  expectRead(*gap.stream, 400 * 80 + 1, false, {}, ds_error::dataNotFound);
  EXPECT_LT(gap.script->samplesFilled, 2000);

  const PlayedRaw late(streamOf({3, 4, 5}, Marks::ends, {3}, 6));
  late.stream->config(1, std::numeric_limits<int>::max(), std::numeric_limits<int>::max());
  expectRead(*late.stream, 1, false, {}, ds_error::dataNotFound);
}

TEST(Opening, FindsLengthsAndTheFirstKeySample) {
  EXPECT_EQ(PlayedRaw(streamOf(upTo(10), Marks::ends, {4, 7}, 10)).stream->firstKeySample(), 4);
  EXPECT_EQ(PlayedRaw(streamOf(upTo(10), Marks::mediaTimes, {4, 7}, 10)).stream->firstKeySample(), 4);
  const PlayedRaw keyless(streamOf(upTo(10), Marks::ends, {}, 10));
  EXPECT_EQ(keyless.stream->firstKeySample(), -1);
  EXPECT_EQ(read(*keyless.stream, 5).start, 5) << "the stream is open nevertheless";

  WAVEFORMATEX format = pcmFormat(8000, 1, 16);
  for (const auto& [tag, perBlock] :
       {std::pair(WAVE_FORMAT_PCM, 80), {WAVE_FORMAT_MPEGLAYER3, 80}, {WAVE_FORMAT_MPEGLAYER3, 1}}) {
    format.wFormatTag = static_cast<WORD>(tag);
    ScriptedStream sound = scriptedAudio(format, 10, 80);
    for (int i = 0; i < 10 && perBlock == 1; ++i) {
      sound.samples[i].mediaTime = {i, i + 1};
    }
    sound.seek = [late = perBlock == 1 ? 0 : 2](const auto& stream, auto wanted, DWORD flags, Landing& landing) {
      return landLater(wanted == 0 ? 0 : late)(stream, wanted, flags, landing);
    };
    const PlayedRaw played(sound, false);
    EXPECT_EQ(played.stream->duration(), 10 * perBlock);
    EXPECT_EQ(played.phases.counts[0], tag == WAVE_FORMAT_PCM ? 0 : 10);
    for (const long block : {2, 3, 9, 5}) {
      const Sample expected = sampleOf(block * perBlock, perBlock, true, scriptedPayload(block, 160));
      expectRead(*played.stream, block * perBlock + perBlock / 2, false, expected);
    }
  }
  // Also when the duration is an estimate, and too short.
  ScriptedStream underestimated = scriptedAudio(format, 10, 80);
  underestimated.duration /= 4;
  const PlayedRaw sound(underestimated, false);
  EXPECT_TRUE(sound.stream->duration() == 800 && sound.stream->msDuration() == 100.0);
  expectRead(*sound.stream, 799, false, sampleOf(720, 80, true, scriptedPayload(9, 160)));
  long last = 799;
  EXPECT_EQ(sound.stream->StreamSampleToTime(last), 99.875);

  ScriptedStream pictures = streamOf(upTo(100), Marks::ends, {0}, 77);
  for (ScriptedSample& sample : pictures.samples) {
    sample.start = sample.start / frameTime * 400'000;
  }
  withoutFrameTime(pictures);
  const PlayedRaw played(pictures);
  VIDEOINFOHEADER info = {};
  ASSERT_NE(played.stream->videoInfo(info), nullptr);
  EXPECT_EQ(info.AvgTimePerFrame, 400'000);
  EXPECT_TRUE(played.stream->duration() == 100 && played.stream->msDuration() == 4000.0);

  pictures.samples.resize(1);
  EXPECT_EQ(PlayedRaw(pictures).stream->lastError, ds_error::cannotRetrieveFrameRate);
  reinterpret_cast<VIDEOINFOHEADER*>(pictures.type.pbFormat)->bmiHeader.biWidth = 0;
  EXPECT_EQ(PlayedRaw(pictures).stream->lastError, ds_error::improperStreamFormat);
  pictures.type.formattype = GUID_NULL;
  EXPECT_EQ(PlayedRaw(pictures).stream->lastError, ds_error::cannotRetrieveFrameRate);
  EXPECT_EQ(PlayedRaw(scriptedAudio(format, 0, 80), false).stream->lastError, ds_error::undeterminedSamplesNumber);
  ScriptedStream silence = scriptedAudio(format, 1, 80);
  reinterpret_cast<WAVEFORMATEX*>(silence.type.pbFormat)->nChannels = 0;
  EXPECT_EQ(PlayedRaw(silence, false).stream->lastError, ds_error::unusableAudioFormat);
}

TEST(Opening, GoesOnToDirectShowWhenNothingCanBeRead) {
  const TempFile large(".avi", readFile(mediaFile("copy.avi").c_str()));
  for (const std::uintmax_t size : {0x7FFFFFFFU, 0x80000000U}) {  // What AVIFile can count, and one more.
    std::filesystem::resize_file(large.name(), size);
    const std::unique_ptr<SourceStream> stream(SourceStream::open(large.name(), true, 0, nullptr));
    EXPECT_TRUE(stream->lastError == 0 && stream->usesDirectShow() == (size > 0x7FFFFFFFU)) << stream->lastError;
    EXPECT_EQ(openRaw(large.name(), false)->lastError, size > 0x7FFFFFFFU ? vfw_error::cannotOpenSourceFile : 0);
  }
  const std::unique_ptr<SourceStream> missing(SourceStream::open("C:\\missing", true, 0, nullptr));
  EXPECT_TRUE(missing->usesDirectShow() && failed(missing->duration(), *missing, ds_error::notOpened));
  const auto script = std::make_shared<AviScript>();
  script->streams = {aviScriptVideo(rgb24Format(4, 4), 25, 1, {{1}, {2}}),
                     aviScriptAudio(bytesOf(pcmFormat(8000, 1, 16)), 8000, 1, {{1, 1}, {2, 2}})};
  const AviFileHandler handler(script);
  const std::string readable = mediaFile("copy.avi");
  const TempFile nothing(".avi");
  for (const bool fails : {false, true}) {
    for (AviScriptStream& stream : script->streams) {
      stream.samplesPerRead = fails ? 0 : 1;
    }
    for (const char* const name : {readable.c_str(), nothing.name()}) {
      const bool goesOn = fails && name == readable.c_str();
      const std::unique_ptr<SourceStream> streams[] = {
          Raw(RawDataSourceStream::open(name, true, 0, nullptr)),
          Raw(RawDataSourceStream::open(name, false, 0, nullptr)),
          std::unique_ptr<SourceStream>(SourceStream::open(name, false, 0, nullptr))};
      for (const auto& stream : streams) {
        EXPECT_TRUE(stream->usesDirectShow() == goesOn && stream->lastError == 0) << &stream - streams;
      }
    }
  }
  const WithoutDecodingSplitter compressed;
  Stopping sink(1);
  const Raw stopped(RawDataSourceStream::open(mediaFile("compressed.avi").c_str(), false, 0, &sink));
  EXPECT_EQ(stopped->lastError, ds_error::stoppedByNotification) << "the stream that cannot be read has come instead";
}

TEST(Conversions, AreTheCountedOnesInAnyOrder) {
  std::vector<int> numbers = upTo(36);
  std::erase_if(numbers, [](int number) { return number % 7 == 3 || number == 0; });
  std::vector<long> order = {0, 1, 1, 2, 3, 4, 10, 11, 20, 34, 35, 36, 39, 39, 35, 30, 12, 0, -3, 100};
  std::mt19937 random = loggedRandom();
  std::generate_n(std::back_inserter(order), 60, [&] { return between(-2, 42, random); });
  for (const Marks marks : {Marks::ends, Marks::noEnds}) {
    const PlayedRaw played(streamOf(numbers, marks, numbers, 40));
    for (const long number : order) {
      // What counting by hand gives: the first sample that is not before the wanted one.
      const auto next = std::find_if(numbers.begin(), numbers.end(), [&](int sample) { return sample >= number; });
      const bool isBeyond = next == numbers.end();
      long sample = number;
      ASSERT_EQ(played.stream->StreamSampleToTime(sample), (isBeyond ? 40 : *next) * msPerFrame) << number;
      ASSERT_EQ(sample, isBeyond ? number : *next);
      ASSERT_EQ(played.stream->lastError, sample == number ? ds_error::success : ds_error::nextSampleTimeReturned);
      for (const double wanted : {number * msPerFrame, (number - 0.3) * msPerFrame}) {
        double ms = wanted;
        ASSERT_EQ(played.stream->StreamTimeToSample(ms), isBeyond ? 40 : *next) << wanted;
        ASSERT_EQ(ms, isBeyond ? wanted : *next * msPerFrame);
        ASSERT_EQ(played.stream->lastError, ms == wanted ? ds_error::success : ds_error::laterSampleReturned);
      }
    }
    played.script->samplesFilled = 0;
    for (long number = 0, sample = 0; number < 40; sample = ++number) {
      played.stream->StreamSampleToTime(sample);
    }
    // Some more pass, to nobody, while the graph is stopped that stands elsewhere.
    EXPECT_LT(played.script->samplesFilled, 2 * static_cast<int>(numbers.size())) << "rising numbers are counted twice";
  }
  const PlayedRaw audio(scriptedAudio(pcmFormat(8000, 1, 16), 10, 80), false);
  for (const long number : {0L, 85L, 86L, 799L, 3L, 160L}) {
    long sample = number;
    double ms = audio.stream->StreamSampleToTime(sample);
    EXPECT_EQ(ms, number / 8.0);
    EXPECT_EQ(audio.stream->StreamTimeToSample(ms), number);
    EXPECT_EQ(audio.stream->lastError, 0);
  }
}

TEST(Conversions, AreRoughOrFail) {
  const auto expectBoth = [](DSRawDataSourceStream& stream, double time, long number, int code) {
    for (int i = 0; i < 2; ++i) {
      long sample = 4;
      double ms = 250.0;
      EXPECT_EQ(stream.StreamSampleToTime(sample), time);
      EXPECT_EQ(stream.lastError, code);
      EXPECT_EQ(stream.StreamTimeToSample(ms), number);
      EXPECT_EQ(stream.lastError, code);
    }
  };
  expectBoth(*PlayedRaw(streamOf(upTo(10), Marks::none, {0}, 16)).stream, 125.0, 8, ds_error::roughConversion);
  expectBoth(*PlayedRaw(streamOf({}, Marks::ends, {}, 16)).stream, -1.0, -1, ds_error::dataNotFound);

  const quillet::KernelHandle never(CreateEventA(nullptr, TRUE, FALSE, nullptr));
  ScriptedStream good = streamOf(upTo(10), Marks::ends, {0}, 10);
  ScriptedStream aborting = good;
  aborting.samples[2].event = EC_ERRORABORT;
  aborting.samples[3].waitFor = never.get();
  expectBoth(*PlayedRaw(aborting).stream, -1.0, -1, ds_error::dataNotFound);
  ScriptedStream stalling = good;
  stalling.samples[3].waitFor = never.get();
  const PlayedRaw stalled(stalling);
  const PlayedRaw stalledReading(stalling);
  Sample sample = {1};
  Thread reading([&] { sample = read(*stalledReading.stream, 3); });  // At the same time: to give up takes its time.
  long beyond = 4;
  EXPECT_TRUE(failed(stalled.stream->StreamSampleToTime(beyond), *stalled.stream, ds_error::dataNotFound));
  EXPECT_TRUE(reading.endsWithin(10'000));
  EXPECT_TRUE(sample == Sample());
  EXPECT_EQ(stalledReading.stream->lastError, ds_error::dataNotFound);
  long before = 1;
  EXPECT_EQ(stalled.stream->StreamSampleToTime(before), msPerFrame) << "what there is can still be had";
}

TEST(Deleting, LeavesNothingBehind) {
  const auto script = scriptOf(streamOf(upTo(10), Marks::ends, {0}, 10));
  const ScriptedFile file(script);
  const std::string avi = mediaFile("cinepak.avi");
  const GraphOverride graph;
  const auto round = [&] {
    for (const Raw& stream : {openRaw(file.name(), true), openRaw(avi.c_str(), false), openRaw(file.name(), false)}) {
      for (long sample = 1; sample >= 0; --sample) {
        read(*stream, sample, sample == 0);
        double ms = stream->StreamSampleToTime(sample);
        stream->StreamTimeToSample(ms);
      }
    }
  };
  constexpr long graphs = 3;  // One for the samples, two for the conversions.
  EXPECT_TRUE(leavesNothingBehind(round, graphs * wine_gap::blocksOfAGraph, graphs * wine_gap::handlesOfAGraph));
  EXPECT_EQ(graph.faults.graphs, 0);
  EXPECT_EQ(script->filters, 0);
  EXPECT_EQ(script->threadsStarted, script->threadsEnded);
}

}  // namespace
