#include "support/avi_mux.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <mutex>
#include <numeric>
#include <string>
#include <utility>

#include <amvideo.h>
#include <evcode.h>
#include <vfwmsgs.h>

#include "core/guarded.h"
#include "core/handles.h"
#include "core/time_units.h"
#include "directshow/base/c_base_output_pin.h"
#include "support/avi_builder.h"
#include "support/input_pin.h"

namespace quillet::test {
namespace {

bool isRgb(const BITMAPINFOHEADER& format) {
  return format.biCompression == BI_RGB || format.biCompression == BI_BITFIELDS;
}

const VIDEOINFOHEADER& videoFormat(const AM_MEDIA_TYPE& type) {
  return *reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat);
}

const WAVEFORMATEX& waveFormat(const AM_MEDIA_TYPE& type) {
  return *reinterpret_cast<const WAVEFORMATEX*>(type.pbFormat);
}

bool isWritableVideo(const AM_MEDIA_TYPE& type) {
  if (type.majortype != MEDIATYPE_Video || type.formattype != FORMAT_VideoInfo || type.pbFormat == nullptr ||
      type.cbFormat < sizeof(VIDEOINFOHEADER)) {
    return false;
  }
  const VIDEOINFOHEADER& format = videoFormat(type);
  return format.bmiHeader.biWidth > 0 && format.bmiHeader.biHeight != 0 && format.AvgTimePerFrame > 0 &&
         format.AvgTimePerFrame <= std::numeric_limits<LONG>::max();
}

bool isWritableAudio(const AM_MEDIA_TYPE& type) {
  return type.majortype == MEDIATYPE_Audio && type.formattype == FORMAT_WaveFormatEx && type.pbFormat != nullptr &&
         type.cbFormat >= sizeof(WAVEFORMATEX) && waveFormat(type).nBlockAlign > 0 &&
         waveFormat(type).nAvgBytesPerSec > 0;
}

/// Whether a failure in streaming is none of the graph: it is being stopped, or a sample came late.
bool isRefusal(HRESULT result) {
  return result == VFW_E_WRONG_STATE || result == VFW_E_NOT_COMMITTED || result == VFW_E_SAMPLE_REJECTED_EOS;
}

MuxSample describe(std::size_t stream, IMediaSample& sample) {
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  const HRESULT timed = sample.GetTime(&start, &stop);
  return {stream, SUCCEEDED(timed) ? std::optional(start) : std::nullopt,
          timed == S_OK ? std::optional(stop) : std::nullopt, sample.IsSyncPoint() == S_OK,
          sample.GetActualDataLength()};
}

}  // namespace

/// The output pin: writes at any position of the file.
class AviMux::Output : public CBaseOutputPin {
 public:
  explicit Output(CBaseFilter& filter) : CBaseOutputPin(filter, L"AVI Out") {}

  HRESULT CheckMediaType(const CMediaType* type) override {
    return type->majortype == MEDIATYPE_Stream && type->subtype == MEDIASUBTYPE_Avi ? S_OK : S_FALSE;
  }

  HRESULT GetMediaType(int number, CMediaType* type) override {
    if (number != 0) {
      return number < 0 ? E_INVALIDARG : VFW_S_NO_MORE_ITEMS;
    }
    type->majortype = MEDIATYPE_Stream;
    type->subtype = MEDIASUBTYPE_Avi;
    type->formattype = FORMAT_None;
    return S_OK;
  }

  /// What is written is cut into pieces of that size. One buffer is enough, since the writer keeps none.
  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
    request->cBuffers = std::max(request->cBuffers, 1L);
    request->cbBuffer = std::max(request->cbBuffer, 65536L);
    ALLOCATOR_PROPERTIES actual = {};
    return allocator->SetProperties(request, &actual);
  }

  /// @return what the writer answers other than S_OK.
  HRESULT write(LONGLONG position, const void* data, std::size_t size) {
    for (const auto* rest = static_cast<const BYTE*>(data); size > 0;) {
      Microsoft::WRL::ComPtr<IMediaSample> sample;
      HRESULT result = GetDeliveryBuffer(&sample, nullptr, nullptr, 0);
      BYTE* buffer = nullptr;
      if (SUCCEEDED(result)) {
        result = sample->GetPointer(&buffer);
      }
      if (FAILED(result)) {
        return result;
      }
      const std::size_t piece = std::min(size, static_cast<std::size_t>(sample->GetSize()));
      std::copy_n(rest, piece, buffer);
      sample->SetActualDataLength(static_cast<long>(piece));
      LONGLONG next = position + static_cast<LONGLONG>(piece);
      sample->SetTime(&position, &next);
      result = Deliver(sample.Get());
      if (result != S_OK) {
        return result;
      }
      position = next;
      rest += piece;
      size -= piece;
    }
    return S_OK;
  }
};

/// An input pin and its stream.
class AviMux::Input : public InputPin {
 public:
  Input(AviMux& owner, const wchar_t* name) : InputPin(owner, name), mux(owner) {}

  /// What the headers say of the stream.
  AviStream description() const {
    const AM_MEDIA_TYPE& type = connectionType();
    AviStream result;
    if (isVideo()) {
      const BITMAPINFOHEADER& format = videoFormat(type).bmiHeader;
      const auto common = std::gcd(unitsPerSecond, videoFormat(type).AvgTimePerFrame);
      result = videoStream(format, static_cast<DWORD>(unitsPerSecond / common),
                           static_cast<DWORD>(videoFormat(type).AvgTimePerFrame / common), {});
      result.format.assign(type.pbFormat + offsetof(VIDEOINFOHEADER, bmiHeader), type.pbFormat + type.cbFormat);
      result.header.handler = isRgb(format) ? mmioFOURCC('D', 'I', 'B', ' ') : format.biCompression;
      result.header.bottom = static_cast<SHORT>(std::abs(format.biHeight));
      result.header.length = frames;
    } else {
      result = audioStream(Bytes(type.pbFormat, type.pbFormat + type.cbFormat), {});
      result.header.length = static_cast<DWORD>(bytes / waveFormat(type).nBlockAlign);
    }
    result.header.suggestedBufferSize = largestChunk;
    return result;
  }

  bool isVideo() const { return connectionType().majortype == MEDIATYPE_Video; }
  bool hasOnlyKeys() const { return !isVideo() || isRgb(videoFormat(connectionType()).bmiHeader); }
  REFERENCE_TIME frameTime() const { return videoFormat(connectionType()).AvgTimePerFrame; }

  REFERENCE_TIME duration(long size) const {
    return isVideo() ? frameTime() : unitsPerSecond * size / waveFormat(connectionType()).nAvgBytesPerSec;
  }

  DWORD chunkId() const {
    const WORD kind = !isVideo() ? cktypeWAVEbytes : hasOnlyKeys() ? cktypeDIBbits : cktypeDIBcompressed;
    return MAKEAVICKID(kind, number);
  }

  /// Begins a file, as its stream `streamNumber`.
  void begin(std::size_t streamNumber) {
    number = streamNumber;
    isActive = true;
    hasEnded = false;
    position = 0;
    frames = 0;
    bytes = 0;
    largestChunk = 0;
  }

  // CBasePin
  HRESULT CheckMediaType(const CMediaType* type) override {
    const HRESULT fault = mux.script->faults.acceptInput;
    return FAILED(fault) ? fault : isWritableVideo(*type) || isWritableAudio(*type) ? S_OK : S_FALSE;
  }

  HRESULT CompleteConnect(IPin*) override {
    mux.offerFreeInput();
    return S_OK;
  }

  HRESULT Inactive() override {
    const std::lock_guard guard(mux.streamLock);
    isActive = false;
    mux.wakeAll();
    return S_OK;
  }

  // IMemInputPin
  STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES* result) override {
    const auto& demands = mux.script->faults.demands;
    return demands ? give(result, *demands) : E_NOTIMPL;
  }

  STDMETHODIMP ReceiveCanBlock() override { return S_OK; }

  STDMETHODIMP Receive(IMediaSample* sample) override {
    return sample == nullptr ? E_POINTER : mux.stream([&] { return take(*sample); });
  }

  // IPin
  STDMETHODIMP EndOfStream() override {
    bool isLast = false;
    const HRESULT result = mux.stream([&] {
      if (const HRESULT ready = readiness(); ready != S_OK) {
        return ready;
      }
      hasEnded = true;
      mux.wakeAll();
      isLast = std::all_of(mux.streams.begin(), mux.streams.end(), [](const Input* in) { return in->hasEnded; });
      return isLast ? mux.complete() : S_OK;
    });
    return isLast && result == S_OK ? mux.output.DeliverEndOfStream() : result;
  }

  STDMETHODIMP BeginFlush() override {
    const std::lock_guard guard(mux.streamLock);
    InputPin::BeginFlush();
    mux.wakeAll();
    return S_OK;
  }

  std::size_t number = 0;
  bool hasEnded = false;
  REFERENCE_TIME position = 0;  // No sample to come is expected to start earlier.
  DWORD frames = 0;
  LONGLONG bytes = 0;
  DWORD largestChunk = 0;
  // Signalled when the stream may have to wait no longer. One thread at a time streams, and so waits for it.
  const KernelHandle wake{CreateEventA(nullptr, FALSE, FALSE, nullptr)};

 private:
  /// @return S_OK when the stream goes on.
  HRESULT readiness() const {
    if (FAILED(mux.failure)) {
      return mux.failure;
    }
    if (!isActive) {
      return VFW_E_WRONG_STATE;
    }
    return flushing ? S_FALSE : hasEnded ? VFW_E_SAMPLE_REJECTED_EOS : S_OK;
  }

  HRESULT take(IMediaSample& sample) {
    const MuxSample record = describe(number, sample);
    const REFERENCE_TIME start = record.start.value_or(position);
    position = std::max(position, start);
    mux.wakeAll();
    // The wait ends: the one of the waiting streams whose sample starts first is not ahead of any other that waits. A
    // stream that does not wait brings another sample or its end; a flush, a stop and an abort end all waits.
    while (readiness() == S_OK && mux.mustWait(*this, start)) {
      mux.streamLock.unlock();
      WaitForSingleObject(wake.get(), INFINITE);
      mux.streamLock.lock();
    }
    if (const HRESULT ready = readiness(); ready != S_OK) {
      return ready;
    }
    BYTE* data = nullptr;
    const HRESULT result = sample.GetPointer(&data);
    return SUCCEEDED(result) ? mux.writeSample(*this, record, start, data) : result;
  }

  AviMux& mux;
  bool isActive = false;
};

AviMux::AviMux(std::shared_ptr<MuxScript> muxScript)
    : WithInterfaces(nullptr, CLSID_AviDest),
      script(std::move(muxScript)),
      output(addPin(std::make_unique<Output>(*this))) {
  offerFreeInput();
}

ClassObjectOverride::Create AviMux::create(std::shared_ptr<MuxScript> script) {
  return [script](REFIID iid, void** object) {
    return Microsoft::WRL::ComPtr<AviMux>(new AviMux(script))->QueryInterface(iid, object);
  };
}

IUnknown* AviMux::findInterface(REFIID id) {
  const bool isRefused = (script->faults.refuseInterleavingInterface && id == __uuidof(IConfigInterleaving)) ||
                         (script->faults.noPropertyPages && id == __uuidof(ISpecifyPropertyPages));
  return isRefused ? nullptr : WithInterfaces::findInterface(id);
}

/// Adds an input pin when all are connected.
void AviMux::offerFreeInput() {
  if (std::all_of(inputs.begin(), inputs.end(), [](const Input* in) { return in->isConnected(); })) {
    const std::wstring number = std::to_wstring(inputs.size() + 1);
    inputs.push_back(
        &addPin(std::make_unique<Input>(*this, (L"Input " + std::wstring(number.size() < 2, L'0') + number).c_str())));
  }
}

HRESULT AviMux::begin() {
  const std::lock_guard guard(streamLock);
  streams.clear();
  for (Input* const in : inputs) {
    if (in->isConnected()) {
      in->begin(streams.size());
      streams.push_back(in);
    }
  }
  index.clear();
  failure = S_OK;
  movieStart = headers().size();
  position = static_cast<LONGLONG>(movieStart);
  return streams.empty() == output.isConnected() ? VFW_E_NOT_CONNECTED : S_OK;
}

bool AviMux::mustWait(const Input& input, REFERENCE_TIME start) const {
  return (mode == INTERLEAVE_CAPTURE || mode == INTERLEAVE_FULL) &&
         std::any_of(streams.begin(), streams.end(), [&](const Input* other) {
           return other != &input && !other->hasEnded && start > other->position + interleaving + preroll;
         });
}

void AviMux::wakeAll() const {
  for (const Input* const in : inputs) {
    SetEvent(in->wake.get());
  }
}

/// Writes a sample, and in front of it the frames that are missing, as dropped ones.
HRESULT AviMux::writeSample(Input& input, const MuxSample& sample, REFERENCE_TIME start, const BYTE* data) {
  if (script->samples.size() >= script->faults.failReceiveAfter.value_or(std::numeric_limits<std::size_t>::max())) {
    return E_FAIL;
  }
  HRESULT result = S_OK;
  if (input.isVideo()) {
    const REFERENCE_TIME due = (start + input.frameTime() / 2) / input.frameTime();
    while (result == S_OK && input.frames < due) {
      result = writeChunk(input, nullptr, 0, false);
    }
  }
  if (result == S_OK) {
    result = writeChunk(input, data, static_cast<DWORD>(sample.size), sample.sync || input.hasOnlyKeys());
  }
  if (result == S_OK) {
    script->samples.push_back(sample);
    input.position = std::max(input.position, sample.stop.value_or(start + input.duration(sample.size)));
    wakeAll();
  }
  return result;
}

HRESULT AviMux::writeChunk(Input& input, const BYTE* data, DWORD size, bool isKey) {
  constexpr DWORD listTypeSize = 4;  // Offsets count from the type of the list.
  const DWORD chunk[] = {input.chunkId(), size};
  index.push_back({chunk[0], isKey ? DWORD{AVIIF_KEYFRAME} : 0,
                   static_cast<DWORD>(position - static_cast<LONGLONG>(movieStart)) + listTypeSize, size});
  HRESULT result = append(chunk, sizeof chunk);
  if (result == S_OK) {
    result = append(data, size);
  }
  if (result == S_OK) {
    result = append("", size % 2);
  }
  ++input.frames;
  input.bytes += size;
  input.largestChunk = std::max(input.largestChunk, size);
  return result;
}

HRESULT AviMux::append(const void* data, std::size_t size) {
  if (position + static_cast<LONGLONG>(size) > std::numeric_limits<DWORD>::max()) {
    return HRESULT_FROM_WIN32(ERROR_FILE_TOO_LARGE);
  }
  const HRESULT result = output.write(position, data, size);
  position += static_cast<LONGLONG>(size);
  return result;
}

HRESULT AviMux::complete() {
  const auto movieEnd = static_cast<DWORD>(position);
  const DWORD indexSize = static_cast<DWORD>(index.size() * sizeof index[0]);
  const DWORD chunk[] = {ckidAVINEWINDEX, indexSize};
  HRESULT result = append(chunk, sizeof chunk);
  if (result == S_OK) {
    result = append(index.data(), indexSize);
  }
  if (result != S_OK) {
    return result;
  }
  Bytes start = headers();
  const auto put = [&](std::size_t place, DWORD value) { std::memcpy(start.data() + place, &value, sizeof value); };
  put(4, static_cast<DWORD>(position) - 8);                            // The RIFF's size.
  put(movieStart - 8, movieEnd - static_cast<DWORD>(movieStart) + 4);  // The list's, which counts its type.
  return output.write(0, start.data(), start.size());
}

/// The file up to its first chunk of data, as if there were none.
Bytes AviMux::headers() const {
  std::vector<AviStream> descriptions;
  for (const Input* const in : streams) {
    descriptions.push_back(in->description());
  }
  constexpr std::size_t emptyIndexSize = 8;
  Bytes result = aviFile(std::move(descriptions)).build();
  result.resize(result.size() - emptyIndexSize);
  return result;
}

/// Takes a step of a streaming thread. The first failure aborts the graph.
template <class Step>
HRESULT AviMux::stream(Step step) {
  HRESULT result = S_OK;
  bool aborts = false;
  {
    const std::lock_guard guard(streamLock);
    result = guardedMethod(step);
    aborts = FAILED(result) && SUCCEEDED(failure) && !isRefusal(result);
    if (aborts) {
      failure = result;
      wakeAll();
    }
  }
  if (aborts) {
    NotifyEvent(EC_ERRORABORT, result, 0);
  }
  return result;
}

// IMediaFilter

STDMETHODIMP AviMux::Pause() {
  const std::lock_guard guard(stateLock());
  const HRESULT result = isStopped() ? guardedMethod([this] { return begin(); }) : S_OK;
  return SUCCEEDED(result) ? CBaseFilter::Pause() : result;
}

STDMETHODIMP AviMux::Run(REFERENCE_TIME start) {
  return FAILED(script->faults.run) ? script->faults.run : CBaseFilter::Run(start);
}

// IConfigInterleaving

STDMETHODIMP AviMux::put_Mode(InterleavingMode newMode) {
  const std::lock_guard guard(stateLock());
  if (!isStopped() || newMode < INTERLEAVE_NONE || newMode > INTERLEAVE_NONE_BUFFERED) {
    return isStopped() ? E_INVALIDARG : VFW_E_NOT_STOPPED;
  }
  mode = newMode;
  return S_OK;
}

STDMETHODIMP AviMux::put_Interleaving(const REFERENCE_TIME* newInterleaving, const REFERENCE_TIME* newPreroll) {
  if (newInterleaving == nullptr || newPreroll == nullptr) {
    return E_POINTER;
  }
  const std::lock_guard guard(stateLock());
  if (!isStopped() || *newInterleaving < 0 || *newPreroll < 0) {
    return isStopped() ? E_INVALIDARG : VFW_E_NOT_STOPPED;
  }
  interleaving = *newInterleaving;
  preroll = *newPreroll;
  return S_OK;
}

STDMETHODIMP AviMux::get_Interleaving(REFERENCE_TIME* interleavingResult, REFERENCE_TIME* prerollResult) {
  if (FAILED(script->faults.getInterleaving)) {
    return script->faults.getInterleaving;
  }
  const HRESULT result = give(interleavingResult, interleaving);
  return SUCCEEDED(result) ? give(prerollResult, preroll) : result;
}

// IConfigAviMux

STDMETHODIMP AviMux::SetMasterStream(LONG stream) {
  const std::lock_guard guard(stateLock());
  if (stream < -1 || stream >= static_cast<LONG>(inputs.size())) {
    return E_INVALIDARG;
  }
  masterStream = stream;
  return S_OK;
}

// ISpecifyPropertyPages

STDMETHODIMP AviMux::GetPages(CAUUID* pages) {
  if (pages == nullptr) {
    return E_POINTER;
  }
  pages->cElems = 2;
  pages->pElems = static_cast<GUID*>(CoTaskMemAlloc(2 * sizeof(GUID)));
  if (pages->pElems == nullptr) {
    return E_OUTOFMEMORY;
  }
  pages->pElems[0] = CLSID_AviMuxProptyPage;
  pages->pElems[1] = CLSID_AviMuxProptyPage1;
  return S_OK;
}

}  // namespace quillet::test
