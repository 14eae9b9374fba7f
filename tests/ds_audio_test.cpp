// Audio samples by number, through DirectShow: every way that a run can come about, on scripted streams.

#include <algorithm>
#include <climits>

#include <gtest/gtest.h>

#include "support/avi_builder.h"
#include "support/ds_streams.h"
#include "support/graph_override.h"
#include "support/random.h"

using namespace quillet::test;
namespace ds_error = quillet::ds_error;

namespace {

// Divides a second into whole units of 100 ns.
constexpr long rate = 8000;
constexpr REFERENCE_TIME sampleTime = 1250;

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

/// A request, and what has to come of it.
struct Step {
  long first;
  long last;
  std::vector<long> seeks;  // Where to, in samples.
  int error = 0;
  std::vector<int> config = {};
  long gapEnd = 0;  // When set, the run is to begin with the samples from there on, with silence behind them.
};

struct Reading {
  const char* name;
  std::vector<Block> blocks;
  long length;
  ScriptedStream::Seek seek;
  std::vector<Step> steps;
};

void check(const Reading& reading) {
  SCOPED_TRACE(reading.name);
  const WAVEFORMATEX format = pcmFormat(rate, 1, 16);
  GraphOverride graph;
  ScriptedStream stream = blocksOf(format, reading.blocks, reading.length);
  stream.seek = reading.seek;
  const Bytes whole = wholeOf(stream, reading.length, 2);
  const ScriptedFile file(scriptOf(stream));
  Phases phases;
  const DSAudio audio = openAudio(file.name(), 0, &phases);
  ASSERT_EQ(audio->lastError, 0);
  ASSERT_EQ(audio->duration(), reading.length);
  int steps = 0;
  for (const Step& step : reading.steps) {
    SCOPED_TRACE(testing::Message() << "step " << steps++ << ", " << step.first << " to " << step.last);
    if (!step.config.empty()) {
      audio->config(step.config[0], step.config[1]);
    }
    const Bytes run = runOf(*audio, step.first, step.last);
    EXPECT_EQ(audio->lastError, step.error);
    Bytes expected;
    if (step.error == 0) {
      expected.assign(whole.begin() + step.first * 2, whole.begin() + (step.last + 1) * 2);
    }
    if (step.gapEnd != 0) {
      std::fill(std::copy(expected.begin() + (step.gapEnd - step.first) * 2, expected.end(), expected.begin()),
                expected.end(), std::uint8_t{0});
    }
    EXPECT_TRUE(run == expected);
    std::vector<long> seeks;
    for (const LONGLONG position : std::exchange(graph.faults.seeks, {})) {
      seeks.push_back(static_cast<long>(position / sampleTime));
    }
    EXPECT_EQ(seeks, step.seeks);
  }
}

TEST(Search, GoesItsWays) {
  const TimeLimit limit;
  std::vector<Block> gap = inARow(0, 2);
  const std::vector<Block> afterGap = inARow(320, 6);
  gap.insert(gap.end(), afterGap.begin(), afterGap.end());
  const Reading readings[] = {
      {"a full stream",
       inARow(0, 10),
       800,
       landAsAsked,
       {{100, 199, {100}},
        {120, 150, {}},
        {100, 199, {}},
        {200, 230, {}},
        {220, 250, {}},
        {330, 340, {}},
        {480, 480, {}},
        {641, 650, {641}},
        {10, 20, {10}},
        {240, 300, {}, 0, {3, 0}},
        {560, 570, {560}, 0, {0, 0}},
        {0, 799, {0}},
        {799, 799, {}}}},
      {"out of range",
       inARow(0, 2),
       160,
       landAsAsked,
       {{-1, 0, {}, ds_error::parameterOutOfRange},
        {0, -1, {}, ds_error::parameterOutOfRange},
        {5, 4, {}, ds_error::parameterOutOfRange},
        {160, 160, {}, ds_error::parameterOutOfRange},
        {0, 160, {}, ds_error::parameterOutOfRange},
        {LONG_MIN, LONG_MAX, {}, ds_error::parameterOutOfRange},
        {159, 159, {159}}}},
      {"early end",
       inARow(0, 5),
       800,
       landAsAsked,
       {{300, 500, {300}}, {600, 620, {}}, {390, 410, {400}}, {390, 399, {}}, {100, 120, {100}}}},
      {"late start",
       inARow(240, 7),
       800,
       landAsAsked,
       {{100, 300, {100, 0, 240}}, {0, 100, {}}, {50, 250, {}}, {330, 340, {}}, {239, 240, {240}}}},
      {"late start, in small steps",
       inARow(240, 7),
       800,
       landAsAsked,
       {{100, 300, {100, 70, 40, 10, 0, 240}, 0, {0, 30}}}},
      {"late start, nothing of the run", inARow(240, 7), 800, landAsAsked, {{10, 20, {10, 0}}, {0, 799, {240}}}},
      {"a gap", gap, 800, landAsAsked, {{200, 350, {200, 320}, 0, {}, 320}, {500, 510, {500}}}},
      {"a gap, nothing of the run", gap, 800, landAsAsked, {{200, 210, {200}}, {300, 310, {300}}}},
      {"a gap inside of the run", gap, 800, landAsAsked, {{100, 350, {100}}, {360, 380, {}}}},
      {"a gap, read up to and over",
       gap,
       800,
       landAsAsked,
       {{100, 159, {100}}, {160, 170, {80}}, {100, 350, {80, 320}, 0, {}, 320}, {360, 380, {}}}},
      {"seeks that land late",
       inARow(0, 10),
       800,
       landLater(1),
       {{400, 450, {400, 0}}, {700, 720, {700, 620}}, {400, 450, {400, 320}, 0, {0, 100}}}},
      {"seeks that land late, in steps", inARow(0, 10), 800, landLater(1), {{400, 450, {400, 300}, 0, {0, 100}}}},
      {"seeks that fail",
       inARow(0, 10),
       800,
       failToSeek(E_FAIL),
       {{400, 450, {400}, ds_error::unseekableMedia}, {400, 450, {400}, ds_error::unseekableMedia}}},
      {"no block at all", {}, 800, landAsAsked, {{400, 450, {400}}, {500, 510, {}}}},
      {"blocks of many sizes",
       {{0, 80}, {80, 20}, {100, 1}, {101, 160}, {261, 39}},
       300,
       landAsAsked,
       {{90, 100, {90}}, {101, 260, {}}, {50, 120, {50}}, {0, 299, {0}}}},
      {"blocks that overlap", {{0, 80}, {40, 80}, {120, 80}}, 200, landAsAsked, {{0, 199, {0}}, {130, 140, {}}}},
  };
  for (const Reading& reading : readings) {
    check(reading);
  }
}

TEST(Search, GivesUpWhenEvenTheStartComesLate) {
  const TimeLimit limit;
  const WAVEFORMATEX format = pcmFormat(rate, 1, 16);
  ScriptedStream stream = blocksOf(format, inARow(80, 9), 800);
  std::size_t lost = 0;  // Blocks that every seek goes too far.
  stream.seek = [&](const ScriptedStream& played, REFERENCE_TIME wanted, DWORD flags, Landing& landing) {
    return landLater(lost)(played, wanted, flags, landing);
  };
  const Bytes whole = wholeOf(stream, 800, 2);
  const ScriptedFile file(scriptOf(stream));
  Phases phases;
  const DSAudio audio = openAudio(file.name(), 0, &phases);
  EXPECT_TRUE(runOf(*audio, 70, 90) == Bytes(whole.begin() + 140, whole.begin() + 182));
  EXPECT_EQ(phases.counts[2], 1);
  lost = 6;
  EXPECT_EQ(audio->getSamples(300, 310), nullptr);
  EXPECT_EQ(audio->lastError, ds_error::noFrameFound);
  EXPECT_EQ(phases.counts[2], 1 + 4) << "a block at a time, to the start";
  lost = 0;
  EXPECT_TRUE(runOf(*audio, 300, 310) == Bytes(whole.begin() + 600, whole.begin() + 622));
}

TEST(Runs, KeepTheirPlaceInMemory) {
  const TimeLimit limit;
  const auto script = scriptOf(blocksOf(pcmFormat(rate, 1, 16), inARow(0, 10), 800));
  const ScriptedFile file(script);
  const DSAudio audio = openAudio(file.name());
  const unsigned char* const run = audio->getSamples(100, 299);
  const int filled = script->samplesFilled;
  EXPECT_EQ(audio->getSamples(100, 299), run);
  EXPECT_EQ(audio->getSamples(120, 150), run + 40);
  EXPECT_EQ(script->samplesFilled, filled);
}

TEST(Runs, AreTheSameInAnyOrderAndFormat) {
  const TimeLimit limit;
  std::mt19937 random = loggedRandom();
  for (const WAVEFORMATEX& format : {pcmFormat(rate, 1, 8), pcmFormat(rate, 2, 8), pcmFormat(rate, 2, 16)}) {
    std::vector<Block> blocks;
    long length = 0;
    for (int i = 0; i < 40; ++i) {
      blocks.push_back({length, between(1, 200, random)});
      length += blocks.back().count;
    }
    const ScriptedStream stream = blocksOf(format, blocks, length);
    const Bytes whole = wholeOf(stream, length, format.nBlockAlign);
    GraphOverride graph;
    const ScriptedFile file(scriptOf(stream));
    const DSAudio audio = openAudio(file.name());
    ASSERT_EQ(audio->duration(), length);
    const auto expectRun = [&](long first, long last) {
      ASSERT_TRUE(runOf(*audio, first, last) ==
                  Bytes(whole.begin() + first * format.nBlockAlign, whole.begin() + (last + 1) * format.nBlockAlign))
          << first << " to " << last;
    };
    for (long first = 0; first < length; first += 50) {
      expectRun(first, std::min(first + 49, length - 1));
    }
    EXPECT_EQ(graph.faults.seeks.size(), 1U) << "reading in order seeks";
    for (int i = 0; i < 150; ++i) {
      const long first = between(0, length - 1, random);
      expectRun(first, between(first, std::min(first + 400, length - 1), random));
    }
  }
}

TEST(Stream, IsDescribed) {
  const TimeLimit limit;
  const WAVEFORMATEX format = pcmFormat(44100, 2, 16);
  const ScriptedFile file(scriptOf(scriptedAudio(format, 10, 441)));
  const DSAudio audio = openAudio(file.name());
  ASSERT_EQ(audio->lastError, 0);
  EXPECT_EQ(audio->duration(), 4410);
  EXPECT_DOUBLE_EQ(audio->msDuration(), 100.0);
  EXPECT_EQ(bytesOf(*audio->format()), bytesOf(format));
  EXPECT_TRUE(audio->usesDirectShow());
  EXPECT_FALSE(audio->isRawData());
  VIDEOINFOHEADER info;
  EXPECT_EQ(audio->videoInfo(info), nullptr);
  for (auto [time, sample] : {std::pair(1000.0, 44100L), {0.0, 0L}, {0.011, 0L}, {0.012, 1L}}) {
    EXPECT_EQ(audio->StreamTimeToSample(time), sample) << time;
  }
  for (long sample : {0L, 1L, 441L, 100000L}) {
    EXPECT_DOUBLE_EQ(audio->StreamSampleToTime(sample), sample * 1000 / 44100.0);
  }
  EXPECT_EQ(audio->lastError, 0);
}

}  // namespace
