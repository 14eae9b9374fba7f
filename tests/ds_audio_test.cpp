// Audio samples by number, through DirectShow: every way that a run can come about, on scripted streams.

#include <cstring>
#include <iterator>

#include "support/ds_streams.h"
#include "support/graph_override.h"

using namespace quillet::test;
namespace ds_error = quillet::ds_error;

namespace {

// Divides a second into whole units of 100 ns.
constexpr long rate = 8000;
constexpr REFERENCE_TIME sampleTime = 1250;
const WAVEFORMATEX mono = pcmFormat(rate, 1, 16);

struct Block {
  long first;
  long count;
};

ScriptedStream blocksOf(const WAVEFORMATEX& format, const std::vector<Block>& blocks, long length) {
  ScriptedStream stream = scriptedAudio(format, blocks.size(), 1);
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    stream.samples[i].start = blocks[i].first * sampleTime;
    stream.samples[i].stop = (blocks[i].first + blocks[i].count) * sampleTime;
    stream.samples[i].size = blocks[i].count * format.nBlockAlign;
  }
  stream.duration = length * sampleTime;
  return stream;
}

/// Blocks of 80 samples, one after the other.
std::vector<Block> inARow(long first, long count) {
  std::vector<Block> blocks;
  for (long i = 0; i < count; ++i) {
    blocks.push_back({first + i * 80, 80});
  }
  return blocks;
}

/// What the whole stream is to read as: silence where there is no block.
Bytes wholeOf(const ScriptedStream& stream, long length, long sampleSize) {
  Bytes whole(length * sampleSize);
  for (std::size_t i = 0; i < stream.samples.size(); ++i) {
    const Bytes payload = scriptedPayload(i, stream.samples[i].size);
    std::copy(payload.begin(), payload.end(), whole.begin() + stream.samples[i].start / sampleTime * sampleSize);
  }
  return whole;
}

/// A request, and what has to come of it: the samples asked for, unless said.
struct Step : Expectation<Step> {
  Step(long from, long to) : first(from), last(to) {}
  /// The run is to begin with the samples from there on, with silence behind them.
  Step& beginsAfterGap(long end) { return gapEnd = end, *this; }

  long first, last;
  long gapEnd = 0;
};

/// Reads from a stream of these blocks, which claims to be `length` samples long.
void check(const char* name, const std::vector<Block>& blocks, long length, const std::vector<Step>& steps,
           const ScriptedStream::Seek& seek = landAsAsked) {
  SCOPED_TRACE(name);
  GraphOverride graph;
  ScriptedStream stream = blocksOf(mono, blocks, length);
  stream.seek = seek;
  const Bytes whole = wholeOf(stream, length, 2);
  const PlayedAudio audio(stream);
  ASSERT_EQ(audio->lastError, 0);
  ASSERT_EQ(audio->duration(), length);
  for (const Step& step : steps) {
    SCOPED_TRACE(testing::Message() << "step " << &step - steps.data() << ", " << step.first << " to " << step.last);
    if (!step.config.empty()) {
      audio->config(step.config[0], step.config[1]);
    }
    const Bytes run = runOf(*audio, step.first, step.last);
    EXPECT_EQ(audio->lastError, step.error);
    Bytes expected = step.error == 0 ? partOf(whole, step.first, step.last, 2) : Bytes();
    if (step.gapEnd != 0) {
      std::fill(std::copy(expected.begin() + (step.gapEnd - step.first) * 2, expected.end(), expected.begin()),
                expected.end(), std::uint8_t{0});
    }
    EXPECT_TRUE(run == expected);
    EXPECT_EQ(graph.takeSeeks(sampleTime), step.seeked);
  }
}

TEST(Search, SeeksOrReadsOn) {
  check("a full stream", inARow(0, 10), 800,
        {Step(100, 199).seeks(100), Step(120, 150), Step(100, 199), Step(200, 230), Step(220, 250), Step(330, 340),
         Step(480, 480), Step(641, 650).seeks(641), Step(10, 20).seeks(10), Step(240, 300).tuned(3, 0),
         Step(560, 570).tuned(0, 0).seeks(560), Step(0, 799).seeks(0), Step(799, 799)});
  check("blocks of many sizes", {{0, 80}, {80, 20}, {100, 1}, {101, 160}, {261, 39}}, 300,
        {Step(90, 100).seeks(90), Step(101, 260), Step(50, 120).seeks(50), Step(0, 299).seeks(0)});
  check("blocks that overlap", {{0, 80}, {40, 80}, {120, 80}}, 200, {Step(0, 199).seeks(0), Step(130, 140)});
}

TEST(Search, FillsWithSilence) {
  check("early end", inARow(0, 5), 800,
        {Step(300, 500).seeks(300), Step(600, 620), Step(390, 410).seeks(400), Step(390, 399),
         Step(100, 120).seeks(100)});
  check("late start", inARow(240, 7), 800,
        {Step(100, 300).seeks(100, 0, 240), Step(0, 100), Step(50, 250), Step(330, 340), Step(239, 240).seeks(240)});
  check("late start, in small steps", inARow(240, 7), 800,
        {Step(100, 300).tuned(0, 30).seeks(100, 70, 40, 10, 0, 240)});
  check("late start, nothing of the run", inARow(240, 7), 800, {Step(10, 20).seeks(10, 0), Step(0, 799).seeks(240)});
  check("no block at all", {}, 800, {Step(400, 450).seeks(400), Step(500, 510)});

  std::vector<Block> gap = inARow(0, 2);
  const std::vector<Block> afterGap = inARow(320, 6);
  gap.insert(gap.end(), afterGap.begin(), afterGap.end());
  check("a gap", gap, 800,
        {Step(200, 350).seeks(200, 320).beginsAfterGap(320), Step(200, 350).beginsAfterGap(320), Step(330, 340),
         Step(500, 510).seeks(500)});
  check("a gap, nothing of the run", gap, 800, {Step(200, 210).seeks(200), Step(300, 310).seeks(300)});
  check("a gap inside of the run", gap, 800,
        {Step(100, 200).seeks(100), Step(500, 510).seeks(500), Step(100, 350).seeks(100), Step(360, 380)});
  check("a gap, read up to and over", gap, 800,
        {Step(100, 159).seeks(100), Step(160, 170).seeks(80), Step(100, 350).seeks(160, 320).beginsAfterGap(320),
         Step(360, 380)});

  const ScriptedStream unsignedSamples = blocksOf(pcmFormat(rate, 1, 8), {{80, 80}}, 240);
  constexpr std::uint8_t middle = 0x80;
  Bytes whole(240, middle);
  std::ranges::copy(scriptedPayload(0, 80), whole.begin() + 80);
  EXPECT_TRUE(runOf(*PlayedAudio(unsignedSamples), 0, 239) == whole);
  EXPECT_TRUE(runOf(*PlayedAudio(unsignedSamples), 0, 10) == Bytes(11, middle));
}

TEST(Search, GoesBackFromSeeksThatMiss) {
  check("seeks that land late", inARow(0, 10), 800,
        {Step(400, 450).seeks(400, 0), Step(700, 720).seeks(700, 620), Step(400, 450).tuned(0, 100).seeks(400, 320)},
        landLater(1));
  const Step failing = Step(400, 450).seeks(400).leaves(ds_error::unseekableMedia);
  check("seeks that fail", inARow(0, 10), 800, {failing, failing}, failToSeek);
}

TEST(Search, GivesUpWhenEvenTheStartComesLate) {
  ScriptedStream stream = blocksOf(mono, inARow(80, 9), 800);
  std::size_t lost = 0;  // Blocks that every seek goes too far.
  stream.seek = [&](const ScriptedStream& played, REFERENCE_TIME wanted, DWORD flags, Landing& landing) {
    return landLater(lost)(played, wanted, flags, landing);
  };
  const Bytes whole = wholeOf(stream, 800, 2);
  const PlayedAudio audio(stream);
  EXPECT_TRUE(runOf(*audio, 70, 90) == partOf(whole, 70, 90, 2));
  EXPECT_EQ(audio.phases.counts[2], 1);
  lost = 6;
  EXPECT_EQ(audio->getSamples(300, 310), nullptr);
  EXPECT_EQ(audio->lastError, ds_error::noFrameFound);
  EXPECT_EQ(audio.phases.counts[2], 1 + 4) << "a block at a time, to the start";
  lost = 0;
  EXPECT_TRUE(runOf(*audio, 300, 310) == partOf(whole, 300, 310, 2));
}

TEST(Search, FollowsTimesThatMove) {
  struct {
    const char* name;
    std::vector<Block> blocks;
    std::size_t moved;  // The block that comes a sample later after each of the first seeks.
    int moves;
    long first, last, silent, heard;  // Of the block, behind silence.
  } cases[] = {{"a gap", {{0, 80}, {80, 80}, {320, 80}}, 2, 5, 200, 349, 0, 25},
               {"the start", {{80, 80}, {160, 80}}, 0, 3, 0, 120, 83, 38}};
  for (auto& c : cases) {
    const auto script = scriptOf(blocksOf(mono, c.blocks, 400));
    script->streams[0].seek = [&](const ScriptedStream& played, REFERENCE_TIME wanted, DWORD flags, Landing& landing) {
      script->streams[0].samples[c.moved].start += c.moves-- > 0 ? sampleTime : 0;
      return landAsAsked(played, wanted, flags, landing);
    };
    const ScriptedFile file(script);
    const DSAudio audio = openAudio(file.name());
    const Bytes block = scriptedPayload(c.moved, 160);
    Bytes expected(c.silent * 2);
    expected.insert(expected.end(), block.begin(), block.begin() + c.heard * 2);
    expected.resize((c.last - c.first + 1) * 2);
    EXPECT_TRUE(runOf(*audio, c.first, c.last) == expected) << c.name << ": " << audio->lastError;
  }
}

TEST(Joins, OfBlocksThatNearlyTouchAreUnheard) {
  struct {
    long stamped;  // The second block; the first ends before 80.
    bool discontinuity;
    long first;
  } const cases[] = {{88, false, 80}, {89, false, 89}, {72, false, 80}, {71, false, 71}, {81, true, 81}};
  for (const auto& [stamped, discontinuity, first] : cases) {
    SCOPED_TRACE(stamped);
    ScriptedStream stream = blocksOf(mono, {{0, 80}, {stamped, 80}}, 200);
    stream.samples[1].discontinuity = discontinuity;
    stream.seek = [](const ScriptedStream&, REFERENCE_TIME wanted, DWORD, Landing& landing) {
      return give(&landing, {0, wanted});
    };
    Bytes whole(200 * 2);
    std::ranges::copy(scriptedPayload(0, 160), whole.begin());
    std::ranges::copy(scriptedPayload(1, 160), whole.begin() + first * 2);
    const PlayedAudio audio(stream);
    EXPECT_TRUE(runOf(*audio, 0, 199) == whole);
    EXPECT_TRUE(runOf(*audio, 75, 90) == partOf(whole, 75, 90, 2));
    // After a seek the block that is wanted tells the number, where that loses nothing.
    EXPECT_TRUE(runOf(*PlayedAudio(stream), 100, 120) ==
                partOf(whole, 100 + first - stamped, 120 + first - stamped, 2));
  }
}

TEST(Formats, AreWholeInTheirRecord) {
  WAVEFORMATEXTENSIBLE format = {};
  format.Format = pcmFormat(rate, 6, 16);
  format.Format.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
  format.Format.cbSize = sizeof format - sizeof format.Format;
  format.SubFormat = MEDIASUBTYPE_PCM;
  ScriptedStream stream = scriptedAudio(format.Format, 2, 80);
  const WAVEFORMATEX plain = pcmFormat(rate, 6, 16);
  EXPECT_EQ(std::memcmp(PlayedAudio(stream)->format(), &plain, sizeof plain), 0);
  reinterpret_cast<WAVEFORMATEXTENSIBLE*>(stream.type.pbFormat)->SubFormat = MEDIASUBTYPE_IEEE_FLOAT;
  EXPECT_EQ(PlayedAudio(stream)->lastError, ds_error::improperStreamFormat);
}

TEST(Runs, AreTheSameInAnyOrderAndFormat) {
  std::mt19937 random = loggedRandom();
  struct {
    WAVEFORMATEX format;
    REFERENCE_TIME unit;  // Of the blocks' times.
  } const cases[] = {{pcmFormat(rate, 1, 8), 1}, {pcmFormat(44100, 2, 8), 1}, {pcmFormat(44100, 2, 16), 10'000}};
  for (const auto& [format, unit] : cases) {
    ScriptedStream stream = scriptedAudio(format, 40, 1);
    long length = 0;
    const auto now = [&] { return (length * 10'000'000LL / format.nSamplesPerSec + unit / 2) / unit * unit; };
    Bytes whole;
    for (std::size_t i = 0; i < stream.samples.size(); ++i) {
      ScriptedSample& sample = stream.samples[i];
      const long count = between(50, 200, random);  // Each longer than the coarsest unit.
      sample.start = now();
      length += count;
      sample.stop = now();
      sample.size = count * format.nBlockAlign;
      std::ranges::copy(scriptedPayload(i, sample.size), std::back_inserter(whole));
      sample.size += format.nBlockAlign - 1;  // A part of a sample is none.
    }
    stream.duration = (length * 10'000'000LL + format.nSamplesPerSec - 1) / format.nSamplesPerSec;
    GraphOverride graph;
    const PlayedAudio audio(stream);
    ASSERT_EQ(audio->duration(), length);
    for (const long run : {50L, 63L}) {
      for (long first = 0; first < length; first += run) {
        const long last = std::min(first + run - 1, length - 1);
        ASSERT_TRUE(runOf(*audio, first, last) == partOf(whole, first, last, format.nBlockAlign)) << first;
      }
      EXPECT_EQ(std::exchange(graph.faults.seeks, {}).size(), 1U) << "reading in order seeks";
    }
    if (unit == 1) {
      expectRandomRuns(*audio, whole, 150, 400);
    }
  }
}

}  // namespace
