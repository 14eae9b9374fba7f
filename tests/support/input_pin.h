// What the tests' filters with input pins share.

#pragma once

#include <atomic>

#include <windows.h>

#include <strmif.h>
#include <uuids.h>

#include "directshow/base/c_base_pin.h"
#include "support/com_object.h"

namespace quillet::test {

/// An input pin that takes any allocator, since it copies what it receives.
class InputPin : public WithInterfaces<CBasePin, IMemInputPin> {
 public:
  InputPin(CBaseFilter& filter, const wchar_t* name) : WithInterfaces(filter, PINDIR_INPUT, name) {}

  // IMemInputPin
  STDMETHODIMP GetAllocator(IMemAllocator** result) override {
    return CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(result));
  }
  STDMETHODIMP NotifyAllocator(IMemAllocator*, BOOL) override { return S_OK; }
  STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES*) override { return E_NOTIMPL; }
  STDMETHODIMP ReceiveMultiple(IMediaSample**, long, long*) override { return E_NOTIMPL; }
  STDMETHODIMP ReceiveCanBlock() override { return S_FALSE; }

  // IPin
  STDMETHODIMP BeginFlush() override { return flushing = true, S_OK; }
  STDMETHODIMP EndFlush() override { return flushing = false, S_OK; }

 protected:
  std::atomic<bool> flushing = false;
};

}  // namespace quillet::test
