#include "support/avi_mux.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <mutex>
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

const VIDEOINFOHEADER& videoFormat(const AM_MEDIA_TYPE& type) {
  return *reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat);
}

bool isWritable(const AM_MEDIA_TYPE& type) {
  if (type.formattype == FORMAT_VideoInfo && type.cbFormat >= sizeof(VIDEOINFOHEADER)) {
    const BITMAPINFOHEADER& format = videoFormat(type).bmiHeader;
    const REFERENCE_TIME frameTime = videoFormat(type).AvgTimePerFrame;
    return type.majortype == MEDIATYPE_Video && format.biWidth > 0 && format.biHeight != 0 && frameTime > 0 &&
           frameTime <= std::numeric_limits<LONG>::max();
  }
  const auto* const wave = reinterpret_cast<const WAVEFORMATEX*>(type.pbFormat);
  return type.majortype == MEDIATYPE_Audio && type.formattype == FORMAT_WaveFormatEx && type.cbFormat >= sizeof *wave &&
         wave->nBlockAlign > 0 && wave->nAvgBytesPerSec > 0;
}

/// The output pin.
class Output : public CBaseOutputPin {
 public:
  explicit Output(CBaseFilter& filter) : CBaseOutputPin(filter, L"AVI Out") {}

  HRESULT GetMediaType(int number, CMediaType* type) override {
    type->majortype = MEDIATYPE_Stream;
    type->subtype = MEDIASUBTYPE_Avi;
    return number == 0 ? S_OK : VFW_S_NO_MORE_ITEMS;
  }
  HRESULT CheckMediaType(const CMediaType* type) override {
    return type->majortype == MEDIATYPE_Stream && type->subtype == MEDIASUBTYPE_Avi ? S_OK : S_FALSE;
  }
  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
    request->cBuffers = std::max(request->cBuffers, 1L);  // Enough: the writer keeps none.
    request->cbBuffer = std::max(request->cbBuffer, 65536L);
    ALLOCATOR_PROPERTIES actual = {};
    return allocator->SetProperties(request, &actual);
  }

  /// Writes at a position of the file, in pieces of the buffers' size.
  /// @return what the writer answers other than S_OK.
  HRESULT write(LONGLONG position, const void* data, std::size_t size) {
    for (const auto* rest = static_cast<const BYTE*>(data); size > 0;) {
      Microsoft::WRL::ComPtr<IMediaSample> sample;
      if (const HRESULT result = GetDeliveryBuffer(&sample, nullptr, nullptr, 0); FAILED(result)) {
        return result;
      }
      const long piece = static_cast<long>(std::min(size, static_cast<std::size_t>(sample->GetSize())));
      BYTE* buffer = nullptr;
      sample->GetPointer(&buffer);
      std::copy_n(rest, piece, buffer);
      sample->SetActualDataLength(piece);
      LONGLONG next = position + piece;
      sample->SetTime(&position, &next);
      if (const HRESULT result = Deliver(sample.Get()); result != S_OK) {
        return result;
      }
      position = next;
      rest += piece;
      size -= static_cast<std::size_t>(piece);
    }
    return S_OK;
  }
};

class AviMux : public WithInterfaces<CBaseFilter, IConfigInterleaving, IConfigAviMux, ISpecifyPropertyPages> {
 public:
  explicit AviMux(std::shared_ptr<MuxScript> muxScript)
      : WithInterfaces(nullptr, CLSID_AviDest),
        script(std::move(muxScript)),
        output(addPin(std::make_unique<Output>(*this))) {
    offerFreeInput();
  }

  // IMediaFilter
  STDMETHODIMP Pause() override {
    const std::lock_guard guard(stateLock());
    const HRESULT result = isStopped() ? guardedMethod([this] { return begin(); }) : S_OK;
    return SUCCEEDED(result) ? CBaseFilter::Pause() : result;
  }

  // IConfigInterleaving
  STDMETHODIMP put_Mode(InterleavingMode newMode) override {
    return newMode >= 0 && newMode <= INTERLEAVE_NONE_BUFFERED ? give(&mode, newMode) : E_INVALIDARG;
  }
  STDMETHODIMP get_Mode(InterleavingMode* result) override { return give(result, mode); }
  STDMETHODIMP put_Interleaving(const REFERENCE_TIME* newInterleaving, const REFERENCE_TIME* newPreroll) override {
    interleaving = *newInterleaving;
    preroll = *newPreroll;
    return S_OK;
  }
  STDMETHODIMP get_Interleaving(REFERENCE_TIME* interleavingResult, REFERENCE_TIME* prerollResult) override {
    *interleavingResult = interleaving;
    *prerollResult = preroll;
    return script->getInterleaving;
  }

  // IConfigAviMux
  STDMETHODIMP SetMasterStream(LONG stream) override {
    return stream < static_cast<LONG>(inputs.size()) ? give(&masterStream, stream) : E_INVALIDARG;
  }
  STDMETHODIMP GetMasterStream(LONG* result) override { return give(result, masterStream); }
  STDMETHODIMP SetOutputCompatibilityIndex(BOOL oldIndex) override { return oldIndex ? S_OK : E_NOTIMPL; }
  STDMETHODIMP GetOutputCompatibilityIndex(BOOL* result) override { return give(result, TRUE); }

  // ISpecifyPropertyPages
  STDMETHODIMP GetPages(CAUUID* pages) override {
    pages->cElems = 2;
    pages->pElems = static_cast<GUID*>(CoTaskMemAlloc(2 * sizeof(GUID)));
    if (pages->pElems == nullptr) {
      return E_OUTOFMEMORY;
    }
    pages->pElems[0] = CLSID_AviMuxProptyPage;
    return give(&pages->pElems[1], CLSID_AviMuxProptyPage1);
  }

 protected:
  IUnknown* findInterface(REFIID id) override {
    const bool isRefused = (script->refuseInterleavingInterface && id == __uuidof(IConfigInterleaving)) ||
                           (script->noPropertyPages && id == __uuidof(ISpecifyPropertyPages));
    return isRefused ? nullptr : WithInterfaces::findInterface(id);
  }

 private:
  /// An input pin and its stream.
  class Input : public InputPin {
   public:
    Input(AviMux& owner, const std::wstring& name) : InputPin(owner, name.c_str()), mux(owner) {}

    /// Begins a file, as its stream `streamNumber`.
    void begin(std::size_t streamNumber) {
      const AM_MEDIA_TYPE& type = connectionType();
      WORD kind = cktypeWAVEbytes;
      if (type.majortype == MEDIATYPE_Audio) {
        description = audioStream(Bytes(type.pbFormat, type.pbFormat + type.cbFormat), {});
      } else {
        const BITMAPINFOHEADER& format = videoFormat(type).bmiHeader;
        const bool isRgb = format.biCompression == BI_RGB || format.biCompression == BI_BITFIELDS;
        kind = isRgb ? cktypeDIBbits : cktypeDIBcompressed;
        description = videoStream(format, unitsPerSecond, static_cast<DWORD>(videoFormat(type).AvgTimePerFrame), {});
        description.format.assign(type.pbFormat + offsetof(VIDEOINFOHEADER, bmiHeader), type.pbFormat + type.cbFormat);
        description.header.bottom = static_cast<SHORT>(std::abs(format.biHeight));
      }
      number = streamNumber;
      id = MAKEAVICKID(kind, number);
      hasDeltas = kind == cktypeDIBcompressed;
      position = 0;
      isActive = true;
      hasEnded = false;
    }

    // CBasePin
    HRESULT CheckMediaType(const CMediaType* type) override {
      const HRESULT fault = mux.script->acceptInput;
      return FAILED(fault) ? fault : type->pbFormat != nullptr && isWritable(*type) ? S_OK : S_FALSE;
    }
    HRESULT CompleteConnect(IPin*) override { return mux.offerFreeInput(); }
    HRESULT Run(REFERENCE_TIME) override { return mux.script->run; }
    HRESULT Inactive() override {
      isActive = false;
      return mux.wakeAll();
    }

    // IMemInputPin
    STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES* result) override {
      return mux.script->demands ? give(result, *mux.script->demands) : E_NOTIMPL;
    }
    STDMETHODIMP ReceiveCanBlock() override { return S_OK; }
    STDMETHODIMP Receive(IMediaSample* sample) override {
      return mux.stream([&] { return receive(*sample); });
    }

    // IPin
    STDMETHODIMP EndOfStream() override {
      return mux.stream([&] {
        const HRESULT ready = readiness();
        hasEnded = hasEnded || ready == S_OK;
        mux.wakeAll();
        const auto ended = [](const Input* in) { return in->hasEnded; };
        return ready == S_OK && std::all_of(mux.streams.begin(), mux.streams.end(), ended) ? mux.complete() : ready;
      });
    }
    STDMETHODIMP BeginFlush() override {
      flushing = true;
      return mux.wakeAll();
    }

    // Guarded by the stream lock.
    AviStream description;  // Without its chunks.
    DWORD id = 0;
    bool hasDeltas = false;
    REFERENCE_TIME position = 0;  // Where the next sample is expected, or the one that waits begins.
    bool hasEnded = false;

    // Signalled when the stream may not have to wait any longer. Only one thread at a time streams, and so waits.
    const KernelHandle wake{CreateEventA(nullptr, FALSE, FALSE, nullptr)};

   private:
    /// @return S_OK when the stream goes on.
    HRESULT readiness() const {
      if (FAILED(mux.failure) || !isActive) {
        return FAILED(mux.failure) ? mux.failure : VFW_E_WRONG_STATE;
      }
      return flushing ? S_FALSE : hasEnded ? VFW_E_SAMPLE_REJECTED_EOS : S_OK;
    }

    bool mustWait(REFERENCE_TIME start) const {
      return (mux.mode == INTERLEAVE_CAPTURE || mux.mode == INTERLEAVE_FULL) &&
             std::any_of(mux.streams.begin(), mux.streams.end(), [&](const Input* other) {
               return other != this && !other->hasEnded && start > other->position + mux.interleaving + mux.preroll;
             });
    }

    HRESULT receive(IMediaSample& sample) {
      REFERENCE_TIME begin = 0;
      REFERENCE_TIME stop = 0;
      const HRESULT timed = sample.GetTime(&begin, &stop);
      const MuxSample record = {number, SUCCEEDED(timed) ? std::optional(begin) : std::nullopt,
                                timed == S_OK ? std::optional(stop) : std::nullopt, sample.IsSyncPoint() == S_OK,
                                sample.GetActualDataLength()};
      const REFERENCE_TIME start = record.start.value_or(position);
      position = std::max(position, start);
      mux.wakeAll();
      // The wait ends: of the streams that wait, the one whose sample starts first is ahead of none of them. A stream
      // that does not wait brings another sample or its end; a flush, a stop and an abort end all waits.
      while (readiness() == S_OK && mustWait(start)) {
        mux.streamLock.unlock();
        WaitForSingleObject(wake.get(), INFINITE);
        mux.streamLock.lock();
      }
      BYTE* data = nullptr;
      sample.GetPointer(&data);
      const HRESULT ready = readiness();
      return ready == S_OK ? mux.write(*this, record, start, data) : ready;
    }

    AviMux& mux;
    std::size_t number = 0;
    std::atomic<bool> isActive = false;
  };

  /// Adds an input pin when all are connected.
  /// @return S_OK, for the pin to pass on.
  HRESULT offerFreeInput() {
    if (std::all_of(inputs.begin(), inputs.end(), [](const Input* in) { return in->isConnected(); })) {
      const wchar_t* const prefix = inputs.size() < 9 ? L"Input 0" : L"Input ";
      inputs.push_back(&addPin(std::make_unique<Input>(*this, prefix + std::to_wstring(inputs.size() + 1))));
    }
    return S_OK;
  }

  HRESULT begin() {
    const std::lock_guard guard(streamLock);
    streams.clear();
    for (Input* const in : inputs) {
      if (in->isConnected()) {
        in->begin(streams.size());
        streams.push_back(in);
      }
    }
    if (streams.empty() == output.isConnected()) {
      return VFW_E_NOT_CONNECTED;
    }
    index.clear();
    written = S_OK;
    failure = S_OK;
    movieStart = headers().size();
    position = static_cast<LONGLONG>(movieStart);
    return S_OK;
  }

  /// Has the streams that wait look whether they still must.
  /// @return S_OK, for the pins to pass on.
  HRESULT wakeAll() const {
    for (const Input* const in : inputs) {
      SetEvent(in->wake.get());
    }
    return S_OK;
  }

  /// Takes a step of a streaming thread. The first failure aborts the graph, unless it only tells that the filter is
  /// being stopped or that a sample came too late.
  template <class Step>
  HRESULT stream(Step step) {
    const std::lock_guard guard(streamLock);
    const HRESULT result = guardedMethod(step);
    if (FAILED(result) && SUCCEEDED(failure) && result != VFW_E_WRONG_STATE && result != VFW_E_NOT_COMMITTED &&
        result != VFW_E_SAMPLE_REJECTED_EOS) {
      failure = result;
      wakeAll();
      NotifyEvent(EC_ERRORABORT, result, 0);
    }
    return result;
  }

  /// Writes a sample, and in front of it the frames that are missing, as dropped ones.
  HRESULT write(Input& input, const MuxSample& sample, REFERENCE_TIME start, const BYTE* data) {
    if (script->failReceiveAfter && script->samples.size() >= *script->failReceiveAfter) {
      return E_FAIL;
    }
    AviStreamHeader& header = input.description.header;
    const bool isVideo = header.type == streamtypeVIDEO;
    const auto size = static_cast<DWORD>(sample.size);
    const DWORD units = isVideo ? 1 : size / header.sampleSize;
    while (isVideo && written == S_OK && header.length < (start + header.scale / 2) / header.scale) {
      index.push_back({input.id, 0, movieSize(), 0});
      append(input.id, nullptr, 0);
      ++header.length;
    }
    index.push_back({input.id, sample.sync || !input.hasDeltas ? DWORD{AVIIF_KEYFRAME} : 0, movieSize(), size});
    append(input.id, data, size);
    if (written == S_OK) {
      header.length += units;
      header.suggestedBufferSize = std::max(header.suggestedBufferSize, size);
      const REFERENCE_TIME duration = unitsPerSecond * header.scale * units / header.rate;
      input.position = std::max(input.position, sample.stop.value_or(start + duration));
      wakeAll();
      script->samples.push_back(sample);
    }
    return written;
  }

  HRESULT complete() {
    const DWORD movieListSize = movieSize();
    append(ckidAVINEWINDEX, index.data(), static_cast<DWORD>(index.size() * sizeof index[0]));
    Bytes start = headers();
    // Sizes of chunks follow the ids, and count neither these nor themselves.
    const DWORD fileSize = static_cast<DWORD>(position) - 8;
    std::memcpy(&start[4], &fileSize, sizeof fileSize);
    std::memcpy(&start[movieStart - 8], &movieListSize, sizeof movieListSize);
    written = written == S_OK ? output.write(0, start.data(), start.size()) : written;
    return written == S_OK ? output.DeliverEndOfStream() : written;
  }

  /// The file up to its first chunk of data, as if there were none.
  Bytes headers() const {
    std::vector<AviStream> descriptions;
    for (const Input* const in : streams) {
      descriptions.push_back(in->description);
    }
    constexpr std::size_t emptyIndexSize = 8;
    Bytes result = aviFile(std::move(descriptions)).build();
    result.resize(result.size() - emptyIndexSize);
    return result;
  }

  /// Bytes of the list of chunks, its type of 4 bytes included: where the index says that the next chunk is.
  DWORD movieSize() const { return static_cast<DWORD>(position - static_cast<LONGLONG>(movieStart) + 4); }

  /// Appends a chunk to the file.
  void append(DWORD id, const void* data, DWORD size) {
    Bytes chunk = bytesOf(std::pair(id, size));
    chunk.insert(chunk.end(), static_cast<const BYTE*>(data), static_cast<const BYTE*>(data) + size);
    chunk.resize(chunk.size() + size % 2);
    const LONGLONG end = position + static_cast<LONGLONG>(chunk.size());
    if (written == S_OK) {
      const bool fits = end <= std::numeric_limits<DWORD>::max();
      written = fits ? output.write(position, chunk.data(), chunk.size()) : HRESULT_FROM_WIN32(ERROR_FILE_TOO_LARGE);
      position = end;
    }
  }

  const std::shared_ptr<MuxScript> script;
  Output& output;
  std::vector<Input*> inputs;
  InterleavingMode mode = INTERLEAVE_NONE;
  REFERENCE_TIME interleaving = unitsPerSecond;
  REFERENCE_TIME preroll = 0;
  LONG masterStream = -1;

  // Guards what streaming changes. A streaming thread takes no other lock of the filter, and whoever holds it waits for no
  // thread: the writer writes at once, and an event only goes to the graph's queue.
  CriticalSection streamLock;
  std::vector<Input*> streams;  // The connected inputs.
  std::vector<AVIINDEXENTRY> index;
  std::size_t movieStart = 0;
  LONGLONG position = 0;
  HRESULT written = S_OK;  // The writer's first answer other than S_OK: nothing is appended from then on.
  HRESULT failure = S_OK;  // What has aborted the graph.
};

}  // namespace

ClassObjectOverride::Create aviMux(std::shared_ptr<MuxScript> script) {
  return creating<AviMux>(std::move(script));
}

}  // namespace quillet::test
