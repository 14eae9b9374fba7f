// The base of output pins: agreeing on an allocator, and delivering.

#pragma once

#include <windows.h>

#include <strmif.h>
#include <wrl/client.h>

#include "directshow/base/c_base_pin.h"

namespace quillet {

/// A pin that delivers samples to the pin that it is connected to.
///
/// The delivering methods are for the streaming thread, those of flushing for the thread that seeks. What they use of
/// the connection changes only while the filter is stopped, so they take no lock.
class CBaseOutputPin : public CBasePin {
 public:
  CBaseOutputPin(CBaseFilter& filter, const wchar_t* name);

  /// Sets the properties that the samples need on an allocator.
  /// @param request what the receiver asks for, 0 where it does not mind.
  virtual HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) = 0;

  /// Waits for a sample to fill. The wait ends when the receiver has let one go, and fails when the allocator is
  /// decommitted, as it is when the pin becomes inactive.
  /// @return also S_FALSE, from a subclass that knows that there is nothing more to fill one with.
  virtual HRESULT GetDeliveryBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop, DWORD flags);

  /// @return S_OK when the receiver wants more; S_FALSE or a failure when it does not.
  virtual HRESULT Deliver(IMediaSample* sample);
  virtual HRESULT DeliverEndOfStream();
  virtual HRESULT DeliverBeginFlush();
  virtual HRESULT DeliverEndFlush();
  virtual HRESULT DeliverNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate);

  // CBasePin
  HRESULT CheckConnect(IPin* other) override;
  HRESULT CompleteConnect(IPin* other) override;
  HRESULT BreakConnect() override;
  HRESULT Active() override;
  HRESULT Inactive() override;

  // IPin: what only an input pin receives.
  STDMETHODIMP EndOfStream() override;
  STDMETHODIMP BeginFlush() override;
  STDMETHODIMP EndFlush() override;

 protected:
  /// Settles the allocator with the receiver: the receiver's own when it has one that will do, else the platform's.
  virtual HRESULT DecideAllocator(IMemInputPin* receiver, IMemAllocator** result);

 private:
  HRESULT propose(IMemInputPin* receiver, IMemAllocator* candidate);

  Microsoft::WRL::ComPtr<IMemInputPin> input;
  Microsoft::WRL::ComPtr<IMemAllocator> allocator;
};

}  // namespace quillet
