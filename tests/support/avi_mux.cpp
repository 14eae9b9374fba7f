#include "support/avi_mux.h"

#include <algorithm>
#include <mutex>

#include <amvideo.h>
#include <evcode.h>
#include <vfwmsgs.h>

#include "core/time_units.h"
#include "directshow/base/c_base_output_pin.h"
#include "platform/guarded.h"
#include "support/avi_builder.h"
#include "support/input_pin.h"
#include "support/unused_interfaces.h"

namespace quillet::test {
namespace {

const VIDEOINFOHEADER& videoFormat(const AM_MEDIA_TYPE& type) {
  return *reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat);
}

bool isWritable(const AM_MEDIA_TYPE& type) {
  return type.formattype == FORMAT_WaveFormatEx ||
         (type.formattype == FORMAT_VideoInfo && videoFormat(type).AvgTimePerFrame > 0);
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
  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
    *request = {1, 65536, 1, 0};  // Enough: the writer keeps none.
    ALLOCATOR_PROPERTIES actual = {};
    return allocator->SetProperties(request, &actual);
  }

  /// Writes the file, in pieces of the buffers' size.
  /// @return what the writer answers other than S_OK.
  HRESULT write(const Bytes& file, DWORD msPerPiece) {
    LONGLONG position = 0;
    while (position < static_cast<LONGLONG>(file.size())) {
      Sleep(msPerPiece);
      Microsoft::WRL::ComPtr<IMediaSample> sample;
      if (const HRESULT result = GetDeliveryBuffer(&sample, nullptr, nullptr, 0); FAILED(result)) {
        return result;
      }
      LONGLONG next = std::min<LONGLONG>(position + sample->GetSize(), static_cast<LONGLONG>(file.size()));
      BYTE* buffer = nullptr;
      sample->GetPointer(&buffer);
      std::copy(file.begin() + position, file.begin() + next, buffer);
      sample->SetActualDataLength(static_cast<long>(next - position));
      sample->SetTime(&position, &next);
      if (const HRESULT result = Deliver(sample.Get()); result != S_OK) {
        return result;
      }
      position = next;
    }
    return S_OK;
  }
};

class AviMux
    : public UnusedSeeking<WithInterfaces<CBaseFilter, IConfigInterleaving, ISpecifyPropertyPages, IMediaSeeking>> {
 public:
  explicit AviMux(std::shared_ptr<MuxScript> muxScript)
      : UnusedSeeking(nullptr, CLSID_AviDest),
        script(std::move(muxScript)),
        output(addPin(std::make_unique<Output>(*this))) {
    script->interleaving = unitsPerSecond;
    offerFreeInput();
  }

  // IConfigInterleaving
  STDMETHODIMP put_Mode(InterleavingMode newMode) override { return give(&mode, newMode); }
  STDMETHODIMP get_Mode(InterleavingMode* result) override { return give(result, mode); }
  STDMETHODIMP put_Interleaving(const REFERENCE_TIME* newInterleaving, const REFERENCE_TIME*) override {
    return give(&script->interleaving, *newInterleaving);
  }
  STDMETHODIMP get_Interleaving(REFERENCE_TIME* result, REFERENCE_TIME* preroll) override {
    *preroll = 0;
    return give(result, script->interleaving);
  }

  // IMediaSeeking
  STDMETHODIMP GetCurrentPosition(LONGLONG* result) override { return give(result, progress.load()); }

  // ISpecifyPropertyPages
  STDMETHODIMP GetPages(CAUUID* pages) override {
    pages->cElems = 1;
    pages->pElems = static_cast<GUID*>(CoTaskMemAlloc(sizeof(GUID)));
    return give(pages->pElems, CLSID_AviMuxProptyPage);
  }

 protected:
  IUnknown* findInterface(REFIID id) override {
    return std::ranges::count(script->missing, id) > 0 ? nullptr : UnusedSeeking::findInterface(id);
  }

 private:
  /// An input pin and its stream.
  class Input : public InputPin {
   public:
    Input(AviMux& owner, std::size_t streamNumber)
        : InputPin(owner, (L"Input " + std::to_wstring(streamNumber)).c_str()), mux(owner), number(streamNumber) {}

    bool isOver() const { return !isConnected() || hasEnded; }

    /// The stream as it is in the file.
    AviStream stream() const {
      const AM_MEDIA_TYPE& type = connectionType();
      if (type.majortype == MEDIATYPE_Audio) {
        return audioStream(Bytes(type.pbFormat, type.pbFormat + type.cbFormat), chunks);
      }
      const BITMAPINFOHEADER& format = videoFormat(type).bmiHeader;
      AviStream result =
          videoStream(format, unitsPerSecond, static_cast<DWORD>(videoFormat(type).AvgTimePerFrame), chunks);
      result.format.assign(type.pbFormat + offsetof(VIDEOINFOHEADER, bmiHeader), type.pbFormat + type.cbFormat);
      result.header.bottom = static_cast<SHORT>(std::abs(format.biHeight));
      return result;
    }

    // CBasePin
    HRESULT CheckMediaType(const CMediaType* type) override {
      const HRESULT fault = mux.script->acceptInput;
      return FAILED(fault) ? fault : isWritable(*type) ? S_OK : S_FALSE;
    }
    HRESULT CompleteConnect(IPin*) override { return mux.offerFreeInput(); }
    HRESULT Active() override {
      const std::lock_guard guard(mux.streamLock);
      chunks.clear();
      position = 0;
      isActive = true;
      hasEnded = false;
      return mux.failure = S_OK;
    }
    HRESULT Inactive() override {
      const std::lock_guard guard(mux.streamLock);
      isActive = false;
      mux.changed.wakeAll();
      return S_OK;
    }

    // IMemInputPin
    STDMETHODIMP NotifyAllocator(IMemAllocator* allocator, BOOL) override {
      mux.script->types.push_back(connectionType());
      return allocator->GetProperties(&mux.script->buffers.emplace_back());
    }
    STDMETHODIMP ReceiveCanBlock() override { return S_OK; }
    STDMETHODIMP Receive(IMediaSample* sample) override {
      return mux.stream([&] { return receive(*sample); });
    }

    // IPin
    STDMETHODIMP EndOfStream() override {
      return mux.stream([&] {
        hasEnded = true;
        mux.changed.wakeAll();
        return std::ranges::all_of(mux.inputs, &Input::isOver) ? mux.complete() : S_OK;
      });
    }

   private:
    /// @return S_OK when the stream goes on.
    HRESULT readiness() const { return FAILED(mux.failure) ? mux.failure : isActive ? S_OK : VFW_E_WRONG_STATE; }

    bool mustWait(REFERENCE_TIME start) const {
      return mux.mode == INTERLEAVE_FULL && std::ranges::any_of(mux.inputs, [&](const Input* other) {
               return !other->isOver() && start > other->position + mux.script->interleaving;
             });
    }

    HRESULT receive(IMediaSample& sample) {
      MuxSample record = {number, 0, 0, sample.GetActualDataLength(), sample.IsSyncPoint() == S_OK};
      sample.GetTime(&record.start, &record.stop);
      position = record.start;
      mux.changed.wakeAll();
      // The wait ends: of the streams that wait, the one whose sample starts first is ahead of none of them. A stream
      // that does not wait brings another sample or its end; a stop and an abort end all waits.
      mux.changed.wait(mux.streamLock, [&] { return readiness() != S_OK || !mustWait(record.start); });
      if (const HRESULT ready = readiness(); ready != S_OK) {
        return ready;
      }
      if (mux.script->failReceiveAfter && mux.script->samples.size() >= *mux.script->failReceiveAfter) {
        return E_FAIL;
      }
      BYTE* data = nullptr;
      sample.GetPointer(&data);
      keep(record.start, {Bytes(data, data + record.size), record.key});
      mux.progress = record.stop;
      mux.script->samples.push_back(record);
      return S_OK;
    }

    /// Keeps a chunk, and in front of it the frames that are missing, as dropped ones.
    void keep(REFERENCE_TIME start, AviChunk chunk) {
      const AM_MEDIA_TYPE& type = connectionType();
      if (type.majortype == MEDIATYPE_Video) {
        const DWORD compression = videoFormat(type).bmiHeader.biCompression;
        const REFERENCE_TIME frameTime = videoFormat(type).AvgTimePerFrame;
        const auto before = static_cast<std::size_t>((start + frameTime / 2) / frameTime);
        chunk.isKey = chunk.isKey || compression == BI_RGB || compression == BI_BITFIELDS;
        chunks.resize(std::max(chunks.size(), before), AviChunk{{}, false});
      }
      chunks.push_back(std::move(chunk));
    }

    AviMux& mux;
    const std::size_t number;

    // Guarded by the stream lock.
    std::vector<AviChunk> chunks;
    REFERENCE_TIME position = 0;  // Where the last sample begins.
    bool isActive = false;
    bool hasEnded = false;
  };

  /// Adds an input pin when all are connected.
  /// @return S_OK, for the pin to pass on.
  HRESULT offerFreeInput() {
    if (std::ranges::all_of(inputs, &Input::isConnected)) {
      inputs.push_back(&addPin(std::make_unique<Input>(*this, inputs.size())));
    }
    return S_OK;
  }

  /// Takes a step of a streaming thread. The first failure aborts the graph, unless it only tells that the filter is
  /// being stopped.
  template <class Step>
  HRESULT stream(Step step) {
    const std::lock_guard guard(streamLock);
    const HRESULT result = guardedMethod(step);
    if (FAILED(result) && SUCCEEDED(failure) && result != VFW_E_WRONG_STATE && result != VFW_E_NOT_COMMITTED) {
      failure = result;
      changed.wakeAll();
      NotifyEvent(EC_ERRORABORT, result, 0);
    }
    return result;
  }

  /// Writes the file.
  HRESULT complete() {
    std::vector<AviStream> all;
    for (const Input* const in : inputs) {
      if (in->isConnected()) {
        all.push_back(in->stream());
      }
    }
    const HRESULT written =
        FAILED(script->complete) ? script->complete : output.write(aviFile(std::move(all)), script->msPerPiece);
    return written == S_OK ? output.DeliverEndOfStream() : written;
  }

  const std::shared_ptr<MuxScript> script;
  Output& output;
  std::vector<Input*> inputs;
  InterleavingMode mode = INTERLEAVE_NONE;
  std::atomic<REFERENCE_TIME> progress = 0;  // The end of the last sample.

  // Guards what streaming changes. A streaming thread takes no other lock of the filter, and whoever holds it waits for no
  // thread: the writer writes at once, and an event only goes to the graph's queue.
  CriticalSection streamLock;
  ConditionVariable changed;  // Wakes the streams that wait, to look whether they still must.
  HRESULT failure = S_OK;     // What has aborted the graph.
};

class FileWriter : public Wrapped<IFileSinkFilter2> {
 public:
  explicit FileWriter(std::shared_ptr<WriterFaults> writerFaults) : faults(std::move(writerFaults)) {}

  // IFileSinkFilter2
  STDMETHODIMP SetFileName(LPCOLESTR name, const AM_MEDIA_TYPE* type) override {
    return FAILED(faults->setFileName) ? faults->setFileName : sink()->SetFileName(name, type);
  }
  STDMETHODIMP GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE* type) override { return sink()->GetCurFile(name, type); }
  STDMETHODIMP SetMode(DWORD newFlags) override { return give(&faults->mode, newFlags); }
  STDMETHODIMP GetMode(DWORD* result) override { return give(result, faults->mode); }

 protected:
  IUnknown* findInterface(REFIID id) override {
    if (id == __uuidof(IFileSinkFilter)) {
      return static_cast<IFileSinkFilter2*>(this);
    }
    return faults->noFileSink2 && id == __uuidof(IFileSinkFilter2) ? nullptr : Wrapped::findInterface(id);
  }

 private:
  IFileSinkFilter* sink() { return static_cast<IFileSinkFilter*>(ofPart(__uuidof(IFileSinkFilter))); }

  const std::shared_ptr<WriterFaults> faults;
};

}  // namespace

ClassObjectOverride::Create aviMux(std::shared_ptr<MuxScript> script) {
  return [script = std::move(script)](REFIID iid, void** object) {
    return FAILED(script->create) ? script->create : makeCom<AviMux>(script)->QueryInterface(iid, object);
  };
}

ClassObjectOverride::Create fileWriter(std::shared_ptr<WriterFaults> faults) {
  return [faults = std::move(faults)](REFIID iid, void** object) {
    if (FAILED(faults->create)) {
      return faults->create;
    }
    const auto writer = makeCom<FileWriter>(faults);
    writer->takeIn("qcap.dll", CLSID_FileWriter);
    return writer->QueryInterface(iid, object);
  };
}

}  // namespace quillet::test
