// The streaming base classes: connections, enumerators, and the pushing thread in all its starts, stops and seeks. The
// scripted source, on which other tests rely, is what they are tested with.

#include <mutex>

#include <vfwmsgs.h>

#include "support/ds_streams.h"
#include "support/input_pin.h"
#include "support/leak_check.h"
#include "support/writing.h"

using Microsoft::WRL::ComPtr;
using namespace quillet;
using namespace quillet::test;

namespace {

// Nothing here takes long: what takes so much longer hangs.
constexpr DWORD limitMs = 20000;
constexpr REFERENCE_TIME frameTime = 400'000;

/// An input pin that counts what it receives.
class SinkPin : public InputPin {
 public:
  explicit SinkPin(CBaseFilter& filter) : InputPin(filter, L"in") {}
  HRESULT CheckMediaType(const CMediaType* type) override { return type->majortype == accepted ? S_OK : S_FALSE; }
  STDMETHODIMP GetAllocator(IMemAllocator**) override { return VFW_E_NO_ALLOCATOR; }

  STDMETHODIMP Receive(IMediaSample* sample) override {
    const std::lock_guard guard(lock);
    if (flushing) {
      return S_FALSE;
    }
    if (kept.size() < samplesToKeep) {
      kept.emplace_back(sample);
    }
    if (++received == expected) {
      SetEvent(enough.get());
    }
    return S_OK;
  }

  STDMETHODIMP EndOfStream() override {
    SetEvent(ended.get());
    return S_OK;
  }

  STDMETHODIMP EndFlush() override {
    const std::lock_guard guard(lock);
    kept.clear();
    return InputPin::EndFlush();
  }

  /// Waits until sample `number` comes that `cause` brings about. No other may be on its way.
  void await(std::size_t number, const std::function<void()>& cause) {
    received = 0;
    expected = number;
    ResetEvent(enough.get());
    cause();
    EXPECT_EQ(WaitForSingleObject(enough.get(), limitMs), WAIT_OBJECT_0);
  }

  GUID accepted = MEDIATYPE_Video;
  std::size_t samplesToKeep = 0;
  KernelHandle ended = manualEvent();

 private:
  CriticalSection lock;
  KernelHandle enough = manualEvent();
  std::atomic<std::size_t> expected = 1, received = 0;
  std::vector<ComPtr<IMediaSample>> kept;
};

class SinkFilter : public CBaseFilter {
 public:
  SinkFilter() : CBaseFilter(nullptr, CLSID_NULL) {}

  SinkPin& pin = addPin(std::make_unique<SinkPin>(*this));
};

std::shared_ptr<Script> videoScript(std::size_t frames) {
  return scriptOf(scriptedVideo(8, 2, frames, frameTime));
}

/// A scripted source and a sink; connected unless the test wants to do that.
struct Pair {
  explicit Pair(std::shared_ptr<Script> played) : script(std::move(played)), source(new ScriptedSource(script)) {
    source->FindPin(L"stream 0", &out);
  }

  ~Pair() {
    source->Stop();
    out->Disconnect();
    in->Disconnect();
  }

  HRESULT connect() const { return out->Connect(in, nullptr); }

  std::shared_ptr<Script> script;
  ComPtr<ScriptedSource> source;
  ComPtr<SinkFilter> sink = new SinkFilter;
  ComPtr<IPin> out;
  SinkPin* in = &sink->pin;
};

TEST(Pins, ConnectOnceAndOnlyWhenStopped) {
  const Pair pair(videoScript(1));
  const Pair other(videoScript(1));
  CMediaType audio, video, otherVideo = pair.script->streams[0].type;
  audio.majortype = MEDIATYPE_Audio;
  video.majortype = MEDIATYPE_Video;
  otherVideo.subtype = MEDIASUBTYPE_RGB32;
  EXPECT_EQ(pair.out->Connect(other.out.Get(), nullptr), VFW_E_INVALID_DIRECTION);
  EXPECT_EQ(pair.out->Connect(pair.in, &audio), VFW_E_NO_ACCEPTABLE_TYPES) << "a partial type that nobody offers";
  EXPECT_EQ(pair.out->Connect(pair.in, &otherVideo), VFW_E_TYPE_NOT_ACCEPTED) << "a full type that is not offered";
  pair.in->accepted = MEDIATYPE_Audio;
  EXPECT_EQ(pair.connect(), VFW_E_NO_ACCEPTABLE_TYPES) << "the receiver refuses";
  EXPECT_EQ(pair.out->QueryAccept(&otherVideo), S_FALSE);
  ComPtr<IPin> peer;
  AM_MEDIA_TYPE carried;
  EXPECT_EQ(pair.out->ConnectedTo(&peer), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(pair.out->ConnectionMediaType(&carried), VFW_E_NOT_CONNECTED);

  pair.in->accepted = MEDIATYPE_Video;
  ASSERT_EQ(pair.out->Connect(pair.in, &video), S_OK) << "a partial type that is offered";
  EXPECT_EQ(pair.connect(), VFW_E_ALREADY_CONNECTED);
  ASSERT_EQ(pair.out->ConnectedTo(&peer), S_OK);
  EXPECT_EQ(peer.Get(), pair.in);
  ASSERT_EQ(pair.in->ConnectionMediaType(&carried), S_OK);
  EXPECT_TRUE(CMediaType(carried) == pair.script->streams[0].type);
  FreeMediaType(carried);
  ASSERT_EQ(pair.source->Pause(), S_OK);
  EXPECT_EQ(pair.out->Disconnect(), VFW_E_NOT_STOPPED);
  EXPECT_EQ(pair.source->Stop(), S_OK);
  EXPECT_EQ(pair.out->Disconnect(), S_OK);
  ASSERT_EQ(pair.source->Pause(), S_OK);
  EXPECT_EQ(pair.connect(), VFW_E_NOT_STOPPED);
}

TEST(Pins, AnswerAReceiverWhileTheirFilterIsBeingStopped) {
  const Pair pair(videoScript(1));
  ASSERT_EQ(pair.connect(), S_OK);
  // As Stop() holds it while it waits for the streaming thread, which is in the receiver.
  const std::lock_guard stopping(pair.source->stateLock());
  const Thread receiver([&] {
    ComPtr<IPin> peer;
    ComPtr<IEnumMediaTypes> types;
    ComPtr<IEnumPins> pins;
    ComPtr<IReferenceClock> clock;
    AM_MEDIA_TYPE carried;
    FILTER_INFO info;
    EXPECT_EQ(pair.out->ConnectedTo(&peer), S_OK);
    EXPECT_EQ(pair.out->ConnectionMediaType(&carried), S_OK);
    EXPECT_EQ(pair.out->QueryAccept(&carried), S_OK);
    FreeMediaType(carried);
    EXPECT_EQ(pair.out->EnumMediaTypes(&types), S_OK);
    EXPECT_EQ(pair.source->EnumPins(&pins), S_OK);
    EXPECT_EQ(pair.source->FindPin(L"stream 0", peer.ReleaseAndGetAddressOf()), S_OK);
    EXPECT_EQ(pair.source->QueryFilterInfo(&info), S_OK);
    EXPECT_EQ(pair.source->GetSyncSource(&clock), S_OK);
  });
}

TEST(Enumerators, FollowTheirContract) {
  const Pair pair(videoScript(1));
  ComPtr<IEnumPins> pins, clone;
  ASSERT_EQ(pair.sink->EnumPins(&pins), S_OK);
  ASSERT_EQ(pins->Clone(&clone), S_OK);
  for (IEnumPins* const each : {clone.Get(), pins.Get()}) {  // The clone does not move the original.
    IPin* two[2] = {};
    ULONG fetched = 9;
    EXPECT_EQ(each->Next(2, two, &fetched), S_FALSE);
    EXPECT_EQ(fetched, 1U);
    ComPtr<IPin> pin;
    pin.Attach(two[0]);
    EXPECT_EQ(pin.Get(), pair.in);
    EXPECT_EQ(each->Skip(1), S_FALSE);
    EXPECT_TRUE(each->Reset() == S_OK && each->Skip(1) == S_OK);
  }
}

TEST(Sources, LeaveNothingBehindInAnyOrderOfStates) {
  std::mt19937 random(20090);  // NOLINT: the same orders in every run
  const auto script = videoScript(5);
  EXPECT_TRUE(leavesNothingBehind([&] {
    const Pair pair(script);
    ASSERT_EQ(pair.connect(), S_OK);
    for (int i = 0; i < 6; ++i) {
      const auto state = random() % 3;
      ASSERT_EQ(state == 0 ? pair.source->Stop() : state == 1 ? pair.source->Pause() : pair.source->Run(0), S_OK);
    }
  }));
  EXPECT_GT(script->threadsStarted, 200);
  EXPECT_EQ(script->threadsStarted, script->threadsEnded);
  EXPECT_EQ(script->filters, 0);
}

TEST(Sources, SeekAndStopWhateverTheThreadWaitsFor) {
  const KernelHandle never = manualEvent();
  const auto waiting = videoScript(3);
  waiting->streams[0].samples[1].waitFor = never.get();
  const auto starved = videoScript(100);  // The sink keeps every sample that the allocator has.
  for (const auto& script : {waiting, starved}) {
    const std::size_t number = script == waiting ? 1 : 4;
    for (int i = 0; i < 20; ++i) {
      const Pair pair(script);
      pair.in->samplesToKeep = 100;
      ASSERT_EQ(pair.connect(), S_OK);
      ComPtr<IMediaSeeking> seeking;
      ASSERT_EQ(pair.out.As(&seeking), S_OK);
      pair.in->await(number, [&] { ASSERT_EQ(pair.source->Run(0), S_OK); });
      LONGLONG begin = 0;
      pair.in->await(number, [&] {
        ASSERT_EQ(seeking->SetPositions(&begin, AM_SEEKING_AbsolutePositioning, nullptr, AM_SEEKING_NoPositioning),
                  S_OK);
      });
      ASSERT_EQ(pair.source->Stop(), S_OK);
      ASSERT_EQ(script->threadsStarted, i + 1) << "a seek starts none";
      ASSERT_EQ(script->threadsStarted, script->threadsEnded);
      EXPECT_NE(WaitForSingleObject(pair.in->ended.get(), 0), WAIT_OBJECT_0) << "a stop is no end of stream";
    }
  }
}

TEST(Sources, StayStoppedWhenAThreadCannotBegin) {
  const auto script = videoScript(3);
  script->streams.push_back(script->streams[0]);
  script->streams[1].beginning = HRESULT_FROM_WIN32(ERROR_NOT_READY);
  const Pair pair(script);
  ASSERT_EQ(pair.connect(), S_OK);
  ComPtr<IPin> failing;
  const ComPtr<SinkFilter> second(new SinkFilter);
  ASSERT_EQ(pair.source->FindPin(L"stream 1", &failing), S_OK);
  ASSERT_EQ(failing->Connect(&second->pin, nullptr), S_OK);
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(pair.source->Pause(), script->streams[1].beginning);
    FILTER_STATE state = State_Running;
    EXPECT_EQ(pair.source->GetState(0, &state), S_OK);
    EXPECT_EQ(state, State_Stopped);
    EXPECT_EQ(script->threadsStarted, i + 1);
    EXPECT_EQ(script->threadsEnded, i + 1) << "the pin that could begin goes on";
  }
  failing->Disconnect();
  second->pin.Disconnect();
}

}  // namespace
