#include "support/test_compressor.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <ocidl.h>
#include <vfwmsgs.h>

#include "support/input_pin.h"

__CRT_UUID_DECL(IAMVfwCompressDialogs, 0xD8D715A3, 0x6E5E, 0x11D0, 0xB3, 0xF0, 0, 0xAA, 0, 0x37, 0x61, 0xC5)

namespace quillet::test {
namespace {

using Script = std::shared_ptr<CompressorScript>;

bool isMissing(const Script& script, REFIID id) {
  return std::ranges::find(script->missing, id) != script->missing.end();
}

class Input : public InputPin {
 public:
  explicit Input(CBaseFilter& filter) : InputPin(filter, L"Input") {}
  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
  STDMETHODIMP Receive(IMediaSample*) override { return S_OK; }
};

class Output : public WithInterfaces<CBasePin, IAMStreamConfig, IAMVideoCompression> {
 public:
  Output(CBaseFilter& filter, Script script)
      : WithInterfaces(filter, PINDIR_OUTPUT, L"Output"), script(std::move(script)) {}

  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
  HRESULT GetMediaType(int position, CMediaType* type) override {
    *type = script->connection;
    return position == 0 ? S_OK : VFW_S_NO_MORE_ITEMS;
  }

  // IAMStreamConfig
  STDMETHODIMP SetFormat(AM_MEDIA_TYPE* type) override {
    const HRESULT result = script->record("SetFormat", type->cbFormat);
    script->format = SUCCEEDED(result) ? CMediaType(*type) : script->format;
    return result;
  }
  STDMETHODIMP GetFormat(AM_MEDIA_TYPE** type) override { return tell("GetFormat", script->format, type); }
  STDMETHODIMP GetNumberOfCapabilities(int* count, int* size) override {
    *count = static_cast<int>(script->capabilities.size());
    *size = sizeof(VIDEO_STREAM_CONFIG_CAPS);  // The larger of both kinds.
    return script->answer("GetNumberOfCapabilities");
  }
  STDMETHODIMP GetStreamCaps(int index, AM_MEDIA_TYPE** type, BYTE* choices) override {
    const auto& capability = script->capabilities.at(static_cast<std::size_t>(index));
    if (!capability) {
      return S_FALSE;
    }
    std::memset(choices, 0xFF, sizeof(VIDEO_STREAM_CONFIG_CAPS));
    std::memcpy(choices, &capability->choices, sizeof capability->choices);
    return tell("GetStreamCaps", capability->type, type);
  }

  // IAMVideoCompression
  STDMETHODIMP put_KeyFrameRate(long rate) override { return script->record("put_KeyFrameRate", rate); }
  STDMETHODIMP get_KeyFrameRate(long* rate) override { return read("get_KeyFrameRate", script->keyFrameRate, rate); }
  STDMETHODIMP put_PFramesPerKeyFrame(long frames) override { return script->record("put_PFramesPerKeyFrame", frames); }
  STDMETHODIMP get_PFramesPerKeyFrame(long* frames) override {
    return read("get_PFramesPerKeyFrame", script->pFrames, frames);
  }
  STDMETHODIMP put_Quality(double quality) override { return script->record("put_Quality", quality); }
  STDMETHODIMP get_Quality(double* quality) override { return read("get_Quality", script->quality, quality); }
  STDMETHODIMP put_WindowSize(DWORDLONG size) override { return script->record("put_WindowSize", size); }
  STDMETHODIMP get_WindowSize(DWORDLONG* size) override { return read("get_WindowSize", script->windowSize, size); }
  STDMETHODIMP GetInfo(LPWSTR, int*, LPWSTR, int*, long*, long*, double*, long* flags) override {
    return read("GetInfo", script->flags, flags);
  }
  STDMETHODIMP OverrideKeyFrame(long) override { return E_NOTIMPL; }
  STDMETHODIMP OverrideFrameSize(long, long) override { return E_NOTIMPL; }

 protected:
  IUnknown* findInterface(REFIID id) override {
    return isMissing(script, id) ? nullptr : WithInterfaces::findInterface(id);
  }

 private:
  template <class Value>
  HRESULT read(const char* method, const Value& value, Value* result) const {
    *result = value;
    return script->answer(method);
  }
  HRESULT tell(const char* method, const CMediaType& type, AM_MEDIA_TYPE** result) const {
    const HRESULT answer = script->answer(method);
    *result = SUCCEEDED(answer) ? static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof **result)) : nullptr;
    if (*result != nullptr) {
      type.copyTo(**result);
    }
    return answer;
  }

  const Script script;
};

class Compressor : public WithInterfaces<CBaseFilter, ISpecifyPropertyPages, IAMVfwCompressDialogs> {
 public:
  explicit Compressor(Script compressorScript)
      : WithInterfaces(nullptr, CLSID_NULL), script(std::move(compressorScript)) {
    addPin(std::make_unique<Input>(*this));
    if (script->hasOutput) {
      addPin(std::make_unique<Output>(*this, script));
    }
  }

  STDMETHODIMP GetPages(CAUUID* pages) override {
    pages->cElems = script->page == GUID_NULL ? 0 : 1;
    pages->pElems = static_cast<GUID*>(CoTaskMemAlloc(sizeof(GUID)));
    return give(pages->pElems, script->page);
  }

  // IAMVfwCompressDialogs
  STDMETHODIMP ShowDialog(int dialog, HWND parent) override {
    if (dialog == VfwCompressDialog_QueryConfig) {
      return script->answer("QueryConfig");
    }
    script->owner = parent;
    return script->record("ShowDialog", dialog);
  }
  STDMETHODIMP GetState(LPVOID, int*) override { return E_NOTIMPL; }
  STDMETHODIMP SetState(LPVOID, int) override { return E_NOTIMPL; }
  STDMETHODIMP SendDriverMessage(int, long, long) override { return E_NOTIMPL; }

 protected:
  IUnknown* findInterface(REFIID id) override {
    return isMissing(script, id) ? nullptr : WithInterfaces::findInterface(id);
  }

 private:
  const Script script;
};

}  // namespace

Microsoft::WRL::ComPtr<IBaseFilter> testCompressor(std::shared_ptr<CompressorScript> script) {
  return new Compressor(std::move(script));
}

}  // namespace quillet::test
