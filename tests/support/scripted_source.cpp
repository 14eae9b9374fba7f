#include "support/scripted_source.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>

#include <amvideo.h>
#include <vfwmsgs.h>

#include "core/time_units.h"
#include "directshow/graph/stream_time.h"
#include "support/avi_builder.h"
#include "support/unused_interfaces.h"
#include "support/wine_gaps.h"

namespace quillet::test {
namespace {

/// Where the segment begins that this streaming thread delivers.
thread_local REFERENCE_TIME startOfSegment = 0;

/// A pin, which plays one stream.
class ScriptedPin : public UnusedSeeking<WithInterfaces<CSourceStream, IMediaSeeking>> {
 public:
  ScriptedPin(ScriptedSource& source, Script& script, const ScriptedStream& stream, const wchar_t* name)
      : UnusedSeeking(source, name), script(script), stream(stream) {}

  // CSourceStream
  HRESULT GetMediaType(CMediaType* type) override { return give(type, stream.type); }

  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
    request->cBuffers = 4;
    request->cbBuffer = std::max(request->cbBuffer, 1L);
    for (const ScriptedSample& sample : stream.samples) {
      request->cbBuffer = std::max(request->cbBuffer, sample.size);
    }
    ALLOCATOR_PROPERTIES actual = {};
    return allocator->SetProperties(request, &actual);
  }

  // IMediaSeeking, on the threads of whoever asks
  STDMETHODIMP IsFormatSupported(const GUID* format) override {
    return *format == TIME_FORMAT_MEDIA_TIME ? S_OK : S_FALSE;
  }
  STDMETHODIMP SetTimeFormat(const GUID* format) override {
    return IsFormatSupported(format) == S_OK ? S_OK : E_INVALIDARG;
  }
  STDMETHODIMP GetDuration(LONGLONG* result) override { return give(result, stream.duration); }
  /// Where the last seek landed, and the end.
  STDMETHODIMP GetPositions(LONGLONG* current, LONGLONG* stop) override {
    *current = position;
    return give(stop, stream.duration);
  }

  STDMETHODIMP SetPositions(LONGLONG* current, DWORD flags, LONGLONG* stop, DWORD stopFlags) override {
    const std::lock_guard guard(filter().stateLock());
    if ((stopFlags & AM_SEEKING_PositioningBitsMask) == AM_SEEKING_AbsolutePositioning) {
      end = *stop;
    }
    if ((flags & AM_SEEKING_PositioningBitsMask) != AM_SEEKING_AbsolutePositioning) {
      return S_OK;
    }
    Landing landing;
    if (const HRESULT result = stream.seek(stream, *current, flags, landing); FAILED(result)) {
      return result;
    }
    *current = landing.position;
    return reposition([&] {
      next = landing.sample;
      position = landing.position;
      return S_OK;
    });
  }

 protected:
  // CSourceStream
  HRESULT OnThreadCreate() override {
    script.threadsStarted += SUCCEEDED(stream.beginning);
    return stream.beginning;
  }
  HRESULT OnThreadStartPlay() override {
    startOfSegment = position;
    return DeliverNewSegment(position, stream.duration, 1.0);
  }
  void OnThreadDestroy() override { ++script.threadsEnded; }

  HRESULT FillBuffer(IMediaSample* sample) override {
    if (next >= stream.samples.size() || stream.samples[next].start >= end) {
      return S_FALSE;
    }
    const ScriptedSample& item = stream.samples[next];
    if (item.reached != nullptr) {
      SetEvent(item.reached);
    }
    if (item.waitFor != nullptr) {
      const HANDLE events[] = {stopRequest().get(), item.waitFor};
      if (WaitForMultipleObjects(2, events, FALSE, INFINITE) == WAIT_OBJECT_0) {
        return S_FALSE;
      }
    }
    if (item.event != 0) {
      filter().NotifyEvent(item.event, 0, 0);
    }
    const HRESULT result = FAILED(item.failure) ? item.failure : fill(sample, item);
    ++next;
    return result;
  }

 private:
  HRESULT fill(IMediaSample* sample, const ScriptedSample& item) {
    BYTE* data = nullptr;
    sample->GetPointer(&data);
    std::ranges::copy(scriptedPayload(next, item.size), data);
    sample->SetActualDataLength(item.size);
    // All of them: a sample may carry what it was given the last time.
    REFERENCE_TIME start = item.start - position;
    REFERENCE_TIME stop = item.stop.value_or(0) - position;
    sample->SetTime(item.timed ? &start : nullptr, item.timed && item.stop ? &stop : nullptr);
    auto [first, last] = item.mediaTime.value_or(std::pair<LONGLONG, LONGLONG>());
    sample->SetMediaTime(item.mediaTime ? &first : nullptr, item.mediaTime ? &last : nullptr);
    sample->SetSyncPoint(item.sync);
    sample->SetDiscontinuity(item.discontinuity);
    sample->SetPreroll(FALSE);
    ++script.samplesFilled;
    return S_OK;
  }

  Script& script;
  const ScriptedStream& stream;
  // Changed while the thread is idle, or by it.
  std::size_t next = 0;
  std::atomic<REFERENCE_TIME> position = 0;
  std::atomic<REFERENCE_TIME> end = stream.duration;
};

/// A stream of `samples` samples that follow one another; `time` tells where each begins.
template <class Time>
ScriptedStream streamOf(CMediaType type, std::size_t samples, long size, Time time) {
  ScriptedStream stream;
  stream.type = std::move(type);
  stream.seek = landAsAsked;
  for (std::size_t i = 0; i < samples; ++i) {
    stream.samples.push_back({.start = time(i), .stop = time(i + 1), .mediaTime = {}, .size = size});
  }
  stream.duration = time(samples);
  return stream;
}

/// A new id, whose first byte is not that of any other kind of file: a whole random one may look like MPEG audio.
GUID newGuid() {
  GUID result = {};
  CoCreateGuid(&result);
  result.Data1 = (result.Data1 & ~0xFFUL) | 'Q';
  return result;
}

/// The system's sample grabber, which adds the start of the segment to the times that it tells, as Windows' does.
class AbsoluteGrabber : public UnusedGrabber<Wrapped<ISampleGrabber, ISampleGrabberCB>> {
 public:
  void takeInGrabber() {
    takeIn("qedit.dll", CLSID_SampleGrabber);
    grabber = static_cast<ISampleGrabber*>(ofPart(__uuidof(ISampleGrabber)));
  }

  // ISampleGrabber
  STDMETHODIMP SetMediaType(const AM_MEDIA_TYPE* a) override { return grabber->SetMediaType(a); }
  STDMETHODIMP SetCallback(ISampleGrabberCB* a, LONG b) override {
    callback = a;
    return grabber->SetCallback(a != nullptr ? this : nullptr, b);
  }

  // ISampleGrabberCB
  STDMETHODIMP SampleCB(double time, IMediaSample* sample) override {
    return callback->SampleCB(time + static_cast<double>(startOfSegment) / unitsPerSecond, sample);
  }
  STDMETHODIMP BufferCB(double, BYTE*, long) override { return E_NOTIMPL; }

 private:
  ISampleGrabber* grabber = nullptr;
  ISampleGrabberCB* callback = nullptr;
};

std::wstring text(const GUID& id) {
  wchar_t buffer[39];
  StringFromGUID2(id, buffer, static_cast<int>(std::size(buffer)));
  return buffer;
}

std::wstring mediaTypeKey(const GUID& id) {
  return L"Software\\Classes\\Media Type\\" + text(MEDIATYPE_Stream) + L'\\' + text(id);
}

}  // namespace

std::size_t ScriptedStream::sampleAt(REFERENCE_TIME time) const {
  const auto after = std::ranges::upper_bound(samples, time, {}, &ScriptedSample::start);
  return after == samples.begin() ? 0 : static_cast<std::size_t>(after - samples.begin()) - 1;
}

HRESULT landAsAsked(const ScriptedStream& stream, REFERENCE_TIME wanted, DWORD flags, Landing& landing) {
  if ((flags & AM_SEEKING_SeekToKeyFrame) != 0) {
    return landOnPreviousKey(stream, wanted, flags, landing);
  }
  return give(&landing, {stream.sampleAt(wanted), wanted});
}

HRESULT landOnPreviousKey(const ScriptedStream& stream, REFERENCE_TIME wanted, DWORD, Landing& landing) {
  std::size_t sample = stream.sampleAt(wanted);
  while (sample > 0 && !stream.samples[sample].sync) {
    --sample;
  }
  return give(&landing, {sample, stream.samples[sample].start});
}

ScriptedStream::Seek landLater(std::size_t samples) {
  return [samples](const ScriptedStream& stream, REFERENCE_TIME wanted, DWORD, Landing& landing) {
    return give(&landing, {stream.sampleAt(wanted) + samples, wanted});
  };
}

HRESULT failToSeek(const ScriptedStream&, REFERENCE_TIME, DWORD, Landing&) {
  return E_FAIL;
}

Bytes scriptedPayload(std::size_t number, long size) {
  Bytes payload(static_cast<std::size_t>(size));
  for (std::size_t i = 0; i < payload.size(); ++i) {
    payload[i] = static_cast<std::uint8_t>(number * 37 + (number >> 8) + i * 5);
  }
  return payload;
}

ScriptedStream scriptedVideo(long width, long height, std::size_t frames, REFERENCE_TIME frameTime) {
  VIDEOINFOHEADER format = {};
  format.AvgTimePerFrame = frameTime;
  format.bmiHeader = rgb24Format(width, height);
  CMediaType type;
  type.majortype = MEDIATYPE_Video;
  type.subtype = MEDIASUBTYPE_RGB24;
  type.formattype = FORMAT_VideoInfo;
  type.bFixedSizeSamples = TRUE;
  type.lSampleSize = format.bmiHeader.biSizeImage;
  type.setFormat(&format, sizeof format);
  return streamOf(std::move(type), frames, static_cast<long>(format.bmiHeader.biSizeImage),
                  [&](std::size_t number) { return frameTime * static_cast<REFERENCE_TIME>(number); });
}

void withoutFrameTime(ScriptedStream& stream) {
  reinterpret_cast<VIDEOINFOHEADER*>(stream.type.pbFormat)->AvgTimePerFrame = 0;
}

ScriptedStream scriptedAudio(const WAVEFORMATEX& format, std::size_t blocks, long blockSamples) {
  CMediaType type;
  CreateAudioMediaType(&format, &type, TRUE);
  const double period = static_cast<double>(unitsPerSecond) * blockSamples / format.nSamplesPerSec;
  return streamOf(std::move(type), blocks, blockSamples * format.nBlockAlign, [&](std::size_t number) {
    return roundedHalfUp<REFERENCE_TIME>(period * static_cast<double>(number));
  });
}

/// Has streams read as on Windows from now on.
void useWindowsGrabber() {
  correctsSampleTimes() = false;
  const auto makeGrabber = [](REFIID iid, void** object) {
    const auto made = makeCom<AbsoluteGrabber>();
    made->takeInGrabber();
    return made->QueryInterface(iid, object);
  };
  // Never deleted: at the end of the process COM has gone.
  [[maybe_unused]] static const auto* const grabber = new ClassObjectOverride(CLSID_SampleGrabber, makeGrabber);
}

ScriptedSource::ScriptedSource(std::shared_ptr<Script> played)
    : WithInterfaces(nullptr, CLSID_NULL), script(std::move(played)) {
  ++script->filters;
  for (std::size_t i = 0; i < script->streams.size(); ++i) {
    addPin(
        std::make_unique<ScriptedPin>(*this, *script, script->streams[i], (L"stream " + std::to_wstring(i)).c_str()));
  }
}

ScriptedSource::~ScriptedSource() {
  --script->filters;
}

ScriptedFile::ScriptedFile(std::shared_ptr<Script> script)
    : id(newGuid()), file(".scripted", bytesOf(id)), source(id, [script](REFIID iid, void** object) {
        return makeCom<ScriptedSource>(script)->QueryInterface(iid, object);
      }) {
  if (wine_gap::isWine && std::getenv("QUILLET_TEST_GRABBER") != nullptr) {
    useWindowsGrabber();
  }
  std::wstring pattern = L"0,16,,";  // Offset, length, mask; the value follows.
  for (const std::uint8_t byte : bytesOf(id)) {
    constexpr wchar_t digits[] = L"0123456789ABCDEF";
    pattern += {digits[byte / 16], digits[byte % 16]};
  }
  for (const auto& [name, value] : {std::pair(L"0", pattern), {L"Source Filter", text(id)}}) {
    const auto size = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
    RegSetKeyValueW(wine_gap::rootOfClasses, mediaTypeKey(id).c_str(), name, REG_SZ, value.c_str(), size);
  }
}

ScriptedFile::~ScriptedFile() {
  RegDeleteTreeW(wine_gap::rootOfClasses, mediaTypeKey(id).c_str());
}

}  // namespace quillet::test
