#include "support/scripted_source.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <stdexcept>

#include <amvideo.h>
#include <vfwmsgs.h>

#include "core/time_units.h"
#include "support/avi_builder.h"

namespace quillet::test {
namespace {

/// A pin, which plays one stream.
class ScriptedPin : public WithInterfaces<CSourceStream, IMediaSeeking> {
 public:
  ScriptedPin(ScriptedSource& source, Script& script, const ScriptedStream& stream, const wchar_t* name)
      : WithInterfaces(source, name), script(script), stream(stream), stopPosition(stream.duration) {}

  // CSourceStream
  HRESULT GetMediaType(CMediaType* type) override {
    *type = stream.type;
    return S_OK;
  }

  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
    request->cBuffers = stream.buffers;
    for (const ScriptedSample& sample : stream.samples) {
      request->cbBuffer = std::max(request->cbBuffer, sample.size);
    }
    request->cbBuffer = std::max(request->cbBuffer, 1L);
    ALLOCATOR_PROPERTIES actual = {};
    const HRESULT result = allocator->SetProperties(request, &actual);
    return SUCCEEDED(result) && actual.cbBuffer < request->cbBuffer ? E_FAIL : result;
  }

  // IMediaSeeking
  STDMETHODIMP GetCapabilities(DWORD* result) override { return give(result, capabilities); }

  STDMETHODIMP CheckCapabilities(DWORD* flags) override {
    const DWORD wanted = std::exchange(*flags, *flags & capabilities);
    return *flags == wanted ? S_OK : *flags != 0 ? S_FALSE : E_FAIL;
  }

  STDMETHODIMP IsFormatSupported(const GUID* format) override {
    return *format == TIME_FORMAT_MEDIA_TIME ? S_OK : S_FALSE;
  }

  STDMETHODIMP QueryPreferredFormat(GUID* result) override { return give(result, TIME_FORMAT_MEDIA_TIME); }
  STDMETHODIMP GetTimeFormat(GUID* result) override { return give(result, TIME_FORMAT_MEDIA_TIME); }
  STDMETHODIMP IsUsingTimeFormat(const GUID* format) override { return IsFormatSupported(format); }
  STDMETHODIMP SetTimeFormat(const GUID* format) override {
    return IsFormatSupported(format) == S_OK ? S_OK : E_INVALIDARG;
  }
  STDMETHODIMP ConvertTimeFormat(LONGLONG*, const GUID*, LONGLONG, const GUID*) override { return E_NOTIMPL; }

  STDMETHODIMP GetDuration(LONGLONG* result) override { return give(result, stream.duration); }
  STDMETHODIMP GetStopPosition(LONGLONG* result) override { return GetPositions(nullptr, result); }
  STDMETHODIMP GetCurrentPosition(LONGLONG* result) override { return GetPositions(result, nullptr); }

  STDMETHODIMP SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop, DWORD stopFlags) override {
    const std::lock_guard guard(filter().stateLock());
    const DWORD moving = currentFlags & AM_SEEKING_PositioningBitsMask;
    if ((moving != AM_SEEKING_NoPositioning && moving != AM_SEEKING_AbsolutePositioning) ||
        (stopFlags & AM_SEEKING_PositioningBitsMask & ~AM_SEEKING_AbsolutePositioning) != 0) {
      return E_INVALIDARG;
    }
    Landing landing;
    if (moving != AM_SEEKING_NoPositioning) {
      const HRESULT result = stream.seek(stream, *current, currentFlags, landing);
      if (FAILED(result)) {
        return result;
      }
    }
    if ((stopFlags & AM_SEEKING_AbsolutePositioning) != 0) {
      const std::lock_guard positionGuard(positionLock);
      stopPosition = *stop;
    }
    const auto land = [&] {
      const std::lock_guard positionGuard(positionLock);
      next = landing.sample;
      position = landing.position;
      return S_OK;
    };
    if (const HRESULT result = moving != AM_SEEKING_NoPositioning ? reposition(land) : S_OK; FAILED(result)) {
      return result;
    }
    return GetPositions((currentFlags & AM_SEEKING_ReturnTime) != 0 ? current : nullptr,
                        (stopFlags & AM_SEEKING_ReturnTime) != 0 ? stop : nullptr);
  }

  /// Where the last seek landed, and the end.
  STDMETHODIMP GetPositions(LONGLONG* current, LONGLONG* stop) override {
    const std::lock_guard guard(positionLock);
    if (current != nullptr) {
      *current = position;
    }
    if (stop != nullptr) {
      *stop = stopPosition;
    }
    return S_OK;
  }

  STDMETHODIMP GetAvailable(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
  STDMETHODIMP SetRate(double rate) override { return rate == 1.0 ? S_OK : E_INVALIDARG; }
  STDMETHODIMP GetRate(double* result) override { return give(result, 1.0); }
  STDMETHODIMP GetPreroll(LONGLONG* result) override { return give(result, 0LL); }

 protected:
  // CSourceStream
  HRESULT OnThreadCreate() override {
    script.threadsStarted += SUCCEEDED(stream.beginning);
    return stream.beginning;
  }

  HRESULT OnThreadStartPlay() override {
    REFERENCE_TIME stop = 0;
    {
      const std::lock_guard guard(positionLock);
      stop = stopPosition;
    }
    return DeliverNewSegment(position, stop, 1.0);
  }
  void OnThreadDestroy() override { ++script.threadsEnded; }

  HRESULT FillBuffer(IMediaSample* sample) override {
    if (next >= stream.samples.size()) {
      return S_FALSE;
    }
    const ScriptedSample& item = stream.samples[next];
    if (item.waitFor != nullptr) {
      const HANDLE events[] = {stopRequest(), item.waitFor};
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
  static constexpr DWORD capabilities = AM_SEEKING_CanSeekAbsolute | AM_SEEKING_CanSeekForwards |
                                        AM_SEEKING_CanSeekBackwards | AM_SEEKING_CanGetCurrentPos |
                                        AM_SEEKING_CanGetStopPos | AM_SEEKING_CanGetDuration;

  template <class Value>
  static HRESULT give(Value* result, const Value& value) {
    if (result == nullptr) {
      return E_POINTER;
    }
    *result = value;
    return S_OK;
  }

  HRESULT fill(IMediaSample* sample, const ScriptedSample& item) {
    BYTE* data = nullptr;
    if (const HRESULT result = sample->GetPointer(&data); FAILED(result)) {
      return result;
    }
    const Bytes payload = scriptedPayload(next, item.size);
    std::copy(payload.begin(), payload.end(), data);
    sample->SetActualDataLength(item.size);
    // All of them: a sample may carry what it was given the last time.
    REFERENCE_TIME start = item.start - position;
    REFERENCE_TIME stop = item.stop.value_or(0) - position;
    sample->SetTime(item.timed ? &start : nullptr, item.timed && item.stop ? &stop : nullptr);
    auto [first, last] = item.mediaTime.value_or(std::pair<LONGLONG, LONGLONG>());
    sample->SetMediaTime(item.mediaTime ? &first : nullptr, item.mediaTime ? &last : nullptr);
    sample->SetSyncPoint(item.sync);
    sample->SetDiscontinuity(FALSE);
    sample->SetPreroll(FALSE);
    ++script.samplesFilled;
    return S_OK;
  }

  Script& script;
  const ScriptedStream& stream;
  // Changed while the thread is idle, or by it.
  std::size_t next = 0;
  // For those who ask for the position, on whatever thread; it changes while the pin's own thread is idle.
  CriticalSection positionLock;
  REFERENCE_TIME position = 0;
  REFERENCE_TIME stopPosition;
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

GUID newGuid() {
  GUID result = {};
  CoCreateGuid(&result);
  return result;
}

std::wstring text(const GUID& id) {
  wchar_t buffer[39];
  StringFromGUID2(id, buffer, static_cast<int>(std::size(buffer)));
  return buffer;
}

std::wstring mediaTypeKey(const GUID& id) {
  return L"Media Type\\" + text(MEDIATYPE_Stream) + L'\\' + text(id);
}

void setRegistryValue(const std::wstring& key, const wchar_t* name, const std::wstring& value) {
  if (RegSetKeyValueW(HKEY_CLASSES_ROOT, key.c_str(), name, REG_SZ, value.c_str(),
                      static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))) != ERROR_SUCCESS) {
    throw std::runtime_error("the kind of a scripted file cannot be registered");
  }
}

}  // namespace

std::size_t ScriptedStream::sampleAt(REFERENCE_TIME time) const {
  const auto after =
      std::upper_bound(samples.begin(), samples.end(), time,
                       [](REFERENCE_TIME one, const ScriptedSample& other) { return one < other.start; });
  return after == samples.begin() ? 0 : static_cast<std::size_t>(after - samples.begin()) - 1;
}

HRESULT landAsAsked(const ScriptedStream& stream, REFERENCE_TIME wanted, DWORD flags, Landing& landing) {
  if ((flags & AM_SEEKING_SeekToKeyFrame) != 0) {
    return landOnPreviousKey(stream, wanted, flags, landing);
  }
  landing = {stream.sampleAt(wanted), wanted};
  return S_OK;
}

HRESULT landOnPreviousKey(const ScriptedStream& stream, REFERENCE_TIME wanted, DWORD, Landing& landing) {
  std::size_t sample = stream.sampleAt(wanted);
  while (sample > 0 && !stream.samples[sample].sync) {
    --sample;
  }
  landing = {sample, stream.samples[sample].start};
  return S_OK;
}

HRESULT landOnNextKey(const ScriptedStream& stream, REFERENCE_TIME wanted, DWORD flags, Landing& landing) {
  const auto next = std::find_if(stream.samples.begin(), stream.samples.end(),
                                 [&](const ScriptedSample& sample) { return sample.sync && sample.start >= wanted; });
  return landOnPreviousKey(stream, next != stream.samples.end() ? next->start : wanted, flags, landing);
}

ScriptedStream::Seek landLater(std::size_t samples) {
  return [samples](const ScriptedStream& stream, REFERENCE_TIME wanted, DWORD, Landing& landing) {
    landing = {stream.sampleAt(wanted) + samples, wanted};
    return S_OK;
  };
}

ScriptedStream::Seek failToSeek(HRESULT failure) {
  return [failure](const ScriptedStream&, REFERENCE_TIME, DWORD, Landing&) { return failure; };
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
  if (FAILED(CreateAudioMediaType(&format, &type, TRUE))) {
    throw std::bad_alloc();
  }
  const double period = static_cast<double>(unitsPerSecond) * blockSamples / format.nSamplesPerSec;
  return streamOf(std::move(type), blocks, blockSamples * format.nBlockAlign, [&](std::size_t number) {
    return roundedHalfUp<REFERENCE_TIME>(period * static_cast<double>(number));
  });
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

// IFileSourceFilter

STDMETHODIMP ScriptedSource::Load(LPCOLESTR name, const AM_MEDIA_TYPE*) {
  fileName = name;
  return S_OK;
}

STDMETHODIMP ScriptedSource::GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE* type) {
  *name = static_cast<LPOLESTR>(CoTaskMemAlloc((fileName.size() + 1) * sizeof(wchar_t)));
  std::copy_n(fileName.c_str(), fileName.size() + 1, *name);
  if (type != nullptr) {
    *type = {};
  }
  return S_OK;
}

ScriptedFile::ScriptedFile(std::shared_ptr<Script> script)
    : id(newGuid()), file(".scripted", bytesOf(id)), source(id, [script](REFIID iid, void** object) {
        return makeCom<ScriptedSource>(script)->QueryInterface(iid, object);
      }) {
  // A pattern is: offset, length, mask, value.
  std::wstring pattern = L"0,16,,";
  for (const std::uint8_t byte : bytesOf(id)) {
    constexpr wchar_t digits[] = L"0123456789ABCDEF";
    pattern += digits[byte / 16];
    pattern += digits[byte % 16];
  }
  setRegistryValue(mediaTypeKey(id), L"0", pattern);
  setRegistryValue(mediaTypeKey(id), L"Source Filter", text(id));
}

ScriptedFile::~ScriptedFile() {
  RegDeleteTreeW(HKEY_CLASSES_ROOT, mediaTypeKey(id).c_str());
}

}  // namespace quillet::test
