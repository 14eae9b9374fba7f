#include "directshow/base/c_base_filter.h"

#include <mutex>

#include <vfwmsgs.h>

#include "directshow/base/c_base_pin.h"
#include "directshow/base/enumerator.h"
#include "platform/guarded.h"
#include "platform/handles.h"

using Microsoft::WRL::ComPtr;

namespace quillet {
namespace {

void releasePin(IPin* pin) {
  pin->Release();
}

}  // namespace

/// What an enumerator of the filter's pins enumerates. Pins are only ever added, so their number is their version.
struct CBaseFilter::PinSource {
  using Interface = IEnumPins;
  using Element = IPin*;

  std::vector<ComPtr<IPin>> snapshot() {
    const std::lock_guard guard(filter->answers);
    std::vector<ComPtr<IPin>> result;
    for (const auto& pin : filter->pins) {
      result.emplace_back(pin.get());
    }
    version = result.size();
    return result;
  }

  bool isCurrent() const {
    const std::lock_guard guard(filter->answers);
    return version == filter->pins.size();
  }

  static UniqueHandle<IPin*, releasePin> give(const ComPtr<IPin>& pin) {
    pin->AddRef();
    return UniqueHandle<IPin*, releasePin>(pin.Get());
  }

  ComPtr<CBaseFilter> filter;
  std::size_t version = 0;
};

CBaseFilter::CBaseFilter(IUnknown* outer, REFCLSID id) : WithInterfaces(outer), classId(id) {}

CBaseFilter::~CBaseFilter() = default;

HRESULT CBaseFilter::NotifyEvent(long code, LONG_PTR parameter1, LONG_PTR parameter2) {
  if (graph == nullptr) {
    return S_OK;
  }
  ComPtr<IMediaEventSink> sink;
  if (const HRESULT result = graph->QueryInterface(IID_PPV_ARGS(&sink)); FAILED(result)) {
    return result;
  }
  return sink->Notify(code, parameter1, parameter2);
}

IUnknown* CBaseFilter::findInterface(REFIID id) {
  if (IsEqualIID(id, __uuidof(IPersist)) || IsEqualIID(id, __uuidof(IMediaFilter))) {
    return static_cast<IBaseFilter*>(this);
  }
  return WithInterfaces::findInterface(id);
}

void CBaseFilter::keepPin(std::unique_ptr<CBasePin> pin) {
  const std::lock_guard changeGuard(lock);
  const std::lock_guard guard(answers);
  pins.push_back(std::move(pin));
}

HRESULT CBaseFilter::activatePins() {
  for (const auto& pin : pins) {
    const HRESULT result = pin->isConnected() ? guardedMethod([&] { return pin->Active(); }) : S_OK;
    if (FAILED(result)) {
      deactivatePins();
      return result;
    }
  }
  return S_OK;
}

HRESULT CBaseFilter::deactivatePins() {
  // All of them, whatever happens to one: no thread may outlive the stop.
  HRESULT firstFailure = S_OK;
  for (const auto& pin : pins) {
    const HRESULT result = pin->isConnected() ? pin->Inactive() : S_OK;
    if (FAILED(result) && SUCCEEDED(firstFailure)) {
      firstFailure = result;
    }
  }
  return firstFailure;
}

// IPersist

STDMETHODIMP CBaseFilter::GetClassID(CLSID* result) {
  if (result == nullptr) {
    return E_POINTER;
  }
  *result = classId;
  return S_OK;
}

// IMediaFilter

STDMETHODIMP CBaseFilter::Stop() {
  const std::lock_guard guard(lock);
  const HRESULT result = isStopped() ? S_OK : deactivatePins();
  state = State_Stopped;
  return result;
}

STDMETHODIMP CBaseFilter::Pause() {
  const std::lock_guard guard(lock);
  const HRESULT result = isStopped() ? activatePins() : S_OK;
  if (SUCCEEDED(result)) {
    state = State_Paused;
  }
  return result;
}

STDMETHODIMP CBaseFilter::Run(REFERENCE_TIME start) {
  const std::lock_guard guard(lock);
  // A stopped filter passes through the paused state, as under a graph.
  HRESULT result = isStopped() ? Pause() : S_OK;
  if (FAILED(result) || state == State_Running) {
    return result;
  }
  for (const auto& pin : pins) {
    result = pin->isConnected() ? pin->Run(start) : S_OK;
    if (FAILED(result)) {
      return result;
    }
  }
  state = State_Running;
  return S_OK;
}

STDMETHODIMP CBaseFilter::GetState(DWORD, FILTER_STATE* result) {
  if (result == nullptr) {
    return E_POINTER;
  }
  // A change of state is complete when its call returns: there is no intermediate state to wait out. Without the lock,
  // since streaming threads may ask as well.
  *result = state;
  return S_OK;
}

STDMETHODIMP CBaseFilter::SetSyncSource(IReferenceClock* newClock) {
  ComPtr<IReferenceClock> exchanged = newClock;  // The former one is released without the lock.
  const std::lock_guard guard(answers);
  exchanged.Swap(clock);
  return S_OK;
}

STDMETHODIMP CBaseFilter::GetSyncSource(IReferenceClock** result) {
  if (result == nullptr) {
    return E_POINTER;
  }
  const std::lock_guard guard(answers);
  return clock.CopyTo(result);
}

// IBaseFilter

STDMETHODIMP CBaseFilter::EnumPins(IEnumPins** result) {
  return Enumerator<PinSource>::create({this}, result);
}

STDMETHODIMP CBaseFilter::FindPin(LPCWSTR id, IPin** result) {
  if (id == nullptr || result == nullptr) {
    return E_POINTER;
  }
  const std::lock_guard guard(answers);
  *result = nullptr;
  for (const auto& pin : pins) {
    if (pin->id() == id) {
      return ComPtr<IPin>(pin.get()).CopyTo(result);
    }
  }
  return VFW_E_NOT_FOUND;
}

STDMETHODIMP CBaseFilter::QueryFilterInfo(FILTER_INFO* info) {
  if (info == nullptr) {
    return E_POINTER;
  }
  const std::lock_guard guard(answers);
  lstrcpynW(info->achName, name.c_str(), MAX_FILTER_NAME);
  info->pGraph = graph;
  if (graph != nullptr) {
    graph->AddRef();
  }
  return S_OK;
}

STDMETHODIMP CBaseFilter::JoinFilterGraph(IFilterGraph* newGraph, LPCWSTR newName) {
  return guardedMethod([&] {
    const std::lock_guard guard(answers);
    name = newName != nullptr ? newName : L"";
    graph = newGraph;
    return S_OK;
  });
}

STDMETHODIMP CBaseFilter::QueryVendorInfo(LPWSTR* result) {
  // There is no text to tell about the vendor: this is the documented answer.
  return result == nullptr ? E_POINTER : E_NOTIMPL;
}

}  // namespace quillet
