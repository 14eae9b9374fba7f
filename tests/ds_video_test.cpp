// Video frames by number, through DirectShow: every way that the search for a frame can go, on scripted streams.

#include "support/ds_streams.h"
#include "support/graph_override.h"

// Needs windows.h.
#include <evcode.h>

using namespace quillet::test;
namespace ds_error = quillet::ds_error;

namespace {

// A power of two of them makes a second, so that all times are exact.
constexpr REFERENCE_TIME frameTime = 312'500;
constexpr double rate = 32.0;

/// A request, and what has to come of it: the frame of that number with its own picture, unless said.
struct Step : Expectation<Step> {
  Step(long number) : asked(number), returned(number), picture(number) {}  // NOLINT: a number alone is the usual step.
  Step& gives(long number, long sample) { return returned = number, picture = sample, *this; }
  Step& fails(int code) { return returned = -1, leaves(code); }

  long asked, returned, picture;
};

/// Reads from a stream that has frames at `times`.
/// @param keys which samples are key frames; none: all.
void check(const char* name, const std::vector<double>& times, double length, const std::vector<Step>& steps,
           const ScriptedStream::Seek& seek = landAsAsked, const std::set<std::size_t>& keys = {}) {
  SCOPED_TRACE(name);
  GraphOverride graph;
  ScriptedStream stream = framesAt(times, length, frameTime);
  stream.seek = seek;
  for (std::size_t i = 0; i < stream.samples.size(); ++i) {
    stream.samples[i].sync = keys.empty() || keys.contains(i);
  }
  const PlayedVideo video(stream);
  ASSERT_EQ(video->lastError, 0);
  ASSERT_EQ(video->duration(), static_cast<long>(length));
  video->setFrameBudget(0);
  video->config(0, 0, 0);
  for (const Step& step : steps) {
    SCOPED_TRACE(testing::Message() << "step " << &step - steps.data() << ", frame " << step.asked);
    if (!step.config.empty()) {
      video->config(step.config[0], step.config[1], step.config[2]);
    }
    const int before = video.phases.counts[2];
    const Bytes bits = frameOf(*video, step.asked, step.returned);
    EXPECT_EQ(video->lastError, step.error);
    EXPECT_TRUE(bits == (step.returned < 0 ? Bytes() : scriptedPayload(step.picture, 24)));
    const auto seeked = graph.takeSeeks(frameTime);
    EXPECT_EQ(seeked, step.seeked);
    EXPECT_TRUE(seeked.empty() || graph.faults.seekEnd == stream.duration);
    EXPECT_LE(graph.faults.runs.exchange(0), static_cast<int>(seeked.size())) << "what has ended is run again";
    // All but the first seek go back; without a frame at the first position the graph is asked nothing more.
    EXPECT_EQ(video.phases.counts[2] - before, static_cast<int>(std::max<std::size_t>(seeked.size(), 1)) - 1);
  }
}

constexpr double justBefore(int frame) {
  return frame - 1.0 / frameTime;
}

TEST(Search, SeeksOrReadsOn) {
  check("a full stream", upTo<double>(10), 10,
        {Step(5).seeks(5.5), 5, 6, 7, Step(9).seeks(justBefore(9)), Step(3).seeks(3.5), Step(6).tuned(3, 1, 2),
         Step(2).seeks(2.5), Step(6).seeks(6.5), 9, Step(0).seeks(0.5), 1, Step(3).tuned(0, 0, 0).seeks(3.5),
         Step(9).seeks(justBefore(9)), 9, Step(8).seeks(8.5)});
  check("one frame", upTo<double>(1), 1, {Step(0).seeks(0), 0});
}

TEST(Search, TakesTheFrameBefore) {
  check("missing frames", {0, 1, 4, 5, 6, 9}, 10,
        {Step(1).seeks(1.5), Step(2).gives(1, 1),  // Past the target at once: the frame before stands for it.
         Step(3).gives(1, 1), 1, Step(4).gives(4, 2), Step(5).gives(5, 3), Step(4).gives(4, 2).seeks(4.5),
         Step(3).gives(1, 1).seeks(3.5), Step(2).gives(1, 1), Step(4).gives(4, 2), Step(6).gives(6, 4).seeks(6.5),
         Step(8).gives(6, 4).tuned(2, 1, 2), Step(9).gives(9, 5), Step(8).gives(6, 4)});
  check("early end", upTo<double>(5), 10,
        {Step(4).seeks(4.5), Step(5).gives(4, 4), Step(5).gives(4, 4), Step(8).gives(4, 4).seeks(8.5),
         Step(9).gives(4, 4).tuned(9, 1, 2), Step(9).gives(4, 4).tuned(1, 1, 2).seeks(justBefore(9)),
         Step(9).gives(4, 4).seeks(justBefore(9)), Step(9).gives(4, 4).seeks(justBefore(9)), Step(3).seeks(3.5), 4});
  check("two frames at one time", {0, 1, 1, 2}, 3,
        {Step(1).gives(1, 2).seeks(1.5), Step(0).seeks(0.5), 1, Step(2).gives(2, 3)});
  check("a frame at the edge after", {0, 1, 2, 3, 5.5, 7}, 8,
        {Step(5).gives(3, 3).seeks(5.5, 4.5), Step(6).gives(6, 4)});
}

TEST(Search, TakesTheNextFrameWhenThereIsNoneBefore) {
  check("late first frame", {3, 4, 5}, 6,
        {Step(0).gives(3, 0).seeks(0.5, 0).leaves(ds_error::nextFrameReturned), 0, Step(1).gives(0, 0),
         Step(3).gives(3, 0), Step(4).gives(4, 1),
         Step(2).gives(3, 0).seeks(2.5, 1.5, 0).leaves(ds_error::nextFrameReturned),
         Step(5).gives(5, 2).seeks(justBefore(5))});
  check(
      "no frame at all", {}, 5,
      {Step(2).seeks(2.5, 1.5, 0).fails(ds_error::noFrameFound), Step(0).seeks(0.5, 0).fails(ds_error::noFrameFound)});
}

TEST(Search, GoesBackFromSeeksThatMiss) {
  check("seeks that fail", upTo<double>(5), 5,
        {Step(2).seeks(2.5).fails(ds_error::unseekableMedia), Step(0).seeks(0.5).fails(ds_error::unseekableMedia)},
        failToSeek);
  check("seeks that land late", upTo<double>(40), 40,
        {Step(20).seeks(20.5, 19.5, 17.5, 13.5), Step(10).tuned(1, 3, 3).seeks(10.5, 7.5, 0),
         Step(20).tuned(9, 0, 0).seeks(20.5, 11.5), Step(38).tuned(0, 0, 0).seeks(38.5, 37.5, 35.5, 31.5)},
        landLater(4));
  check("seeks to the key frame before", upTo<double>(20), 20,
        {Step(7).seeks(7.5), Step(14).seeks(14.5), 15, Step(4).seeks(4.5)}, landOnPreviousKey, {0, 5, 15});
}

TEST(Search, KnowsShortFramesFromCutOnes) {
  ScriptedStream stream = framesAt<double>(upTo<double>(20), 20, frameTime);
  for (ScriptedSample& sample : stream.samples) {
    *sample.stop -= frameTime * 3 / 4;
  }
  const PlayedVideo video(stream);
  for (const long frame : {5, 6, 2, 12}) {
    EXPECT_EQ(frameOf(*video, frame), scriptedPayload(frame, 24));
  }
}

TEST(Search, HoldsAtTheEdgeBefore) {
  const PlayedVideo video(framesAt<double>({0, 1, 2, 3, 4.5, 6, 7}, 8, frameTime));
  EXPECT_EQ(frameOf(*video, 5, 5), scriptedPayload(4, 24));
  EXPECT_EQ(video.script->samplesFilled, 1) << "half a frame before its time a frame is there";
  EXPECT_EQ(frameOf(*video, 6, 6), scriptedPayload(5, 24));
  EXPECT_EQ(video.script->samplesFilled, 2);
}

TEST(Kept, FramesMakeNoDifference) {
  std::mt19937 random = loggedRandom();
  std::vector<double> times;
  for (double time = 3; time < 190; time += time < 90 ? 1.0 : static_cast<double>(between(1, 4, random))) {
    times.push_back(time);
  }
  const auto length = static_cast<long>(times.back()) + 2;
  ScriptedStream stream = framesAt(times, length, frameTime);
  for (std::size_t i = 0; i < stream.samples.size(); ++i) {
    stream.samples[i].sync = i % 40 == 0;
  }
  for (const auto& seek : {ScriptedStream::Seek(landAsAsked), ScriptedStream::Seek(landOnPreviousKey), landLater(4)}) {
    stream.seek = seek;
    for (const long long budget : {-1, 1000}) {
      const PlayedVideo without(stream);
      const PlayedVideo video(stream);
      without->setFrameBudget(0);
      video->setFrameBudget(budget);
      for (const long frame : wanderings(length, 100, random)) {
        long returned = frame;
        long expected = frame;
        const Bytes picture = pictureOf(*without, expected);
        ASSERT_TRUE(pictureOf(*video, returned) == picture) << frame;
        ASSERT_EQ(std::pair(returned, video->lastError), std::pair(expected, without->lastError)) << frame;
      }
    }
  }
}

TEST(Kept, FramesAreNotSoughtAgain) {
  // Frames that a budget holds, and how often 100 steps back, then 100 in three places in turn, may seek.
  for (const auto& [held, back, inTurn] : {std::tuple(-1, 10, 1), {40, 12, 1}, {2, 100, 1}, {0, 100, 35}}) {
    GraphOverride graph;
    const PlayedVideo video(framesAt(upTo<double>(120), 120, frameTime));
    video->setFrameBudget(held * 120);
    for (long frame = 110; frame > 10; --frame) {
      frameOf(*video, frame);
    }
    EXPECT_LE(graph.takeSeeks(frameTime).size(), back) << held;
    for (long i = 0; i < 100; ++i) {
      frameOf(*video, 50 + i % 3);
    }
    EXPECT_LE(graph.takeSeeks(frameTime).size(), inTurn) << held;
  }
}

TEST(FrameRate, IsFoundByPlayingWhenNothingTellsIt) {
  for (const auto& [times, count] : {std::pair(upTo<double>(9), 9), {{0, 1, 1, 2, 2, 3}, 4}}) {
    ScriptedStream stream = framesAt<double>(times, 77, frameTime);
    withoutFrameTime(stream);
    const PlayedVideo video(stream);
    ASSERT_EQ(video->lastError, 0);
    EXPECT_EQ(video->duration(), count);
    EXPECT_DOUBLE_EQ(video->frameRate(), rate);
    EXPECT_DOUBLE_EQ(video->msDuration(), count / rate * 1000);
    EXPECT_EQ(video.phases.counts, std::vector<int>({static_cast<int>(times.size()), 1, 0, 0}));
    EXPECT_EQ(frameOf(*video, count - 1), scriptedPayload(times.size() - 1, 24));
  }
  const quillet::KernelHandle never = manualEvent();
  ScriptedStream aborted = framesAt<double>(upTo<double>(9), 9, frameTime);
  aborted.samples[5].event = EC_ERRORABORT;
  aborted.samples[6].waitFor = never.get();
  ScriptedStream broken = framesAt<double>(upTo<double>(9), 9, frameTime);
  broken.samples[5].failure = E_FAIL;
  for (ScriptedStream stream : {framesAt<double>({}, 9, frameTime), framesAt<double>({0}, 9, frameTime),
                                framesAt<double>({0, 0, 0}, 9, frameTime), aborted, broken}) {
    withoutFrameTime(stream);
    const PlayedVideo video(stream);
    EXPECT_EQ(video->lastError, ds_error::cannotRetrieveFrameRate);
    EXPECT_EQ(video.phases.counts[1], 1);
  }
}

}  // namespace
