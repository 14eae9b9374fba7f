// The methods of ISampleGrabber, for the tests' objects of which few are ever called.

#pragma once

#include "directshow/graph/sample_grabber.h"

namespace quillet::test {

/// Answers each with E_NOTIMPL, unless a subclass knows better.
/// @param Base has the interface.
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

}  // namespace quillet::test
