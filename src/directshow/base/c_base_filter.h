// The base of filters: state, clock, graph and pins.

#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <windows.h>

#include <strmif.h>
#include <wrl/client.h>

#include "directshow/base/com_object.h"
#include "platform/critical_section.h"

namespace quillet {

class CBasePin;

/// A filter. It owns its pins, which share its reference count: they live exactly as long as the filter does.
///
/// The state lock guards the state, and is held through every change of it, of a connection and of the pins. It is held while
/// a state change waits for the streaming threads, so a streaming thread never takes it; what such a thread reads (its own
/// connection, the graph) changes only while the filter is stopped.
///
/// Receivers ask back on the streaming thread, and viewers of the graph at any time. What they can ask for (clock,
/// graph, name, pins, connections) stands under the answer lock. It is taken after the state lock where both are held,
/// and nobody who holds it waits for anything or calls a filter. A subclass that answers more, IMediaSeeking for one,
/// needs a lock of its own of this kind.
class CBaseFilter : public WithInterfaces<ComObject, IBaseFilter> {
 public:
  /// @param outer the object that this one is to be a part of; null when it stands alone.
  CBaseFilter(IUnknown* outer, REFCLSID classId);
  ~CBaseFilter() override;

  CriticalSection& stateLock() { return lock; }
  CriticalSection& answerLock() { return answers; }

  /// For callers that hold the state lock.
  bool isStopped() const { return state == State_Stopped; }

  /// Sends an event to the graph's event queue. Does nothing outside a graph.
  HRESULT NotifyEvent(long code, LONG_PTR parameter1, LONG_PTR parameter2);

  // IPersist
  STDMETHODIMP GetClassID(CLSID* result) override;

  // IMediaFilter
  STDMETHODIMP Stop() override;
  STDMETHODIMP Pause() override;
  STDMETHODIMP Run(REFERENCE_TIME start) override;
  STDMETHODIMP GetState(DWORD timeout, FILTER_STATE* result) override;
  STDMETHODIMP SetSyncSource(IReferenceClock* newClock) override;
  STDMETHODIMP GetSyncSource(IReferenceClock** result) override;

  // IBaseFilter
  STDMETHODIMP EnumPins(IEnumPins** result) override;
  STDMETHODIMP FindPin(LPCWSTR id, IPin** result) override;
  STDMETHODIMP QueryFilterInfo(FILTER_INFO* info) override;
  STDMETHODIMP JoinFilterGraph(IFilterGraph* newGraph, LPCWSTR newName) override;
  STDMETHODIMP QueryVendorInfo(LPWSTR* result) override;

 protected:
  IUnknown* findInterface(REFIID id) override;

  /// Adds a pin, at any time; enumerators of the pins are then out of date.
  template <class Pin>
  Pin& addPin(std::unique_ptr<Pin> pin) {
    Pin& added = *pin;
    keepPin(std::move(pin));
    return added;
  }

 private:
  struct PinSource;

  void keepPin(std::unique_ptr<CBasePin> pin);
  HRESULT activatePins();
  HRESULT deactivatePins();

  CriticalSection lock;
  CriticalSection answers;
  const CLSID classId;
  std::atomic<FILTER_STATE> state = State_Stopped;
  Microsoft::WRL::ComPtr<IReferenceClock> clock;
  // Not counted, as the graph counts its filters.
  IFilterGraph* graph = nullptr;
  std::wstring name;
  std::vector<std::unique_ptr<CBasePin>> pins;
};

}  // namespace quillet
