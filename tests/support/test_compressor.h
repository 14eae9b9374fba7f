// A compressor filter whose configuration a test can watch.

#pragma once

#include <cstring>
#include <map>

#include "directshow/base/c_base_output_pin.h"
#include "support/input_pin.h"
#include "support/writing.h"

// Need strmif.h.
#include <ocidl.h>
#include <vfwmsgs.h>

__CRT_UUID_DECL(IAMVfwCompressDialogs, 0xD8D715A3, 0x6E5E, 0x11D0, 0xB3, 0xF0, 0, 0xAA, 0, 0x37, 0x61, 0xC5)

namespace quillet::test {

class CompressorOutput;

/// A type of video with the tests' size and time of a frame.
template <class Header>
CMediaType videoType(const GUID& kind, DWORD bitRate = 0) {
  const VIDEOINFOHEADER format = videoFormat();
  Header header = {};
  header.dwBitRate = bitRate;
  header.AvgTimePerFrame = format.AvgTimePerFrame;
  header.bmiHeader = format.bmiHeader;
  CMediaType type;
  type.majortype = MEDIATYPE_Video;
  type.formattype = kind;
  type.setFormat(&header, sizeof header);
  return type;
}

/// What a compressor offers and refuses to do, and what it was told. Shared with the test.
struct CompressorScript {
  struct Capability {
    CMediaType type;  ///< The pin says that there is no such format when this says nothing.
    AUDIO_STREAM_CONFIG_CAPS choices;
  };

  HRESULT answer(const std::string& method) const { return faults.contains(method) ? faults.at(method) : S_OK; }
  template <class Value>
  HRESULT record(const std::string& method, Value value) {
    calls.push_back(method + " " + std::to_string(value));
    return answer(method);
  }
  template <class Value>
  HRESULT read(const char* method, const Value& value, Value* result) const {
    *result = value;
    return answer(method);
  }
  HRESULT tell(const char* method, const CMediaType& type, AM_MEDIA_TYPE** result) const {
    if (FAILED(answer(method))) {
      return answer(method);
    }
    *result = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof **result));
    type.copyTo(**result);
    return S_OK;
  }
  bool lacks(REFIID id) const { return std::ranges::find(missing, id) != missing.end(); }

  /// Sees each picture, null for the end, before it is passed on; or keeps it, and answers that.
  std::function<bool(CompressorOutput&, IMediaSample*)> keep = nullptr;
  bool hasOutput = true;
  std::vector<IID> missing = {};               ///< Interfaces that neither the filter nor its output has.
  std::map<std::string, HRESULT> faults = {};  ///< What methods answer in place of S_OK.
  std::vector<std::string> calls = {};         ///< The methods that change something, with what they were given.
  HWND owner = nullptr;                        ///< The window that was given to the codec's dialog.

  /// What the output connects with.
  CMediaType connection = videoType<VIDEOINFOHEADER>(FORMAT_VideoInfo);
  CMediaType format = {};  ///< What it says that its format is.
  std::vector<Capability> capabilities = {};
  long flags = 0;  ///< Of CompressionCaps.
  long keyFrameRate = -1;
  long pFrames = -1;
  double quality = -1;
  DWORDLONG windowSize = 1;
  GUID page = {};  ///< Its property page; none when null.
};

using SharedScript = std::shared_ptr<CompressorScript>;

class CompressorOutput : public WithInterfaces<CBaseOutputPin, IAMStreamConfig, IAMVideoCompression> {
 public:
  CompressorOutput(CBaseFilter& filter, SharedScript shared)
      : WithInterfaces(filter, L"Output"), script(std::move(shared)) {}

  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
    ALLOCATOR_PROPERTIES actual = {};
    request->cBuffers = 1;
    request->cbBuffer = 1000;
    return allocator->SetProperties(request, &actual);
  }
  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
  HRESULT GetMediaType(int position, CMediaType* type) override {
    *type = script->connection;
    return position == 0 ? S_OK : VFW_S_NO_MORE_ITEMS;
  }

  // IAMStreamConfig
  STDMETHODIMP SetFormat(AM_MEDIA_TYPE* type) override {
    const bool isWave = type->formattype == FORMAT_WaveFormatEx;
    const std::size_t rate = isWave ? offsetof(WAVEFORMATEX, nSamplesPerSec) : 2 * sizeof(RECT);  // Or of bits.
    const HRESULT result = script->record("SetFormat", *reinterpret_cast<const DWORD*>(type->pbFormat + rate));
    script->format = SUCCEEDED(result) ? CMediaType(*type) : script->format;
    return result;
  }
  STDMETHODIMP GetFormat(AM_MEDIA_TYPE** type) override { return script->tell("GetFormat", script->format, type); }
  STDMETHODIMP GetNumberOfCapabilities(int* count, int* size) override {
    *size = sizeof(VIDEO_STREAM_CONFIG_CAPS);  // The larger of both kinds.
    return script->read("GetNumberOfCapabilities", static_cast<int>(script->capabilities.size()), count);
  }
  STDMETHODIMP GetStreamCaps(int index, AM_MEDIA_TYPE** type, BYTE* choices) override {
    const auto& capability = script->capabilities.at(static_cast<std::size_t>(index));
    std::memset(choices, 0xFF, sizeof(VIDEO_STREAM_CONFIG_CAPS));
    std::memcpy(choices, &capability.choices, sizeof capability.choices);
    return capability.type.majortype == GUID_NULL ? S_FALSE : script->tell("GetStreamCaps", capability.type, type);
  }

  // IAMVideoCompression
  STDMETHODIMP put_KeyFrameRate(long rate) override { return script->record("put_KeyFrameRate", rate); }
  STDMETHODIMP get_KeyFrameRate(long* rate) override { return script->read("get_Rate", script->keyFrameRate, rate); }
  STDMETHODIMP put_PFramesPerKeyFrame(long frames) override { return script->record("put_PFrames", frames); }
  STDMETHODIMP get_PFramesPerKeyFrame(long* frames) override { return script->read("get_P", script->pFrames, frames); }
  STDMETHODIMP put_Quality(double quality) override { return script->record("put_Quality", quality); }
  STDMETHODIMP get_Quality(double* quality) override { return script->read("get_Quality", script->quality, quality); }
  STDMETHODIMP put_WindowSize(DWORDLONG size) override { return script->record("put_WindowSize", size); }
  STDMETHODIMP get_WindowSize(DWORDLONG* size) override { return script->read("get_Size", script->windowSize, size); }
  STDMETHODIMP GetInfo(LPWSTR, int*, LPWSTR, int*, long*, long*, double*, long* flags) override {
    return script->read("GetInfo", script->flags, flags);
  }
  STDMETHODIMP OverrideKeyFrame(long) override { return E_NOTIMPL; }
  STDMETHODIMP OverrideFrameSize(long, long) override { return E_NOTIMPL; }

 protected:
  IUnknown* findInterface(REFIID id) override {
    return script->lacks(id) ? nullptr : WithInterfaces::findInterface(id);
  }

 private:
  const SharedScript script;
};

class CompressorInput : public InputPin {
 public:
  CompressorInput(CBaseFilter& filter, SharedScript shared) : InputPin(filter, L"Input"), script(std::move(shared)) {}
  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
  STDMETHODIMP Receive(IMediaSample* sample) override { return keeps(sample) ? S_OK : output->Deliver(sample); }
  STDMETHODIMP EndOfStream() override { return keeps(nullptr) ? S_OK : output->DeliverEndOfStream(); }

  CompressorOutput* output = nullptr;

 private:
  bool keeps(IMediaSample* sample) { return script->keep != nullptr && script->keep(*output, sample); }

  const SharedScript script;
};

/// Takes everything, and passes it on as it is.
class TestCompressor : public WithInterfaces<CBaseFilter, ISpecifyPropertyPages, IAMVfwCompressDialogs> {
 public:
  explicit TestCompressor(SharedScript shared) : WithInterfaces(nullptr, CLSID_NULL), script(std::move(shared)) {
    auto& input = addPin(std::make_unique<CompressorInput>(*this, script));
    if (script->hasOutput) {
      input.output = &addPin(std::make_unique<CompressorOutput>(*this, script));
    }
  }

  STDMETHODIMP GetPages(CAUUID* pages) override {
    pages->cElems = script->page == GUID_NULL ? 0 : 1;
    pages->pElems = static_cast<GUID*>(CoTaskMemAlloc(sizeof(GUID)));
    return give(pages->pElems, script->page);
  }

  // IAMVfwCompressDialogs
  STDMETHODIMP ShowDialog(int dialog, HWND parent) override {
    script->owner = parent;
    return dialog == VfwCompressDialog_QueryConfig ? script->answer("Query") : script->record("ShowDialog", dialog);
  }
  STDMETHODIMP GetState(LPVOID, int*) override { return E_NOTIMPL; }
  STDMETHODIMP SetState(LPVOID, int) override { return E_NOTIMPL; }
  STDMETHODIMP SendDriverMessage(int, long, long) override { return E_NOTIMPL; }

 protected:
  IUnknown* findInterface(REFIID id) override {
    return script->lacks(id) ? nullptr : WithInterfaces::findInterface(id);
  }

 private:
  const SharedScript script;
};

inline bool setCompressor(OutputAVIFile& writer, bool isVideo, const SharedScript& script) {
  Microsoft::WRL::ComPtr<IMoniker> moniker;
  CreatePointerMoniker(Microsoft::WRL::ComPtr<IBaseFilter>(new TestCompressor(script)).Get(), &moniker);
  return writer.setCompressor(isVideo, moniker.Get());
}

}  // namespace quillet::test
