#include "directshow/base/c_base_output_pin.h"

#include <uuids.h>
#include <vfwmsgs.h>

using Microsoft::WRL::ComPtr;

namespace quillet {

CBaseOutputPin::CBaseOutputPin(CBaseFilter& filter, const wchar_t* name) : CBasePin(filter, PINDIR_OUTPUT, name) {}

HRESULT CBaseOutputPin::GetDeliveryBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop,
                                          DWORD flags) {
  return allocator != nullptr ? allocator->GetBuffer(sample, start, stop, flags) : VFW_E_NO_ALLOCATOR;
}

HRESULT CBaseOutputPin::Deliver(IMediaSample* sample) {
  return input != nullptr ? input->Receive(sample) : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverEndOfStream() {
  return isConnected() ? connectedPin()->EndOfStream() : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverBeginFlush() {
  return isConnected() ? connectedPin()->BeginFlush() : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverEndFlush() {
  return isConnected() ? connectedPin()->EndFlush() : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
  return isConnected() ? connectedPin()->NewSegment(start, stop, rate) : VFW_E_NOT_CONNECTED;
}

// CBasePin

HRESULT CBaseOutputPin::CheckConnect(IPin* other) {
  if (const HRESULT result = CBasePin::CheckConnect(other); FAILED(result)) {
    return result;
  }
  return SUCCEEDED(other->QueryInterface(IID_PPV_ARGS(&input))) ? S_OK : VFW_E_NO_TRANSPORT;
}

HRESULT CBaseOutputPin::CompleteConnect(IPin*) {
  return DecideAllocator(input.Get(), &allocator);
}

HRESULT CBaseOutputPin::BreakConnect() {
  allocator.Reset();
  input.Reset();
  return CBasePin::BreakConnect();
}

HRESULT CBaseOutputPin::Active() {
  return allocator != nullptr ? allocator->Commit() : VFW_E_NO_ALLOCATOR;
}

HRESULT CBaseOutputPin::Inactive() {
  return allocator != nullptr ? allocator->Decommit() : VFW_E_NO_ALLOCATOR;
}

HRESULT CBaseOutputPin::DecideAllocator(IMemInputPin* receiver, IMemAllocator** result) {
  ComPtr<IMemAllocator> candidate;
  HRESULT outcome = receiver->GetAllocator(&candidate);
  if (SUCCEEDED(outcome)) {
    outcome = propose(receiver, candidate.Get());
  }
  if (FAILED(outcome)) {
    outcome = CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&candidate));
    if (SUCCEEDED(outcome)) {
      outcome = propose(receiver, candidate.Get());
    }
  }
  if (SUCCEEDED(outcome)) {
    *result = candidate.Detach();
  }
  return outcome;
}

HRESULT CBaseOutputPin::propose(IMemInputPin* receiver, IMemAllocator* candidate) {
  ALLOCATOR_PROPERTIES request = {};
  // A receiver that does not mind leaves the request empty, whatever it answers.
  receiver->GetAllocatorRequirements(&request);
  if (request.cbAlign == 0) {
    request.cbAlign = 1;  // Allocators refuse to align to nothing.
  }
  if (const HRESULT result = DecideBufferSize(candidate, &request); FAILED(result)) {
    return result;
  }
  return receiver->NotifyAllocator(candidate, FALSE);
}

// IPin

STDMETHODIMP CBaseOutputPin::EndOfStream() {
  return E_UNEXPECTED;
}

STDMETHODIMP CBaseOutputPin::BeginFlush() {
  return E_UNEXPECTED;
}

STDMETHODIMP CBaseOutputPin::EndFlush() {
  return E_UNEXPECTED;
}

}  // namespace quillet
