// The filter graph behind the DirectShow sources: how it is built and fails to be, how it ends, whatever it was at, and
// what comes out of it for real files.

#include <windows.h>

// Needs windows.h.
#include <evcode.h>

#include "support/ds_streams.h"
#include "support/graph_override.h"
#include "support/leak_check.h"
#include "support/unused_interfaces.h"
#include "support/wine_gaps.h"
#include "support/writing.h"

using Microsoft::WRL::ComPtr;
using namespace quillet::test;
using quillet::CBaseFilter;
using quillet::KernelHandle;
using quillet::WithInterfaces;
namespace ds_error = quillet::ds_error;

namespace {

constexpr REFERENCE_TIME frameTime = 312'500;
using wine_gap::blocksOfAnIdleGraph;
const WAVEFORMATEX mono = pcmFormat(8000, 1, 16);

ScriptedStream video(std::size_t frames = 20, long width = 8) {
  return scriptedVideo(width, 2, frames, frameTime);
}

void expectFrame(const PlayedVideo& stream, long frame) {
  ASSERT_TRUE(frameOf(*stream, frame) == scriptedPayload(frame, stream.script->streams[0].samples[frame].size))
      << frame;
  ASSERT_EQ(stream->lastError, 0);
}

/// A filter without pins.
struct BareFilter : CBaseFilter {
  explicit BareFilter(IUnknown* outer = nullptr) : CBaseFilter(outer, CLSID_NULL) {}
};

using BareGrabber = UnusedGrabber<WithInterfaces<BareFilter, ISampleGrabber>>;

template <class Filter>
HRESULT make(REFIID iid, void** object) {
  return ComPtr<IBaseFilter>(new Filter).CopyTo(iid, object);
}

void expectRefused(SourceStream& stream, int code, const char* what = "") {
  EXPECT_EQ(stream.lastError, code) << what;
  EXPECT_TRUE(stream.lastErrorIsFatal()) << what;
  EXPECT_TRUE(failed(stream.duration(), stream, ds_error::notOpened));
  EXPECT_TRUE(failed(stream.msDuration(), stream, ds_error::notOpened));
}

TEST(Opening, EachFailureHasItsCodeAndLeavesNothing) {
  const auto nothing = [](REFIID, void**) { return E_FAIL; };
  const struct {
    int code;
    HRESULT GraphFaults::*failing = &GraphFaults::setPositions;  // Which is not asked for.
    IID missing = {};
    CLSID replaced = {};
    ClassObjectOverride::Create by = make<BareFilter>;
  } cases[] = {
      {.code = ds_error::noGraphBuilder, .failing = &GraphFaults::create},
      {.code = ds_error::noMediaSeeking, .missing = IID_IMediaSeeking},
      {.code = ds_error::noMediaControl, .missing = IID_IMediaControl},
      {.code = ds_error::noMediaEvent, .missing = IID_IMediaEvent},
      {.code = ds_error::mediaTimeRejected, .failing = &GraphFaults::setTimeFormat},
      {.code = ds_error::undefinedStreamDuration, .failing = &GraphFaults::getDuration},
      {.code = ds_error::noSampleGrabber, .replaced = CLSID_SampleGrabber, .by = nothing},
      {.code = ds_error::noSampleGrabber, .replaced = CLSID_SampleGrabber},
      {.code = ds_error::cannotSetMediaType, .replaced = CLSID_SampleGrabber, .by = make<BareGrabber>},
      {.code = ds_error::noNullRenderer, .replaced = CLSID_NullRenderer, .by = nothing},
      {.code = ds_error::cannotConnectFilters, .replaced = CLSID_NullRenderer},
  };
  const auto runThrough = [&] {
    for (const auto& c : cases) {
      SCOPED_TRACE(c.code);
      GraphOverride graph;
      graph.faults.*c.failing = E_FAIL;
      graph.faults.missing = {c.missing};
      const ClassObjectOverride replacing(c.replaced, c.by);
      expectRefused(*PlayedVideo(video()), c.code);
      EXPECT_EQ(graph.faults.graphs, 0);
    }
  };
  constexpr long graphs = std::size(cases) - 1;  // The first has none.
  EXPECT_TRUE(leavesNothingBehind(runThrough, graphs * blocksOfAnIdleGraph, graphs * wine_gap::handlesOfAGraph, 5));

  using Header = VIDEOINFOHEADER;
  const std::function<void(AM_MEDIA_TYPE&, Header&)> spoilings[] = {
      [](auto&, Header& format) { format.bmiHeader.biBitCount = 32; },  // Of a type that has 24.
      [](auto&, Header& format) { format.bmiHeader.biWidth = 0; },
      [](auto&, Header& format) { format.bmiHeader.biSize = 0x40000000; },
      [](AM_MEDIA_TYPE& type, auto&) { type.formattype = FORMAT_MPEGVideo; },
      [](AM_MEDIA_TYPE& type, auto&) { type.cbFormat = sizeof(Header) - 1; },
  };
  for (const auto& spoil : spoilings) {
    ScriptedStream spoiled = video();
    spoil(spoiled.type, *reinterpret_cast<Header*>(spoiled.type.pbFormat));
    expectRefused(*PlayedVideo(spoiled), ds_error::improperStreamFormat);
  }
}

TEST(Opening, RefusesFilesThatAreNoStreams) {
  const TempFile text(".txt", Bytes(500, 'x'));
  const GraphOverride graph;
  for (const char* const name : {"C:\\missing.avi", "", static_cast<const char*>(nullptr)}) {
    expectRefused(*openVideo(name), ds_error::cannotOpenSourceFile, name);
    expectRefused(*openAudio(name), ds_error::cannotOpenSourceFile, name);
  }
  expectRefused(*openVideo(text.name()), ds_error::cannotConnectFilters, "text");
  const ScriptedFile silent(scriptOf(video()));
  expectRefused(*openAudio(silent.name()), ds_error::cannotConnectFilters, "no sound");
  auto notPcm = scriptedAudio(mono, 3, 80);
  reinterpret_cast<WAVEFORMATEX*>(notPcm.type.pbFormat)->wFormatTag = WAVE_FORMAT_IEEE_FLOAT;
  expectRefused(*PlayedAudio(notPcm), ds_error::improperStreamFormat, "sound that is not PCM");
  // Neither with further streams, nor with a splitter that could have any.
  const auto script = scriptOf(video());
  script->streams.push_back(scriptedAudio(mono, 3, 80));
  const ScriptedFile both(script);
  for (const int number : {-1, 1}) {
    expectRefused(*openVideo(both.name(), number), ds_error::cannotConnectFilters, "no such stream");
    expectRefused(*openAudio(both.name(), number), ds_error::cannotConnectFilters, "no such stream");
  }
  const auto round = [&] { expectRefused(*openVideo(silent.name(), 1), ds_error::noOutputPin, "one stream"); };
  EXPECT_TRUE(leavesNothingBehind(round, blocksOfAnIdleGraph, wine_gap::handlesOfAGraph, 25));
  EXPECT_EQ(graph.faults.graphs, 0);
}

TEST(Opening, WarnsOfAClockThatStays) {
  GraphOverride graph;
  graph.faults.missing = {IID_IMediaFilter};
  const PlayedAudio stream(scriptedAudio(mono, 5, 80));
  EXPECT_EQ(stream->lastError, ds_error::cannotChangeReferenceClock);
  EXPECT_FALSE(stream->lastErrorIsFatal());
  EXPECT_EQ(runOf(*stream, 80, 159), scriptedPayload(1, 160));
  EXPECT_EQ(stream->lastError, 0);
}

TEST(Running, FailuresHaveCodesAndPass) {
  const std::pair<HRESULT GraphFaults::*, int> cases[] = {{&GraphFaults::run, ds_error::cannotRunGraph},
                                                          {&GraphFaults::stop, ds_error::cannotStopGraph},
                                                          {&GraphFaults::getState, ds_error::getStateFailed},
                                                          {&GraphFaults::setPositions, ds_error::unseekableMedia}};
  for (const auto& [fault, code] : cases) {
    GraphOverride graph;
    for (const bool deletedAtOnce : {false, true}) {
      graph.faults.*fault = S_OK;
      const PlayedVideo stream(video());
      expectFrame(stream, 5);
      graph.faults.*fault = E_FAIL;
      long frame = 1;
      EXPECT_TRUE(failed(stream->getFrameBits(frame), *stream, code));
      EXPECT_EQ(frame, -1);
      if (!deletedAtOnce) {
        graph.faults.*fault = S_OK;
        expectFrame(stream, 6);  // The neighbour of the last one found.
        expectFrame(stream, 1);
      }
    }
    EXPECT_EQ(graph.faults.graphs, 0) << code;
  }
}

/// A stream that breaks off at sample 10, by an event or a failure: the source then waits until it is stopped.
ScriptedStream aborted(ScriptedStream stream, long event, const KernelHandle& never) {
  stream.samples[10].event = event;
  stream.samples[10].failure = event == 0 ? E_FAIL : S_OK;
  stream.samples[11].waitFor = never.get();
  return stream;
}

TEST(Aborts, FailTheReadAndTellNothingOfTheStream) {
  const KernelHandle never = manualEvent();
  for (const long event : {0, EC_ERRORABORT, EC_USERABORT, EC_ERRORABORTEX, EC_STREAM_ERROR_STOPPED}) {
    SCOPED_TRACE(event);
    const PlayedVideo stream(aborted(video(40), event, never));
    stream->setFrameBudget(0);
    for (int i = 0; i < 10; ++i) {
      stream->config(100, 1, 2);
      expectFrame(stream, 3);
      EXPECT_TRUE(failed(stream->findFrame(20), *stream, ds_error::dataNotFound));
      expectFrame(stream, 9);
      stream->config(1, 1, 2);
      expectFrame(stream, 15);  // From beyond the abort.
      expectFrame(stream, 16);
    }
    const PlayedAudio sound(aborted(scriptedAudio(mono, 40, 80), event, never));
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(runOf(*sound, 1600, 1679), scriptedPayload(20, 160));
      EXPECT_TRUE(failed(sound->getSamples(700, 1000), *sound, ds_error::dataNotFound));
    }
  }
}

TEST(Aborts, InAStormGiveNoFalsePicture) {
  const std::vector<Bytes> frames = framesOf(*PlayedVideo(scriptedVideo(640, 480, 30, frameTime)));
  const GraphOverride graph;
  const PlayedVideo stream(scriptedVideo(640, 480, 30, frameTime));
  std::atomic<bool> isOver = false;
  const Thread storm([&] {
    for (int i = 0; !isOver; ++i) {
      graph.notify(i % 4 == 0 ? EC_COMPLETE : EC_ERRORABORT);
      Sleep(static_cast<DWORD>(i % 3));
    }
  });
  std::mt19937 random = loggedRandom();
  int found = 0;
  constexpr int enough = 10;  // On a busy machine most reads meet an abort.
  for (int i = 0; i < 400 || (found < enough && i < 4000); ++i) {
    long frame = between(0, 29, random);
    const unsigned char* const bits = stream->getFrameBits(frame);
    const int code = stream->lastError;
    ASSERT_TRUE(bits != nullptr || code == ds_error::dataNotFound || code == ds_error::noFrameFound) << code;
    ASSERT_TRUE(bits == nullptr || std::equal(frames[frame].begin(), frames[frame].end(), bits)) << frame;
    found += bits != nullptr;
  }
  isOver = true;
  EXPECT_GE(found, enough);
}

TEST(Stopping, EndsAnOpeningAtOnce) {
  const KernelHandle never = manualEvent();
  ScriptedStream frames = video(9);
  withoutFrameTime(frames);
  ScriptedStream blocks = scriptedAudio(mono, 9, 80);
  reinterpret_cast<WAVEFORMATEX*>(blocks.type.pbFormat)->wFormatTag = WAVE_FORMAT_MULAW;
  for (const int step : {3, 10}) {  // While the stream is played, which then goes on for long; and behind that.
    frames.samples[5].waitFor = blocks.samples[5].waitFor = step == 3 ? never.get() : nullptr;
    const auto expectStopped = [&](const ScriptedStream& played, const auto& open) {
      const auto script = scriptOf(played);
      const ScriptedFile file(script);
      Stopping sink(step);
      expectRefused(*std::unique_ptr<SourceStream>(open(file.name(), &sink)), ds_error::stoppedByNotification);
      EXPECT_LT(GetTickCount64() - sink.stopped, 200U) << "the stream was opened and deleted";
      EXPECT_EQ(script->filters, 0);
    };
    expectStopped(frames, [](auto name, auto sink) { return DSVideoSourceStream::open(name, 0, sink); });
    expectStopped(frames, [](auto name, auto sink) { return DSRawDataSourceStream::open(name, true, 0, sink); });
    expectStopped(blocks, [](auto name, auto sink) { return DSRawDataSourceStream::open(name, false, 0, sink); });
  }
}

/// Stops searches in a stream whose seeks land late.
/// @param read gives what there is at the time of a frame, or null.
void expectStops(const auto& stream, const auto& read) {
  const auto isRight = [&](long number) {
    const ScriptedStream& played = stream.script->streams[0];
    const std::size_t sample = played.sampleAt(number * frameTime);
    const Bytes expected = scriptedPayload(sample, played.samples[sample].size);
    const BYTE* const data = read(*stream, number);
    return data != nullptr && std::equal(expected.begin(), expected.end(), data);
  };
  for (const int step : {1, 2}) {
    EXPECT_TRUE(isRight(30) && isRight(31));
    Stopping sink(step);
    stream->notify(&sink);
    EXPECT_TRUE(failed(read(*stream, 20), *stream, ds_error::stoppedByNotification));
    stream->notify(nullptr);
    EXPECT_TRUE(isRight(32) && isRight(20) && stream->lastError == 0);
  }
}

TEST(Stopping, OfASearchLeavesTheNextReadAlone) {
  ScriptedStream blocks = scriptedAudio(mono, 40, 250);
  ScriptedStream frames = video(40);
  blocks.seek = frames.seek = landLater(4);
  expectStops(PlayedAudio(blocks), [](auto& stream, long at) { return stream.getSamples(at * 250, at * 250 + 249); });
  expectStops(Played<DSRawDataSourceStream>(frames, true), [](auto& stream, long at) {
    long samples = 0, bytes = 0;
    bool key = false;
    return stream.getData(at, samples, bytes, key);
  });
  frames.samples.erase(frames.samples.begin() + 31);  // For two frames to be kept at the gap.
  const PlayedVideo pictures(frames);
  pictures->setFrameBudget(0);
  expectStops(pictures, [](auto& stream, long at) { return stream.getFrameBits(at); });
}

TEST(Viewers, CannotKeepAReaderWaiting) {
  const KernelHandle reached = manualEvent();
  const KernelHandle never = manualEvent();
  ScriptedStream stalling = video();
  stalling.samples[12].reached = reached.get();
  stalling.samples[12].waitFor = never.get();
  const GraphOverride graph;
  const PlayedVideo stream(stalling);
  {
    const Thread viewer([&] {
      WaitForSingleObject(reached.get(), INFINITE);
      graph.stop();
    });
    EXPECT_TRUE(failed(stream->findFrame(12), *stream, ds_error::cannotRunGraph));
  }
  expectFrame(stream, 3);
  graph.pause();
  expectFrame(stream, 4);
}

TEST(Deleting, InEveryStateLeavesNothingBehind) {
  const KernelHandle never = manualEvent();
  GraphOverride graph;
  const std::function<void(DSVideoSourceStream&)> states[] = {
      [](auto&) {},                                // Opened only.
      [](auto& stream) { stream.findFrame(3); },   // Holding.
      [](auto& stream) { stream.findFrame(39); },  // Holding the last frame.
      [](auto& stream) { stream.findFrame(50); },  // Ended.
      [](auto& stream) { stream.findFrame(50), stream.findFrame(50), stream.findFrame(51); },
      [](auto& stream) { stream.findFrame(50), stream.findFrame(2); },  // A seek after the end.
      [](auto& stream) { stream.findFrame(3), stream.findFrame(1); },   // A seek while holding.
      [](auto& stream) { stream.config(90, 1, 2), stream.findFrame(9), stream.findFrame(20); },  // Aborted.
      [&](auto& stream) { stream.findFrame(3), graph.notify(EC_USERABORT); },
      [&](auto& stream) { stream.findFrame(3), graph.notify(EC_COMPLETE); },
      [&](auto& stream) { graph.faults.run = E_FAIL, stream.findFrame(3); },
  };
  const auto script = scriptOf(aborted(video(40), EC_ERRORABORT, never));
  script->streams[0].duration = 60 * frameTime;
  const ScriptedFile file(script);
  const ScriptedFile sound(scriptOf(scriptedAudio(mono, 10, 80)));
  const auto round = [&] {
    for (const auto& bringAbout : states) {
      const DSVideo stream = openVideo(file.name());
      ASSERT_EQ(stream->duration(), 60) << stream->lastError;
      bringAbout(*stream);
      graph.faults.run = S_OK;
    }
    const DSAudio samples = openAudio(sound.name());
    ASSERT_EQ(runOf(*samples, 80, 159), scriptedPayload(1, 160));
    ASSERT_EQ(runOf(*samples, 400, 479), scriptedPayload(5, 160));
  };
  constexpr long graphs = std::size(states) + 1;
  const long blocks = 2 * blocksOfAnIdleGraph + (graphs - 2) * wine_gap::blocksOfAGraph;
  EXPECT_TRUE(leavesNothingBehind(round, blocks, graphs * wine_gap::handlesOfAGraph, 22));
  EXPECT_EQ(graph.faults.graphs + script->filters, 0);
  EXPECT_EQ(script->threadsStarted, script->threadsEnded);
}

long falseFrames(const char* file) {
  const std::string name = mediaFile(file);
  return differingFrames(*openVideo(name.c_str()), framesOf(*openVideo(name.c_str())), 100);
}

TEST(RealVideo, IsTheSameInAnyOrder) {
  for (const char* const name : {"ds_raw.avi", "ds_mjpeg.avi", "cinepak.avi"}) {
    EXPECT_EQ(falseFrames(name), 0) << name;
  }
  // How many there are depends on the random order: from a sixth to half of them were seen.
  EXPECT_EQ(falseFrames("ds_mpeg4.avi") > 0, wine_gap::splitterFalsifiesTimes);
  EXPECT_LT(falseFrames("ds_h264.mp4"), 25) << "more than the gap explains";
}

// Neither decodes to the same bits each time: nearly must do for the one, that there is sound for the other.
TEST(RealAudio, IsDecoded) {
  for (const char* const name : {"ds_sound.mp3", "ds_h264.mp4"}) {
    const DSAudio stream = openAudio(mediaFile(name).c_str());
    ASSERT_EQ(stream->lastError, 0) << name;
    EXPECT_EQ(stream->format()->nSamplesPerSec, 44100U);
    EXPECT_NEAR(stream->duration(), 1.2 * 44100, 4000) << name;
    const Bytes whole = runOf(*openAudio(mediaFile(name).c_str()), 0, stream->duration() - 1);
    for (long first = 48000; first > 2000; first -= 4001) {
      const Bytes run = runOf(*stream, first, first + 999);
      EXPECT_EQ(stream->lastError, 0);
      EXPECT_GT(std::set<std::uint8_t>(run.begin(), run.end()).size(), 100U) << name << ": silence at " << first;
      const auto* const values = reinterpret_cast<const std::int16_t*>(run.data());
      const auto* const expected = reinterpret_cast<const std::int16_t*>(&whole[first * stream->format()->nBlockAlign]);
      int farthest = 0;
      for (std::size_t at = 0; at < run.size() / 2; ++at) {
        farthest = std::max(farthest, std::abs(values[at] - expected[at]));
      }
      EXPECT_LE(farthest, name == std::string("ds_sound.mp3") ? 4 : 65535) << "the decoder starts cold at " << first;
    }
  }
}

}  // namespace
