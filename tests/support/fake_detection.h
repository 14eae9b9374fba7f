// A media detector and a filter graph in one, that fail at a step or find what they are told.

#pragma once

#include <string>
#include <vector>

#include <quillet/media_container.h>

#include "directshow/base/c_media_type.h"
#include "directshow/graph/sample_grabber.h"
#include "support/com_object.h"

namespace quillet::test {

/// What the fakes do and what they see.
struct Detection {
  using Error = MediaContainer::Error;

  int failing = Error::Success;   ///< The step that fails, by its code.
  std::vector<CMediaType> types;  ///< What the detector finds; steps fail at the last stream.
  HRESULT rendering = S_OK;
  std::wstring names;  ///< Of the filters added and the file.

  HRESULT at(Error step, bool reached = true) const { return step == failing && reached ? E_FAIL : S_OK; }
};

class FakeDetection : public ComObject<IMediaDet, IGraphBuilder> {
 public:
  using Error = MediaContainer::Error;

  explicit FakeDetection(Detection& shared) : detection(shared) {}

  // IMediaDet
  STDMETHODIMP put_Filename(BSTR name) override {
    detection.names.assign(name, SysStringLen(name));
    return detection.at(Error::CannotOpenSourceFile);
  }
  STDMETHODIMP get_OutputStreams(LONG* number) override {
    *number = static_cast<LONG>(detection.types.size());
    return detection.at(Error::CannotRetrieveStreamsNumber);
  }
  STDMETHODIMP put_CurrentStream(LONG stream) override {
    isLast = &detection.types.at(stream) == &detection.types.back();
    current = stream;
    return detection.at(Error::CannotSelectStream, isLast);
  }
  STDMETHODIMP get_StreamMediaType(AM_MEDIA_TYPE* type) override {
    detection.types.at(current).copyTo(*type);
    return detection.at(Error::UnreadableMediaType, isLast);
  }

  // IGraphBuilder
  STDMETHODIMP AddFilter(IBaseFilter*, LPCWSTR name) override {
    detection.names += std::wstring(name) + L' ';
    const bool isVideo = std::wstring(name) == L"VideoRenderer1";
    const bool isAudio = std::wstring(name) == L"AudioRenderer1";
    return detection.at(isVideo ? Error::CannotAddVideoRenderer : Error::CannotAddAudioRenderer, isVideo || isAudio);
  }
  STDMETHODIMP RenderFile(LPCWSTR name, LPCWSTR) override { return detection.names += name, detection.rendering; }

  // What counting has no use for.
  STDMETHODIMP get_Filter(IUnknown**) override { return E_NOTIMPL; }
  STDMETHODIMP put_Filter(IUnknown*) override { return E_NOTIMPL; }
  STDMETHODIMP get_CurrentStream(LONG*) override { return E_NOTIMPL; }
  STDMETHODIMP get_StreamType(GUID*) override { return E_NOTIMPL; }
  STDMETHODIMP get_StreamTypeB(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP get_StreamLength(double*) override { return E_NOTIMPL; }
  STDMETHODIMP get_Filename(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP GetBitmapBits(double, LONG*, char*, LONG, LONG) override { return E_NOTIMPL; }
  STDMETHODIMP WriteBitmapBits(double, LONG, LONG, BSTR) override { return E_NOTIMPL; }
  STDMETHODIMP GetSampleGrabber(ISampleGrabber**) override { return E_NOTIMPL; }
  STDMETHODIMP get_FrameRate(double*) override { return E_NOTIMPL; }
  STDMETHODIMP EnterBitmapGrabMode(double) override { return E_NOTIMPL; }
  STDMETHODIMP RemoveFilter(IBaseFilter*) override { return E_NOTIMPL; }
  STDMETHODIMP EnumFilters(IEnumFilters**) override { return E_NOTIMPL; }
  STDMETHODIMP FindFilterByName(LPCWSTR, IBaseFilter**) override { return E_NOTIMPL; }
  STDMETHODIMP ConnectDirect(IPin*, IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
  STDMETHODIMP Reconnect(IPin*) override { return E_NOTIMPL; }
  STDMETHODIMP Disconnect(IPin*) override { return E_NOTIMPL; }
  STDMETHODIMP SetDefaultSyncSource() override { return E_NOTIMPL; }
  STDMETHODIMP Connect(IPin*, IPin*) override { return E_NOTIMPL; }
  STDMETHODIMP Render(IPin*) override { return E_NOTIMPL; }
  STDMETHODIMP AddSourceFilter(LPCWSTR, LPCWSTR, IBaseFilter**) override { return E_NOTIMPL; }
  STDMETHODIMP SetLogFile(DWORD_PTR) override { return E_NOTIMPL; }
  STDMETHODIMP Abort() override { return E_NOTIMPL; }
  STDMETHODIMP ShouldOperationContinue() override { return E_NOTIMPL; }

 private:
  Detection& detection;
  LONG current = 0;
  bool isLast = false;
};

/// Makes fakes for the place of the system's media detector or filter graph.
inline ClassObjectOverride::Create fakeDetection(Detection& detection) {
  return [&](REFIID iid, void** object) { return makeCom<FakeDetection>(detection)->QueryInterface(iid, object); };
}

}  // namespace quillet::test
