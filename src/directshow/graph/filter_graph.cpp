#include "directshow/graph/filter_graph.h"

#include <algorithm>
#include <climits>

#include <dshow.h>

#include <quillet/error_codes.h>

using Microsoft::WRL::ComPtr;

namespace quillet {
namespace {

/// When more events than these are waiting, somebody sends them without end.
constexpr int mostEvents = 1000;

}  // namespace

int FilterGraph::create(bool isListed) {
  if (FAILED(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&builder)))) {
    return ds_error::noGraphBuilder;
  }
  if (isListed) {
    registration.add(builder.Get());
  }
  return ds_error::success;
}

int FilterGraph::queryControl() {
  if (FAILED(builder->QueryInterface(IID_IMediaControl, &control))) {
    return ds_error::noMediaControl;
  }
  return SUCCEEDED(builder->QueryInterface(IID_IMediaEvent, &events)) ? ds_error::success : ds_error::noMediaEvent;
}

bool FilterGraph::removeClock() {
  ComPtr<IMediaFilter> filter;
  return SUCCEEDED(builder.As(&filter)) && SUCCEEDED(filter->SetSyncSource(nullptr));
}

int FilterGraph::stop() {
  if (FAILED(control->Stop())) {
    return ds_error::cannotStopGraph;
  }
  OAFilterState state = State_Stopped;
  return SUCCEEDED(control->GetState(static_cast<LONG>(INFINITE), &state)) ? ds_error::success
                                                                           : ds_error::getStateFailed;
}

bool FilterGraph::keepsRunning() {
  OAFilterState state = State_Stopped;
  if (FAILED(control->GetState(0, &state))) {
    return false;
  }
  return state == State_Running || (state == State_Paused && SUCCEEDED(control->Run()));
}

void FilterGraph::stopFilters() {
  control->Stop();
  ComPtr<IEnumFilters> filters;
  if (FAILED(builder->EnumFilters(&filters))) {
    return;
  }
  ComPtr<IBaseFilter> filter;
  while (filters->Next(1, filter.ReleaseAndGetAddressOf(), nullptr) == S_OK) {
    filter->Stop();
  }
}

FilterGraph::End FilterGraph::waitForEnd(HANDLE interruption, DWORD timeoutMs) {
  // The interruption comes first: then no flood of events can keep it waiting.
  HANDLE wakers[2] = {interruption};
  const DWORD eventWaiting = interruption != nullptr ? 1 : 0;
  // IMediaEvent::WaitForCompletion does the like, but Wine's does not come back from an abort.
  if (FAILED(events->GetEventHandle(reinterpret_cast<OAEVENT*>(&wakers[eventWaiting])))) {
    return End::failed;
  }
  constexpr ULONGLONG never = ULLONG_MAX;
  const ULONGLONG deadline = timeoutMs == INFINITE ? never : GetTickCount64() + timeoutMs;
  for (;;) {
    const ULONGLONG now = GetTickCount64();
    const auto left = static_cast<DWORD>(std::min<ULONGLONG>(deadline - std::min(now, deadline), INFINITE));
    // Ends: every stream ends with one of the events that takeEvents() looks for. Whoever cannot rely on that gives an
    // event to interrupt the wait, or a time.
    const DWORD waker = WaitForMultipleObjects(eventWaiting + 1, wakers, FALSE, left);
    if (waker == WAIT_FAILED || waker == WAIT_TIMEOUT) {
      return waker == WAIT_FAILED ? End::failed : End::timedOut;
    }
    if (waker != WAIT_OBJECT_0 + eventWaiting) {
      return End::interrupted;
    }
    if (const long code = takeEvents()) {
      return code == EC_COMPLETE ? End::completed : End::aborted;
    }
    if (left == 0) {
      return End::timedOut;
    }
  }
}

bool FilterGraph::forgetEvents() {
  bool hasAborted = false;
  // Ends: also when somebody sends events without end. Those will then be found by the next wait, which nothing can
  // help.
  for (int taken = 0; taken < mostEvents; ++taken) {
    const long code = takeEvents();
    if (code == 0) {
      break;
    }
    hasAborted = hasAborted || code != EC_COMPLETE;
  }
  return hasAborted;
}

/// Takes the events that are waiting, up to one that means that the graph plays no more.
/// @return that event's code; 0 when there was none.
long FilterGraph::takeEvents() {
  long code = 0;
  LONG_PTR first = 0;
  LONG_PTR second = 0;
  for (int taken = 0; taken < mostEvents && SUCCEEDED(events->GetEvent(&code, &first, &second, 0)); ++taken) {
    events->FreeEventParams(code, first, second);
    switch (code) {
      case EC_COMPLETE:
      case EC_USERABORT:
      case EC_ERRORABORT:
      case EC_ERRORABORTEX:
      case EC_STREAM_ERROR_STOPPED:
        return code;
      default:
        break;
    }
  }
  return 0;
}

}  // namespace quillet
