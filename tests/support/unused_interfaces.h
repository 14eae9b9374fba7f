// The methods of some interfaces, for the tests' objects of which few are ever called: each answers E_NOTIMPL, unless a
// subclass knows better. `Base` has the interface.

#pragma once

#include "directshow/graph/sample_grabber.h"

namespace quillet::test {

template <class Base>
class UnusedGrabber : public Base {
 public:
  using Base::Base;

  STDMETHODIMP SetOneShot(BOOL) override { return E_NOTIMPL; }
  STDMETHODIMP SetMediaType(const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
  STDMETHODIMP GetConnectedMediaType(AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
  STDMETHODIMP SetBufferSamples(BOOL) override { return E_NOTIMPL; }
  STDMETHODIMP GetCurrentBuffer(LONG*, LONG*) override { return E_NOTIMPL; }
  STDMETHODIMP GetCurrentSample(IMediaSample**) override { return E_NOTIMPL; }
  STDMETHODIMP SetCallback(ISampleGrabberCB*, LONG) override { return E_NOTIMPL; }
};

template <class Base>
class UnusedSeeking : public Base {
 public:
  using Base::Base;

  STDMETHODIMP GetCapabilities(DWORD*) override { return E_NOTIMPL; }
  STDMETHODIMP CheckCapabilities(DWORD*) override { return E_NOTIMPL; }
  STDMETHODIMP IsFormatSupported(const GUID*) override { return E_NOTIMPL; }
  STDMETHODIMP QueryPreferredFormat(GUID*) override { return E_NOTIMPL; }
  STDMETHODIMP GetTimeFormat(GUID*) override { return E_NOTIMPL; }
  STDMETHODIMP IsUsingTimeFormat(const GUID*) override { return E_NOTIMPL; }
  STDMETHODIMP SetTimeFormat(const GUID*) override { return E_NOTIMPL; }
  STDMETHODIMP GetDuration(LONGLONG*) override { return E_NOTIMPL; }
  STDMETHODIMP GetStopPosition(LONGLONG*) override { return E_NOTIMPL; }
  STDMETHODIMP GetCurrentPosition(LONGLONG*) override { return E_NOTIMPL; }
  STDMETHODIMP ConvertTimeFormat(LONGLONG*, const GUID*, LONGLONG, const GUID*) override { return E_NOTIMPL; }
  STDMETHODIMP SetPositions(LONGLONG*, DWORD, LONGLONG*, DWORD) override { return E_NOTIMPL; }
  STDMETHODIMP GetPositions(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
  STDMETHODIMP GetAvailable(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
  STDMETHODIMP SetRate(double) override { return E_NOTIMPL; }
  STDMETHODIMP GetRate(double*) override { return E_NOTIMPL; }
  STDMETHODIMP GetPreroll(LONGLONG*) override { return E_NOTIMPL; }
};

}  // namespace quillet::test
