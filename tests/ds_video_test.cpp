// Video frames by number, through DirectShow: every way that the search for a frame can go, on scripted streams.

#include <algorithm>
#include <climits>

#include <windows.h>

// Needs windows.h.
#include <evcode.h>

#include <gtest/gtest.h>

#include "support/ds_streams.h"
#include "support/graph_override.h"

using namespace quillet::test;
namespace ds_error = quillet::ds_error;

namespace {

// A power of two of them makes a second, so that all times are exact.
constexpr REFERENCE_TIME frameTime = 312'500;
constexpr double rate = 32.0;

/// A stream that has frames at these times only, in frame periods.
ScriptedStream framesAt(const std::vector<double>& times, double length) {
  ScriptedStream stream = scriptedVideo(4, 2, times.size(), frameTime);
  for (std::size_t i = 0; i < times.size(); ++i) {
    stream.samples[i].start = static_cast<REFERENCE_TIME>(times[i] * frameTime);
    stream.samples[i].stop = stream.samples[i].start + frameTime;
  }
  stream.duration = static_cast<REFERENCE_TIME>(length * frameTime);
  return stream;
}

std::vector<double> upTo(int count) {
  std::vector<double> times(count);
  for (int i = 0; i < count; ++i) {
    times[i] = i;
  }
  return times;
}

/// A request, and what has to come of it.
struct Step {
  long frame;
  long returned;
  long sample;                // Whose picture is returned.
  std::vector<double> seeks;  // Where to, in frame periods.
  int error = 0;
  std::vector<int> config = {};
};

struct Search {
  const char* name;
  std::vector<double> times;
  double length;
  ScriptedStream::Seek seek;
  std::vector<int> keys;  // None: all.
  std::vector<Step> steps;
};

void check(const Search& search) {
  SCOPED_TRACE(search.name);
  GraphOverride graph;
  ScriptedStream stream = framesAt(search.times, search.length);
  stream.seek = search.seek;
  for (std::size_t i = 0; i < stream.samples.size() && !search.keys.empty(); ++i) {
    stream.samples[i].sync = std::find(search.keys.begin(), search.keys.end(), i) != search.keys.end();
  }
  const auto script = scriptOf(stream);
  const ScriptedFile file(script);
  Phases phases;
  const DSVideo video = openVideo(file.name(), 0, &phases);
  ASSERT_EQ(video->lastError, 0);
  ASSERT_EQ(video->duration(), static_cast<long>(search.length));
  int steps = 0;
  for (const Step& step : search.steps) {
    SCOPED_TRACE(testing::Message() << "step " << steps++ << ", frame " << step.frame);
    if (!step.config.empty()) {
      video->config(step.config[0], step.config[1], step.config[2]);
    }
    const int before = phases.counts[2];
    const Bytes bits = frameOf(*video, step.frame, step.returned);
    EXPECT_EQ(video->lastError, step.error);
    EXPECT_TRUE(bits == (step.returned < 0 ? Bytes() : scriptedPayload(step.sample, 24)));
    std::vector<double> seeks;
    for (const LONGLONG position : std::exchange(graph.faults.seeks, {})) {
      seeks.push_back(static_cast<double>(position) / frameTime);
    }
    EXPECT_EQ(seeks, step.seeks);
    // All but the first seek go back; without a frame at the first position the graph is asked nothing more.
    EXPECT_EQ(phases.counts[2] - before, static_cast<int>(std::max<std::size_t>(seeks.size(), 1)) - 1);
  }
}

constexpr double justBefore(int frame) {
  return frame - 1.0 / frameTime;
}

TEST(Search, GoesItsWays) {
  const TimeLimit limit;
  const Search searches[] = {
      {"a full stream",
       upTo(10),
       10,
       landAsAsked,
       {},
       {{5, 5, 5, {5.5}},
        {5, 5, 5, {}},
        {6, 6, 6, {}},
        {7, 7, 7, {}},
        {9, 9, 9, {justBefore(9)}},
        {3, 3, 3, {3.5}},
        {6, 6, 6, {}, 0, {3, 1, 2}},
        {2, 2, 2, {2.5}},
        {6, 6, 6, {6.5}},
        {9, 9, 9, {}},
        {0, 0, 0, {0.5}},
        {1, 1, 1, {}},
        {3, 3, 3, {3.5}, 0, {0, 0, 0}},
        {9, 9, 9, {justBefore(9)}},
        {9, 9, 9, {}},
        {8, 8, 8, {8.5}}}},
      {"one frame", upTo(1), 1, landAsAsked, {}, {{0, 0, 0, {0.0}}, {0, 0, 0, {}}}},
      {"out of range",
       upTo(3),
       3,
       landAsAsked,
       {},
       {{-1, -1, 0, {}, ds_error::parameterOutOfRange},
        {3, -1, 0, {}, ds_error::parameterOutOfRange},
        {LONG_MAX, -1, 0, {}, ds_error::parameterOutOfRange},
        {LONG_MIN, -1, 0, {}, ds_error::parameterOutOfRange},
        {1, 1, 1, {1.5}}}},
      {"missing frames",
       {0, 1, 4, 5, 6, 9},
       10,
       landAsAsked,
       {},
       {{1, 1, 1, {1.5}},
        {2, 1, 1, {}},  // Past the target at once: the frame before stands for it.
        {3, 1, 1, {}},
        {1, 1, 1, {}},
        {4, 4, 2, {}},
        {5, 5, 3, {}},
        {4, 4, 2, {4.5}},
        {3, 1, 1, {3.5}},
        {2, 1, 1, {}},
        {4, 4, 2, {}},
        {6, 6, 4, {6.5}},
        {8, 6, 4, {}, 0, {2, 1, 2}},
        {9, 9, 5, {}},
        {8, 6, 4, {}}}},
      {"late first frame",
       {3, 4, 5},
       6,
       landAsAsked,
       {},
       {{0, 3, 0, {0.5, 0.0}, ds_error::nextFrameReturned},
        {0, 0, 0, {}},
        {1, 0, 0, {}},
        {3, 3, 0, {}},
        {4, 4, 1, {}},
        {2, 3, 0, {2.5, 1.5, 0.0}, ds_error::nextFrameReturned},
        {5, 5, 2, {justBefore(5)}}}},
      {"early end",
       upTo(5),
       10,
       landAsAsked,
       {},
       {{4, 4, 4, {4.5}},
        {5, 4, 4, {}},
        {5, 4, 4, {}},
        {8, 4, 4, {8.5}},
        {9, 4, 4, {justBefore(9)}},
        {9, 4, 4, {justBefore(9)}},
        {3, 3, 3, {3.5}},
        {4, 4, 4, {}}}},
      {"no frame at all",
       {},
       5,
       landAsAsked,
       {},
       {{2, -1, 0, {2.5, 1.5, 0.0}, ds_error::noFrameFound}, {0, -1, 0, {0.5, 0.0}, ds_error::noFrameFound}}},
      {"seeks that fail",
       upTo(5),
       5,
       failToSeek(E_FAIL),
       {},
       {{2, -1, 0, {2.5}, ds_error::unseekableMedia}, {0, -1, 0, {0.5}, ds_error::unseekableMedia}}},
      {"seeks that land late",
       upTo(40),
       40,
       landLater(4),
       {},
       {{20, 20, 20, {20.5, 19.5, 17.5, 13.5}},
        {10, 10, 10, {10.5, 7.5, 0.0}, 0, {1, 3, 3}},
        {20, 20, 20, {20.5, 11.5}, 0, {9, 0, 0}},
        {38, 38, 38, {38.5, 37.5, 35.5, 31.5}, 0, {0, 0, 0}}}},
      {"seeks to the key frame before",
       upTo(20),
       20,
       landOnPreviousKey,
       {0, 5, 15},
       {{7, 7, 7, {7.5}}, {14, 14, 14, {14.5}}, {15, 15, 15, {}}, {4, 4, 4, {4.5}}}},
      {"seeks to the key frame after",
       upTo(20),
       20,
       landOnNextKey,
       {0, 5, 15},
       {{7, 7, 7, {7.5, 6.5, 4.5}}, {15, 15, 15, {15.5}}, {2, 2, 2, {2.5, 1.5, 0.0}}}},
      {"two frames at one time",
       {0, 1, 1, 2},
       3,
       landAsAsked,
       {},
       {{1, 1, 2, {1.5}}, {0, 0, 0, {0.5}}, {1, 1, 1, {}}, {2, 2, 3, {}}}},
      {"a frame at the edge after", {0, 1, 2, 3, 5.5, 7}, 8, landAsAsked, {}, {{5, 3, 3, {5.5, 4.5}}, {6, 6, 4, {}}}},
  };
  for (const Search& search : searches) {
    check(search);
  }
}

TEST(Search, HoldsAtTheEdgeBefore) {
  const TimeLimit limit;
  const auto script = scriptOf(framesAt({0, 1, 2, 3, 4.5, 6, 7}, 8));
  const ScriptedFile file(script);
  const DSVideo video = openVideo(file.name());
  EXPECT_EQ(frameOf(*video, 5, 5), scriptedPayload(4, 24));
  EXPECT_EQ(script->samplesFilled, 1) << "half a frame before its time a frame is there";
  EXPECT_EQ(frameOf(*video, 6, 6), scriptedPayload(5, 24));
  EXPECT_EQ(script->samplesFilled, 2);
}

TEST(Reading, InOrderSeeksOnce) {
  const TimeLimit limit;
  const GraphOverride graph;
  const auto script = scriptOf(framesAt(upTo(100), 100));
  const ScriptedFile file(script);
  const DSVideo video = openVideo(file.name());
  for (long frame = 0; frame < 100; ++frame) {
    ASSERT_TRUE(frameOf(*video, frame) == scriptedPayload(frame, 24)) << frame;
  }
  EXPECT_EQ(graph.faults.seeks.size(), 1U);
  EXPECT_EQ(script->samplesFilled, 100) << "more was decoded than read";
}

TEST(Stream, IsDescribed) {
  const TimeLimit limit;
  const auto script = scriptOf(scriptedVideo(4, 2, 50, 400'000));
  const ScriptedFile file(script);
  const DSVideo video = openVideo(file.name());
  EXPECT_EQ(video->duration(), 50);
  EXPECT_EQ(video->frameRate(), 25.0);
  EXPECT_DOUBLE_EQ(video->msDuration(), 2000.0);
  EXPECT_TRUE(video->usesDirectShow());
  EXPECT_FALSE(video->isRawData());
  for (auto [time, frame] :
       {std::pair(1000.0, 25), {1019.9, 25}, {1020.0, 26}, {0.0, 0}, {-1000.0, -25}, {4000.0, 100}}) {
    EXPECT_EQ(video->StreamTimeToSample(time), frame) << time;
  }
  for (long frame : {0, 1, 50, -3}) {
    EXPECT_DOUBLE_EQ(video->StreamSampleToTime(frame), 40.0 * frame);
  }
  VIDEOINFOHEADER info = {};
  ASSERT_EQ(video->videoInfo(info), &info);
  EXPECT_EQ(info.AvgTimePerFrame, 400'000);
  EXPECT_EQ(info.bmiHeader.biWidth, 4);
  EXPECT_EQ(info.bmiHeader.biSizeImage, 24U);
  Phases phases;
  EXPECT_EQ(video->notify(&phases), nullptr);
  EXPECT_EQ(video->notify(), &phases);
  EXPECT_EQ(video->lastError, 0);
}

TEST(FrameRate, IsFoundByPlayingWhenNothingTellsIt) {
  const TimeLimit limit;
  for (const auto& [times, count] : {std::pair(upTo(9), 9), {{0, 1, 1, 2, 2, 3}, 4}}) {
    ScriptedStream stream = framesAt(times, 77);
    withoutFrameTime(stream);
    const ScriptedFile file(scriptOf(stream));
    Phases phases;
    const DSVideo video = openVideo(file.name(), 0, &phases);
    ASSERT_EQ(video->lastError, 0);
    EXPECT_EQ(video->duration(), count);
    EXPECT_DOUBLE_EQ(video->frameRate(), rate);
    EXPECT_DOUBLE_EQ(video->msDuration(), count / rate * 1000);
    EXPECT_EQ(phases.counts, std::vector<int>({static_cast<int>(times.size()), 1, 0, 0}));
    EXPECT_EQ(frameOf(*video, 0), scriptedPayload(0, 24));
    EXPECT_EQ(frameOf(*video, 1), scriptedPayload(1, 24));
    EXPECT_EQ(frameOf(*video, count - 1), scriptedPayload(times.size() - 1, 24));
    EXPECT_EQ(frameOf(*video, 0), scriptedPayload(0, 24));
  }
  const quillet::KernelHandle never(CreateEventA(nullptr, TRUE, FALSE, nullptr));
  ScriptedStream aborted = framesAt(upTo(9), 9);
  aborted.samples[5].event = EC_ERRORABORT;
  aborted.samples[6].waitFor = never.get();
  for (ScriptedStream stream : {framesAt({}, 9), framesAt({0}, 9), framesAt({0, 0, 0}, 9), aborted}) {
    withoutFrameTime(stream);
    const auto script = scriptOf(stream);
    const ScriptedFile file(script);
    Phases phases;
    EXPECT_EQ(openVideo(file.name(), 0, &phases)->lastError, ds_error::cannotRetrieveFrameRate);
    EXPECT_EQ(phases.counts[1], 1);
    EXPECT_EQ(script->filters, 0);
  }
}

}  // namespace
