// What the tests of the DirectShow writer share: the filters that it writes with, and a property page.

#pragma once

#include <windows.h>

#include <ocidl.h>

#include "support/avi_mux.h"
#include "support/dialog_driver.h"
#include "support/ds_streams.h"
#include "support/writing.h"

namespace quillet::test {

/// With the tests' own multiplexer and file writer: Wine's cannot write.
class DSWriting : public testing::Test {
 protected:
  std::shared_ptr<MuxScript> muxScript = std::make_shared<MuxScript>();  // Of the multiplexers that are made next.
  const std::shared_ptr<WriterFaults> faults = std::make_shared<WriterFaults>();
  const ClassObjectOverride mux{CLSID_AviDest,
                                [this](REFIID id, void** object) { return aviMux(muxScript)(id, object); }};
  const ClassObjectOverride fileWriter{CLSID_FileWriter, test::fileWriter(faults)};
  const VIDEOINFOHEADER video = videoFormat();
  const WAVEFORMATEX audio = pcmFormat(8000, 1, 16);
  const TempFile file{".avi"};
};

/// A property page with nothing on it.
class EmptyPage : public ComObject<IPropertyPage> {
 public:
  static HRESULT make(REFIID id, void** object) { return makeCom<EmptyPage>()->QueryInterface(id, object); }

  STDMETHODIMP SetObjects(ULONG, IUnknown**) override { return S_OK; }
  STDMETHODIMP GetPageInfo(PROPPAGEINFO* info) override {
    *info = {};
    info->cb = sizeof *info;
    info->size = {100, 50};
    return S_OK;
  }
  STDMETHODIMP SetPageSite(IPropertyPageSite*) override { return S_OK; }
  STDMETHODIMP Activate(HWND, LPCRECT, BOOL) override { return S_OK; }
  STDMETHODIMP Deactivate() override { return S_OK; }
  STDMETHODIMP Show(UINT) override { return S_OK; }
  STDMETHODIMP Move(LPCRECT) override { return S_OK; }
  STDMETHODIMP IsPageDirty() override { return S_FALSE; }
  STDMETHODIMP Apply() override { return S_OK; }
  STDMETHODIMP Help(LPCOLESTR) override { return E_NOTIMPL; }
  STDMETHODIMP TranslateAccelerator(MSG*) override { return S_FALSE; }
};

}  // namespace quillet::test
