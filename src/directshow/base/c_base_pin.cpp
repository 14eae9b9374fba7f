#include "directshow/base/c_base_pin.h"

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

#include <vfwmsgs.h>

#include "directshow/base/enumerator.h"
#include "formats/media_type.h"
#include "platform/guarded.h"
#include "platform/handles.h"

using Microsoft::WRL::ComPtr;

namespace quillet {
namespace {

/// Whether a pin has failed to connect because it did not like the type, so that another may do.
bool isRefusal(HRESULT result) {
  return result == VFW_E_TYPE_NOT_ACCEPTED || result == VFW_E_NO_ACCEPTABLE_TYPES || result == E_FAIL ||
         result == E_INVALIDARG;
}

}  // namespace

/// What an enumerator of the pin's types enumerates.
struct CBasePin::TypeSource {
  using Interface = IEnumMediaTypes;
  using Element = AM_MEDIA_TYPE*;

  std::vector<CMediaType> snapshot() const {
    std::vector<CMediaType> result;
    CMediaType type;
    for (int position = 0; pin->GetMediaType(position, &type) == S_OK; ++position) {
      result.push_back(std::exchange(type, CMediaType()));
    }
    return result;
  }

  static bool isCurrent() { return true; }

  static MediaTypeHandle give(const CMediaType& type) {
    auto* const block = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
    if (block == nullptr) {
      throw std::bad_alloc();
    }
    *block = {};
    MediaTypeHandle copy(block);
    type.copyTo(*copy);
    return copy;
  }

  ComPtr<CBasePin> pin;
};

CBasePin::CBasePin(CBaseFilter& filter, PIN_DIRECTION direction, const wchar_t* name)
    : WithInterfaces(filter), pinDirection(direction), pinName(name) {}

HRESULT CBasePin::GetMediaType(int, CMediaType*) {
  return VFW_S_NO_MORE_ITEMS;
}

IUnknown* CBasePin::findInterface(REFIID id) {
  return WithInterfaces::findInterface(IsEqualIID(id, __uuidof(IUnknown)) ? __uuidof(IPin) : id);
}

HRESULT CBasePin::SetMediaType(const CMediaType* type) {
  const std::lock_guard guard(filter().answerLock());
  mediaType = *type;
  return S_OK;
}

HRESULT CBasePin::CheckConnect(IPin* other) {
  PIN_DIRECTION direction = PINDIR_INPUT;
  if (const HRESULT result = other->QueryDirection(&direction); FAILED(result)) {
    return result;
  }
  return direction == pinDirection ? VFW_E_INVALID_DIRECTION : S_OK;
}

HRESULT CBasePin::CompleteConnect(IPin*) {
  return S_OK;
}

HRESULT CBasePin::BreakConnect() {
  return S_OK;
}

/// Whether the pin can be connected now.
HRESULT CBasePin::checkReady() const {
  if (isConnected()) {
    return VFW_E_ALREADY_CONNECTED;
  }
  return filter().isStopped() ? S_OK : VFW_E_NOT_STOPPED;
}

/// CheckMediaType() with every refusal a failure.
HRESULT CBasePin::checkType(const CMediaType& type) {
  const HRESULT result = CheckMediaType(&type);
  return result == S_FALSE || isRefusal(result) ? VFW_E_TYPE_NOT_ACCEPTED : result;
}

/// Connects with the first of `types` that fits `pattern` (null: any) and that both pins take.
HRESULT CBasePin::tryTypes(IPin* receiver, IEnumMediaTypes& types, const AM_MEDIA_TYPE* pattern) {
  AM_MEDIA_TYPE* offered = nullptr;
  while (types.Next(1, &offered, nullptr) == S_OK) {
    const MediaTypeHandle owned(offered);
    const CMediaType type(*offered);
    if (pattern != nullptr && !type.matchesPartial(*pattern)) {
      continue;
    }
    const HRESULT result = join(receiver, type, true);
    if (!isRefusal(result)) {
      return result;  // Connected, or not connectable with another type either.
    }
  }
  return VFW_E_NO_ACCEPTABLE_TYPES;
}

/// Connects with one type, or leaves the pin as it was.
HRESULT CBasePin::join(IPin* other, const CMediaType& type, bool asConnector) {
  const HRESULT result = guardedMethod([&] { return agree(other, type, asConnector); });
  if (FAILED(result)) {
    separate();
  }
  return result;
}

/// The steps of a connection; what they leave when one fails is for separate().
HRESULT CBasePin::agree(IPin* other, const CMediaType& type, bool asConnector) {
  HRESULT result = CheckConnect(other);
  if (SUCCEEDED(result)) {
    result = checkType(type);
  }
  if (SUCCEEDED(result)) {
    {
      const std::lock_guard guard(filter().answerLock());
      peer = other;
    }
    result = SetMediaType(&type);
  }
  if (FAILED(result) || !asConnector) {
    return FAILED(result) ? result : CompleteConnect(other);
  }
  result = other->ReceiveConnection(this, &type);
  if (FAILED(result)) {
    return result;
  }
  result = guardedMethod([&] { return CompleteConnect(other); });
  if (FAILED(result)) {
    other->Disconnect();
  }
  return result;
}

void CBasePin::separate() {
  BreakConnect();
  ComPtr<IPin> formerPeer;  // Released without the lock.
  const std::lock_guard guard(filter().answerLock());
  formerPeer.Swap(peer);
  mediaType.reset();
}

// IPin

STDMETHODIMP CBasePin::Connect(IPin* receiver, const AM_MEDIA_TYPE* type) {
  if (receiver == nullptr) {
    return E_POINTER;
  }
  const std::lock_guard guard(filter().stateLock());
  if (const HRESULT result = checkReady(); FAILED(result)) {
    return result;
  }
  return guardedMethod([&] {
    if (type != nullptr) {
      const CMediaType wanted(*type);
      if (!wanted.isPartial()) {
        return join(receiver, wanted, true);
      }
    }
    // The receiver's types first: it knows best what it can make use of.
    HRESULT result = VFW_E_NO_ACCEPTABLE_TYPES;
    for (IPin* const pin : {receiver, static_cast<IPin*>(this)}) {
      ComPtr<IEnumMediaTypes> types;
      if (isRefusal(result) && SUCCEEDED(pin->EnumMediaTypes(&types))) {
        result = tryTypes(receiver, *types.Get(), type);
      }
    }
    return result;
  });
}

STDMETHODIMP CBasePin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) {
  if (connector == nullptr || type == nullptr) {
    return E_POINTER;
  }
  const std::lock_guard guard(filter().stateLock());
  if (const HRESULT result = checkReady(); FAILED(result)) {
    return result;
  }
  return guardedMethod([&] { return join(connector, CMediaType(*type), false); });
}

STDMETHODIMP CBasePin::Disconnect() {
  const std::lock_guard guard(filter().stateLock());
  if (!filter().isStopped()) {
    return VFW_E_NOT_STOPPED;
  }
  if (!isConnected()) {
    return S_FALSE;
  }
  separate();
  return S_OK;
}

STDMETHODIMP CBasePin::ConnectedTo(IPin** result) {
  if (result == nullptr) {
    return E_POINTER;
  }
  const std::lock_guard guard(filter().answerLock());
  peer.CopyTo(result);
  return isConnected() ? S_OK : VFW_E_NOT_CONNECTED;
}

STDMETHODIMP CBasePin::ConnectionMediaType(AM_MEDIA_TYPE* result) {
  if (result == nullptr) {
    return E_POINTER;
  }
  const std::lock_guard guard(filter().answerLock());
  *result = {};
  if (!isConnected()) {
    return VFW_E_NOT_CONNECTED;
  }
  return guardedMethod([&] {
    mediaType.copyTo(*result);
    return S_OK;
  });
}

STDMETHODIMP CBasePin::QueryPinInfo(PIN_INFO* info) {
  if (info == nullptr) {
    return E_POINTER;
  }
  info->dir = pinDirection;
  lstrcpynW(info->achName, pinName.c_str(), MAX_PIN_NAME);
  info->pFilter = &filter();
  info->pFilter->AddRef();
  return S_OK;
}

STDMETHODIMP CBasePin::QueryDirection(PIN_DIRECTION* result) {
  if (result == nullptr) {
    return E_POINTER;
  }
  *result = pinDirection;
  return S_OK;
}

STDMETHODIMP CBasePin::QueryId(LPWSTR* result) {
  if (result == nullptr) {
    return E_POINTER;
  }
  *result = static_cast<LPWSTR>(CoTaskMemAlloc((pinName.size() + 1) * sizeof(wchar_t)));
  if (*result == nullptr) {
    return E_OUTOFMEMORY;
  }
  std::copy_n(pinName.c_str(), pinName.size() + 1, *result);
  return S_OK;
}

STDMETHODIMP CBasePin::QueryAccept(const AM_MEDIA_TYPE* type) {
  if (type == nullptr) {
    return E_POINTER;
  }
  const HRESULT result = guardedMethod([&] { return checkType(CMediaType(*type)); });
  return result == VFW_E_TYPE_NOT_ACCEPTED ? S_FALSE : result;
}

STDMETHODIMP CBasePin::EnumMediaTypes(IEnumMediaTypes** result) {
  return Enumerator<TypeSource>::create({this}, result);
}

STDMETHODIMP CBasePin::QueryInternalConnections(IPin**, ULONG*) {
  // The documented answer of a filter of which every input reaches every output.
  return E_NOTIMPL;
}

STDMETHODIMP CBasePin::EndOfStream() {
  return S_OK;
}

STDMETHODIMP CBasePin::BeginFlush() {
  return S_OK;
}

STDMETHODIMP CBasePin::EndFlush() {
  return S_OK;
}

STDMETHODIMP CBasePin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
  segmentStart = start;
  segmentStop = stop;
  segmentRate = rate;
  return S_OK;
}

// IQualityControl

STDMETHODIMP CBasePin::Notify(IBaseFilter* sender, Quality quality) {
  // Nothing here adapts its pace; whoever asked for the messages gets them.
  if (sender == nullptr) {
    return E_POINTER;
  }
  return qualitySink != nullptr ? qualitySink->Notify(&filter(), quality) : E_NOTIMPL;
}

STDMETHODIMP CBasePin::SetSink(IQualityControl* sink) {
  qualitySink = sink;
  return S_OK;
}

}  // namespace quillet
