// A property page with nothing on it.

#pragma once

#include <windows.h>

#include <ocidl.h>

#include "support/com_object.h"

namespace quillet::test {

class EmptyPage : public ComObject<IPropertyPage> {
 public:
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
