// The filter graph behind the DirectShow sources: how it is built and fails to be, how it ends, whatever it was at, and
// what comes out of it for real files.

#include <algorithm>
#include <functional>
#include <random>
#include <set>

#include <windows.h>

// Need windows.h.
#include <evcode.h>
#include <tlhelp32.h>

#include "directshow/base/c_base_filter.h"
#include "directshow/graph/sample_grabber.h"
#include "support/avi_builder.h"
#include "support/ds_streams.h"
#include "support/graph_override.h"
#include "support/leak_check.h"
#include "support/random.h"
#include "support/wine_gaps.h"

using Microsoft::WRL::ComPtr;
using namespace quillet::test;
using quillet::CBaseFilter;
using quillet::KernelHandle;
using quillet::WithInterfaces;
namespace ds_error = quillet::ds_error;

namespace {

constexpr REFERENCE_TIME frameTime = 312'500;
const WAVEFORMATEX mono = pcmFormat(8000, 1, 16);

ScriptedStream video(std::size_t frames = 20, long width = 8) {
  return scriptedVideo(width, 2, frames, frameTime);
}

void expectFrame(DSVideo& stream, const Script& script, long frame) {
  ASSERT_TRUE(frameOf(*stream, frame) == scriptedPayload(frame, script.streams[0].samples[frame].size)) << frame;
  ASSERT_EQ(stream->lastError, 0);
}

std::size_t threads() {
  const KernelHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
  THREADENTRY32 entry = {};
  entry.dwSize = sizeof entry;
  std::size_t count = 0;
  for (BOOL more = Thread32First(snapshot.get(), &entry); more; more = Thread32Next(snapshot.get(), &entry)) {
    count += entry.th32OwnerProcessID == GetCurrentProcessId();
  }
  return count;
}

/// Runs `round` several times, each time with so many graphs. Only what these leave behind themselves may be left.
testing::AssertionResult leavesOnlyGraphs(long rounds, long graphs, const std::function<void()>& round) {
  const Holdings before = currentHoldings();
  const std::size_t threadsBefore = threads();
  for (long i = 0; i < rounds; ++i) {
    round();
  }
  // The platform's pool keeps threads, with their blocks, until they have been idle for some seconds.
  const ULONGLONG end = GetTickCount64() + 15000;
  while (threads() > threadsBefore + 1 && GetTickCount64() < end) {
    Sleep(50);
  }
  const Holdings after = currentHoldings();
  const long handles = static_cast<long>(after.handles - before.handles) - rounds * graphs * wine_gap::handlesOfAGraph;
  const long blocks = static_cast<long>(after.blocks - before.blocks) - rounds * graphs * wine_gap::blocksOfAGraph;
  const long threadsLeft = static_cast<long>(threads() - threadsBefore);
  if (handles != 0 || blocks > 20 + rounds / 10 || threadsLeft > 1) {
    return testing::AssertionFailure() << rounds << " rounds left " << handles << " handles, " << blocks
                                       << " heap blocks and " << threadsLeft << " threads";
  }
  return testing::AssertionSuccess();
}

TEST(Streams, AreChosenByNumber) {
  const TimeLimit limit;
  const auto script = scriptOf(video(3, 8));
  script->streams.push_back(scriptedAudio(mono, 3, 80));
  script->streams.push_back(video(3, 4));
  script->streams.push_back(scriptedAudio(pcmFormat(16000, 1, 16), 3, 80));
  const ScriptedFile file(script);
  for (const int number : {0, 1}) {
    const DSVideo pictures = openVideo(file.name(), number);
    ASSERT_EQ(pictures->lastError, 0);
    EXPECT_EQ(pictures->format()->biWidth, number == 0 ? 8 : 4);
    EXPECT_EQ(frameOf(*pictures, 2), scriptedPayload(2, static_cast<long>(pictures->format()->biSizeImage)));
    const DSAudio sound = openAudio(file.name(), number);
    ASSERT_EQ(sound->lastError, 0);
    EXPECT_EQ(sound->format()->nSamplesPerSec, number == 0 ? 8000U : 16000U);
    EXPECT_EQ(runOf(*sound, 80, 159), scriptedPayload(1, 160));
  }
  for (const int number : {-1, 2}) {
    EXPECT_EQ(openVideo(file.name(), number)->lastError, ds_error::cannotConnectFilters);
    EXPECT_EQ(openAudio(file.name(), number)->lastError, ds_error::cannotConnectFilters);
  }
  const ScriptedFile single(scriptOf(video()));
  EXPECT_EQ(openVideo(single.name(), 1)->lastError, ds_error::noOutputPin) << "no splitter with further streams";
  EXPECT_EQ(script->filters, 0);
}

TEST(Streams, OfARealFileAreChosenByNumber) {
  const TimeLimit limit(60);
  const std::string name = mediaFile("ds_two.avi");
  // Which is the first may differ from one graph to the next.
  std::set<Bytes> pictures;
  for (int i = 0; i < 40 && pictures.size() < 2; ++i) {
    const DSVideo stream = openVideo(name.c_str(), i % 2);
    ASSERT_EQ(stream->lastError, 0);
    pictures.insert(frameOf(*stream, 7));
  }
  EXPECT_EQ(pictures.size(), 2U);
  const DSAudio sound = openAudio(name.c_str(), 1);
  ASSERT_EQ(sound->lastError, 0);
  EXPECT_EQ(sound->duration(), static_cast<long>(sound->format()->nSamplesPerSec) * 3 / 10);
  EXPECT_EQ(openVideo(name.c_str(), 2)->lastError, ds_error::cannotConnectFilters);
}

/// A filter without pins, that may refuse to join a graph.
class BareFilter : public CBaseFilter {
 public:
  explicit BareFilter(HRESULT joining) : CBaseFilter(nullptr, CLSID_NULL), joining(joining) {}
  STDMETHODIMP JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) override {
    return FAILED(joining) ? joining : CBaseFilter::JoinFilterGraph(graph, name);
  }

 private:
  const HRESULT joining;
};

class BareGrabber : public WithInterfaces<BareFilter, ISampleGrabber> {
 public:
  using WithInterfaces::WithInterfaces;
  STDMETHODIMP SetOneShot(BOOL) override { return S_OK; }
  STDMETHODIMP SetMediaType(const AM_MEDIA_TYPE*) override { return E_FAIL; }
  STDMETHODIMP GetConnectedMediaType(AM_MEDIA_TYPE*) override { return E_FAIL; }
  STDMETHODIMP SetBufferSamples(BOOL) override { return S_OK; }
  STDMETHODIMP GetCurrentBuffer(LONG*, LONG*) override { return E_FAIL; }
  STDMETHODIMP GetCurrentSample(IMediaSample**) override { return E_FAIL; }
  STDMETHODIMP SetCallback(ISampleGrabberCB*, LONG) override { return S_OK; }
};

/// A source whose pins nobody gets to know.
class SecretiveSource : public ScriptedSource {
 public:
  SecretiveSource() : ScriptedSource(scriptOf(video())) {}
  STDMETHODIMP EnumPins(IEnumPins**) override { return E_FAIL; }
};

template <class Filter, class... Arguments>
ClassObjectOverride::Create making(Arguments... arguments) {
  return [=](REFIID iid, void** object) {
    const ComPtr<Filter> filter(new Filter(arguments...));
    return filter->QueryInterface(iid, object);
  };
}

HRESULT refuseToMake(REFIID, void**) {
  return E_FAIL;
}

void expectRefused(SourceStream& stream, int code, const char* what) {
  EXPECT_EQ(stream.lastError, code) << what;
  EXPECT_TRUE(stream.lastErrorIsFatal()) << what;
  EXPECT_EQ(stream.duration(), -1);
  EXPECT_EQ(stream.lastError, ds_error::notOpened);
  EXPECT_EQ(stream.msDuration(), -1.0);
}

TEST(Opening, EachFailureHasItsCodeAndLeavesNothing) {
  const TimeLimit limit(60);
  struct {
    int code;
    const char* what;
    std::function<void(GraphFaults&)> fault = {};
    const CLSID* replaced = nullptr;
    ClassObjectOverride::Create replacement = {};
    std::function<void(ScriptedStream&)> change = {};
  } const cases[] = {
      {ds_error::noGraphBuilder, "no graph", [](GraphFaults& faults) { faults.create = E_FAIL; }},
      {ds_error::noMediaSeeking, "no seeking", [](GraphFaults& faults) { faults.missing = {IID_IMediaSeeking}; }},
      {ds_error::noMediaControl, "no control", [](GraphFaults& faults) { faults.missing = {IID_IMediaControl}; }},
      {ds_error::noMediaEvent, "no events", [](GraphFaults& faults) { faults.missing = {IID_IMediaEvent}; }},
      {ds_error::mediaTimeRejected, "time format", [](GraphFaults& faults) { faults.setTimeFormat = E_FAIL; }},
      {ds_error::undefinedStreamDuration, "duration", [](GraphFaults& faults) { faults.getDuration = E_FAIL; }},
      {ds_error::noSampleGrabber, "no grabber", {}, &CLSID_SampleGrabber, refuseToMake},
      {ds_error::noSampleGrabber, "no ISampleGrabber", {}, &CLSID_SampleGrabber, making<BareFilter>(S_OK)},
      {ds_error::cannotAddFilter, "grabber refused", {}, &CLSID_SampleGrabber, making<BareGrabber>(E_FAIL)},
      {ds_error::cannotSetMediaType, "media type", {}, &CLSID_SampleGrabber, making<BareGrabber>(S_OK)},
      {ds_error::noNullRenderer, "no renderer", {}, &CLSID_NullRenderer, refuseToMake},
      {ds_error::cannotAddFilter, "renderer refused", {}, &CLSID_NullRenderer, making<BareFilter>(E_FAIL)},
      {ds_error::cannotConnectFilters, "renderer without pins", {}, &CLSID_NullRenderer, making<BareFilter>(S_OK)},
      {ds_error::improperStreamFormat,
       "24 bits that are 32",
       {},
       nullptr,
       {},
       [](ScriptedStream& stream) {
         reinterpret_cast<VIDEOINFOHEADER*>(stream.type.pbFormat)->bmiHeader.biBitCount = 32;
       }},
      {ds_error::improperStreamFormat,
       "other format block",
       {},
       nullptr,
       {},
       [](ScriptedStream& stream) { stream.type.formattype = FORMAT_MPEGVideo; }},
      {ds_error::improperStreamFormat,
       "short format block",
       {},
       nullptr,
       {},
       [](ScriptedStream& stream) { stream.type.cbFormat = sizeof(VIDEOINFOHEADER) - 1; }},
  };
  const auto runThrough = [&] {
    for (const auto& item : cases) {
      const auto script = scriptOf(video());
      if (item.change) {
        item.change(script->streams[0]);
      }
      const ScriptedFile file(script);
      GraphOverride graph;
      if (item.fault) {
        item.fault(graph.faults);
      }
      std::unique_ptr<ClassObjectOverride> replacing;
      if (item.replaced != nullptr) {
        replacing = std::make_unique<ClassObjectOverride>(*item.replaced, item.replacement);
      }
      expectRefused(*openVideo(file.name()), item.code, item.what);
      EXPECT_EQ(script->filters, 0) << item.what;
      EXPECT_EQ(graph.faults.graphs, 0) << item.what;
    }
  };
  runThrough();
  EXPECT_TRUE(leavesOnlyGraphs(1, std::size(cases) - 1, runThrough));
}

TEST(Opening, RefusesFilesThatAreNoStreams) {
  const TimeLimit limit;
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
  const ScriptedFile oddSound(scriptOf(notPcm));
  expectRefused(*openAudio(oddSound.name()), ds_error::improperStreamFormat, "sound that is not PCM");
  const ClassObjectOverride reader(CLSID_AsyncReader, making<SecretiveSource>());
  expectRefused(*openVideo(text.name()), ds_error::cannotEnumeratePins, "pins");
  EXPECT_EQ(graph.faults.graphs, 0);
}

TEST(Opening, WarnsOfAClockThatStays) {
  const TimeLimit limit;
  const auto script = scriptOf(scriptedAudio(mono, 5, 80));
  const ScriptedFile file(script);
  GraphOverride graph;
  graph.faults.missing = {IID_IMediaFilter};
  const DSAudio stream = openAudio(file.name());
  EXPECT_EQ(stream->lastError, ds_error::cannotChangeReferenceClock);
  EXPECT_FALSE(stream->lastErrorIsFatal());
  EXPECT_EQ(runOf(*stream, 80, 159), scriptedPayload(1, 160));
  EXPECT_EQ(stream->lastError, 0);
}

TEST(Running, FailuresHaveCodesAndPass) {
  const TimeLimit limit;
  const auto script = scriptOf(video());
  const ScriptedFile file(script);
  const std::pair<HRESULT GraphFaults::*, int> cases[] = {{&GraphFaults::run, ds_error::cannotRunGraph},
                                                          {&GraphFaults::stop, ds_error::cannotStopGraph},
                                                          {&GraphFaults::getState, ds_error::getStateFailed},
                                                          {&GraphFaults::setPositions, ds_error::unseekableMedia}};
  for (const auto& [fault, code] : cases) {
    for (const bool deletedAtOnce : {false, true}) {
      GraphOverride graph;
      {
        DSVideo stream = openVideo(file.name());
        expectFrame(stream, *script, 5);
        graph.faults.*fault = E_FAIL;
        long frame = 1;
        EXPECT_EQ(stream->getFrameBits(frame), nullptr) << code;
        EXPECT_EQ(stream->lastError, code);
        EXPECT_EQ(frame, -1);
        if (!deletedAtOnce) {
          graph.faults.*fault = S_OK;
          expectFrame(stream, *script, 1);
          expectFrame(stream, *script, 2);
        }
      }
      EXPECT_EQ(graph.faults.graphs, 0) << code;
      EXPECT_EQ(script->filters, 0) << code;
    }
  }
}

/// A stream that an event ends at frame 10: the source then waits until it is stopped.
std::shared_ptr<Script> abortedScript(long event, const KernelHandle& never) {
  auto script = scriptOf(video(40));
  script->streams[0].samples[10].event = event;
  script->streams[0].samples[11].waitFor = never.get();
  return script;
}

KernelHandle manualEvent() {
  return KernelHandle(CreateEventA(nullptr, TRUE, FALSE, nullptr));
}

TEST(Aborts, LetTheReaderOut) {
  const TimeLimit limit;
  const KernelHandle never = manualEvent();
  for (const long event : {EC_ERRORABORT, EC_USERABORT}) {
    const auto script = abortedScript(event, never);
    const ScriptedFile file(script);
    DSVideo stream = openVideo(file.name());
    for (int i = 0; i < 20; ++i) {
      stream->config(100, 1, 2);
      expectFrame(stream, *script, 3);
      long found = 20;
      const unsigned char* const bits = stream->getFrameBits(found);
      // How far the source came before it was stopped is a matter of time.
      ASSERT_TRUE(found >= 9 && found <= 10) << found;
      ASSERT_EQ(Bytes(bits, bits + 48), scriptedPayload(found, 48));
      stream->config(1, 1, 2);
      expectFrame(stream, *script, 15);  // From beyond the abort.
      expectFrame(stream, *script, 16);
    }
  }
  const auto failing = scriptOf(video(40));
  failing->streams[0].samples[10].failure = E_FAIL;
  const ScriptedFile file(failing);
  DSVideo stream = openVideo(file.name());
  for (int i = 0; i < 20; ++i) {
    expectFrame(stream, *failing, 9);
    EXPECT_NE(frameOf(*stream, 10, 9), Bytes());
    expectFrame(stream, *failing, 5);
  }
}

TEST(Aborts, WhileASampleIsHeldLoseNothing) {
  const TimeLimit limit;
  const auto script = scriptOf(video(40));
  const ScriptedFile scripted(script);
  const std::string real = mediaFile("ds_mjpeg.avi");
  for (const char* const name : {scripted.name(), real.c_str()}) {
    std::vector<Bytes> frames;
    const DSVideo linear = openVideo(name);
    for (long frame = 0; frame < 40; ++frame) {
      frames.push_back(frameOf(*linear, frame));
    }
    const GraphOverride graph;
    const DSVideo stream = openVideo(name);
    for (const long event : {EC_ERRORABORT, EC_USERABORT}) {
      for (long frame = 20; frame >= 5; --frame) {
        ASSERT_TRUE(frameOf(*stream, frame) == frames[frame]);
        graph.notify(event);
        // The graph takes the event in its own time: one of the reads may find nothing new.
        long early = 0;
        for (const long next : {frame + 1, frame + 2, frame + 3}) {
          long found = next;
          const unsigned char* const bits = stream->getFrameBits(found);
          ASSERT_TRUE(bits != nullptr && found >= next - 1 && found <= next) << found << " for " << next;
          ASSERT_TRUE(std::equal(frames[found].begin(), frames[found].end(), bits)) << found;
          early += next - found;
        }
        ASSERT_LE(early, 1);
      }
    }
  }
}

TEST(Deleting, EndsInEveryState) {
  const TimeLimit limit(60);
  const KernelHandle never = manualEvent();
  GraphOverride graph;
  const std::function<void(DSVideoSourceStream&)> states[] = {
      [](DSVideoSourceStream&) {},                                // Opened only.
      [](DSVideoSourceStream& stream) { stream.findFrame(3); },   // Holding.
      [](DSVideoSourceStream& stream) { stream.findFrame(39); },  // Holding the last frame.
      [](DSVideoSourceStream& stream) { stream.findFrame(50); },  // Ended.
      [](DSVideoSourceStream& stream) { stream.findFrame(50), stream.findFrame(50), stream.findFrame(51); },
      [](DSVideoSourceStream& stream) { stream.findFrame(50), stream.findFrame(2); },  // A seek after the end.
      [](DSVideoSourceStream& stream) { stream.findFrame(3), stream.findFrame(1); },   // A seek while holding.
      [](DSVideoSourceStream& stream) {
        stream.config(90, 1, 2), stream.findFrame(9), stream.findFrame(20);
      },  // Aborted.
      [&](DSVideoSourceStream& stream) { stream.findFrame(3), graph.notify(EC_USERABORT); },
      [&](DSVideoSourceStream& stream) { stream.findFrame(3), graph.notify(EC_COMPLETE); },
      [&](DSVideoSourceStream& stream) { graph.faults.run = E_FAIL, stream.findFrame(3); },
  };
  const auto script = abortedScript(EC_ERRORABORT, never);
  script->streams[0].duration = 60 * frameTime;
  const ScriptedFile file(script);
  for (const auto& bringAbout : states) {
    for (int i = 0; i < 10; ++i) {
      graph.faults.run = S_OK;
      const DSVideo stream = openVideo(file.name());
      ASSERT_EQ(stream->lastError, 0);
      ASSERT_EQ(stream->duration(), 60);
      bringAbout(*stream);
    }
    EXPECT_EQ(graph.faults.graphs, 0) << &bringAbout - states;
    EXPECT_EQ(script->filters, 0) << &bringAbout - states;
    EXPECT_EQ(script->threadsStarted, script->threadsEnded);
  }
}

TEST(Deleting, LeavesNothingBehind) {
  const TimeLimit limit(60);
  const auto pictures = scriptOf(video());
  const auto sound = scriptOf(scriptedAudio(mono, 10, 80));
  const ScriptedFile videoFile(pictures);
  const ScriptedFile audioFile(sound);
  const GraphOverride graph;
  const auto round = [&] {
    DSVideo frames = openVideo(videoFile.name());
    expectFrame(frames, *pictures, 7);
    expectFrame(frames, *pictures, 3);
    const DSAudio samples = openAudio(audioFile.name());
    ASSERT_EQ(runOf(*samples, 80, 159), scriptedPayload(1, 160));
    ASSERT_EQ(runOf(*samples, 400, 479), scriptedPayload(5, 160));
  };
  round();
  EXPECT_TRUE(leavesOnlyGraphs(200, 2, round));
  EXPECT_EQ(graph.faults.graphs, 0);
  for (const auto& script : {pictures, sound}) {
    EXPECT_EQ(script->filters, 0);
    EXPECT_EQ(script->threadsStarted, script->threadsEnded);
  }
}

TEST(Ends, DoNotReachIntoTheNextRun) {
  const TimeLimit limit;
  const auto script = scriptOf(video(10));
  script->streams[0].duration = 15 * frameTime;
  const ScriptedFile file(script);
  DSVideo stream = openVideo(file.name());
  for (int i = 0; i < 50; ++i) {
    expectFrame(stream, *script, 8);  // Left for a seek, the stream comes to its end by itself.
    expectFrame(stream, *script, 0);
    expectFrame(stream, *script, 9);
    for (const long beyond : {10, 10, 11, 14}) {
      ASSERT_EQ(frameOf(*stream, beyond, 9), scriptedPayload(9, 48));
    }
    expectFrame(stream, *script, 1 + i % 8);
  }
}

/// Counts the frames, read in random order, that differ from those read in order.
long differingFrames(const std::string& name, int reads) {
  const DSVideo linear = openVideo(name.c_str());
  EXPECT_EQ(linear->lastError, 0) << name;
  std::vector<Bytes> frames;
  for (long frame = 0; frame < linear->duration(); ++frame) {
    long found = frame;
    const unsigned char* const bits = linear->getFrameBits(found);
    frames.push_back(bits != nullptr ? Bytes(bits, bits + linear->format()->biSizeImage) : Bytes());
  }
  EXPECT_GE(std::set<Bytes>(frames.begin(), frames.end()).size(), frames.size() * 9 / 10) << name;
  const DSVideo seeking = openVideo(name.c_str());
  std::mt19937 random = loggedRandom();
  long differing = 0;
  for (int i = 0; i < reads; ++i) {
    long frame = between(0, linear->duration() - 1, random);
    const Bytes& expected = frames[frame];
    const unsigned char* const bits = seeking->getFrameBits(frame);
    differing += bits == nullptr || Bytes(bits, bits + seeking->format()->biSizeImage) != expected;
  }
  return differing;
}

TEST(RealVideo, IsTheSameInAnyOrder) {
  const TimeLimit limit(60);
  for (const char* const name : {"ds_raw.avi", "ds_mjpeg.avi", "cinepak.avi"}) {
    EXPECT_EQ(differingFrames(mediaFile(name), 100), 0) << name;
  }
}

TEST(RealVideo, WithFramesOutOfOrderIsFalseAfterSomeSeeks) {
  const TimeLimit limit(60);
  const long inAvi = differingFrames(mediaFile("ds_mpeg4.avi"), 100);
  // How many there are depends on the random order: from a sixth to half of them were seen.
  EXPECT_EQ(inAvi > 0, wine_gap::splitterFalsifiesTimes) << inAvi;
  EXPECT_LT(differingFrames(mediaFile("ds_h264.mp4"), 100), 25) << "more than the gap explains";
}

/// Reads runs of random places and expects those of `whole`.
void expectRandomRuns(AudioSourceStream& stream, const Bytes& whole, int runs) {
  std::mt19937 random = loggedRandom();
  const long size = stream.format()->nBlockAlign;
  for (int i = 0; i < runs; ++i) {
    const long first = between(0, stream.duration() - 1, random);
    const long last = between(first, std::min(first + 2000, stream.duration() - 1), random);
    ASSERT_TRUE(runOf(stream, first, last) == Bytes(whole.begin() + first * size, whole.begin() + (last + 1) * size))
        << first << " to " << last << " at run " << i;
  }
}

Bytes noise(std::size_t size) {
  std::mt19937 random(1);  // NOLINT: the same in every run
  Bytes bytes(size);
  std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<std::uint8_t>(random()); });
  return bytes;
}

TEST(RealAudio, IsTheSameInAnyOrder) {
  const TimeLimit limit(60);
  const WAVEFORMATEX format = pcmFormat(22050, 2, 16);
  const Bytes data = noise(4 * 22050);
  const TempFile wav(".wav", wavFile(bytesOf(format), data));
  const DSAudio stream = openAudio(wav.name());
  ASSERT_EQ(stream->lastError, 0);
  ASSERT_EQ(stream->duration(), 22050);
  EXPECT_EQ(stream->format()->nBlockAlign, 4);
  EXPECT_TRUE(runOf(*stream, 0, 22049) == data);
  expectRandomRuns(*stream, data, 100);
}

// Neither decodes to the same bits each time: the lengths and that there is sound must do.
TEST(RealAudio, IsDecoded) {
  const TimeLimit limit(60);
  for (const char* const name : {"ds_sound.mp3", "ds_h264.mp4"}) {
    const DSAudio stream = openAudio(mediaFile(name).c_str());
    ASSERT_EQ(stream->lastError, 0) << name;
    EXPECT_EQ(stream->format()->nSamplesPerSec, 44100U);
    EXPECT_NEAR(stream->duration(), 1.2 * 44100, 4000) << name;
    for (const long first : {0L, 30000L, 7000L, 7100L}) {
      const Bytes run = runOf(*stream, first, first + 4999);
      EXPECT_EQ(stream->lastError, 0);
      EXPECT_GT(std::set<std::uint8_t>(run.begin(), run.end()).size(), 100U) << name << ": silence at " << first;
    }
  }
}

/// What both backends must do alike, with what is not open as well as with what is.
TEST(Backends, ReadOneFileAlike) {
  const TimeLimit limit(60);
  const BITMAPINFOHEADER pictureFormat = rgb24Format(64, 48);
  const Bytes pixels = noise(120 * pictureFormat.biSizeImage);
  const Bytes sound = noise(9600 * 2);
  std::vector<AviChunk> pictures;
  std::vector<AviChunk> blocks;
  for (std::size_t i = 0; i < 120; ++i) {
    const auto picture = pixels.begin() + i * pictureFormat.biSizeImage;
    pictures.push_back({Bytes(picture, picture + pictureFormat.biSizeImage)});
    blocks.push_back({Bytes(sound.begin() + i * 160, sound.begin() + (i + 1) * 160)});
  }
  const TempFile file(
      ".avi", aviFile({videoStream(pictureFormat, 100, 1, pictures), audioStream(bytesOf(mono), blocks)}).build());
  const DSVideo video = openVideo(file.name());
  const DSAudio audio = openAudio(file.name());
  const std::unique_ptr<VfWVideoSourceStream> vfwVideo(VfWVideoSourceStream::open(file.name(), 0, nullptr));
  const std::unique_ptr<VfWAudioSourceStream> vfwAudio(VfWAudioSourceStream::open(file.name(), 0, nullptr));
  VideoSourceStream* const videos[] = {video.get(), vfwVideo.get()};
  AudioSourceStream* const audios[] = {audio.get(), vfwAudio.get()};

  for (VideoSourceStream* const stream : videos) {
    ASSERT_EQ(stream->lastError, 0);
    EXPECT_EQ(stream->duration(), 120);
    EXPECT_EQ(stream->frameRate(), 100.0);
    EXPECT_EQ(stream->msDuration(), 1200.0);
    EXPECT_EQ(stream->format()->biWidth, 64);
    EXPECT_EQ(stream->format()->biHeight, 48);
    for (const long frame : {0, 1, 2, 77, 119, 30, 0}) {
      EXPECT_TRUE(frameOf(*stream, frame) == pictures[frame].data) << frame;
      EXPECT_EQ(stream->lastError, 0);
    }
    for (const long outside : {-1L, 120L}) {
      EXPECT_EQ(stream->findFrame(outside), -1);
      EXPECT_STREQ(stream->ErrorMessage(stream->lastError), "Parameter out of range");
      EXPECT_FALSE(stream->lastErrorIsFatal());
    }
    long frame = 30;
    double time = 304.0;
    EXPECT_DOUBLE_EQ(stream->StreamSampleToTime(frame), 300.0);
    EXPECT_EQ(stream->StreamTimeToSample(time), 30);
  }
  for (AudioSourceStream* const stream : audios) {
    ASSERT_EQ(stream->lastError, 0);
    EXPECT_EQ(stream->duration(), 9600);
    EXPECT_EQ(stream->msDuration(), 1200.0);
    EXPECT_EQ(stream->format()->nSamplesPerSec, 8000U);
    expectRandomRuns(*stream, sound, 60);
    for (const auto& [first, last] : {std::pair(-1, 5), std::pair(5, 4), std::pair(9000, 9600)}) {
      EXPECT_EQ(stream->getSamples(first, last), nullptr);
      EXPECT_STREQ(stream->ErrorMessage(stream->lastError), "Parameter out of range");
      EXPECT_FALSE(stream->lastErrorIsFatal());
    }
  }
  const DSVideo missing = openVideo("C:\\missing.avi");
  const std::unique_ptr<VfWVideoSourceStream> vfwMissing(VfWVideoSourceStream::open("C:\\missing.avi", 0, nullptr));
  for (VideoSourceStream* const stream :
       {static_cast<VideoSourceStream*>(missing.get()), static_cast<VideoSourceStream*>(vfwMissing.get())}) {
    EXPECT_STREQ(stream->ErrorMessage(stream->lastError), "Could not open the source file");
    EXPECT_TRUE(stream->lastErrorIsFatal());
    EXPECT_EQ(stream->findFrame(0), -1);
    EXPECT_STREQ(stream->ErrorMessage(stream->lastError), "Stream was not successfully opened");
  }
}

}  // namespace
