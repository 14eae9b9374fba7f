#include "directshow/graph/filter_graph.h"

#include <dshow.h>

#include <quillet/error_codes.h>

using Microsoft::WRL::ComPtr;

namespace quillet {

int FilterGraph::create() {
  if (FAILED(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&builder)))) {
    return ds_error::noGraphBuilder;
  }
  registration.add(builder.Get());
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
  // IMediaEvent::WaitForCompletion does the like, but Wine's does not come back from an abort.
  HANDLE eventWaiting = nullptr;
  if (FAILED(events->GetEventHandle(reinterpret_cast<OAEVENT*>(&eventWaiting)))) {
    return End::failed;
  }
  const HANDLE wakers[] = {eventWaiting, interruption};
  const DWORD wakerCount = interruption != nullptr ? 2 : 1;
  for (;;) {
    // Ends: every stream ends with one of the events that takeEvents() looks for, and whoever does not want to wait for
    // that gives an event of his own, or a time.
    switch (WaitForMultipleObjects(wakerCount, wakers, FALSE, timeoutMs)) {
      case WAIT_OBJECT_0:
        if (const long code = takeEvents()) {
          return code == EC_COMPLETE ? End::completed : End::aborted;
        }
        break;
      case WAIT_OBJECT_0 + 1:
        return End::interrupted;
      case WAIT_TIMEOUT:
        return End::timedOut;
      default:
        return End::failed;
    }
  }
}

long FilterGraph::takeEvents() {
  long code = 0;
  LONG_PTR first = 0;
  LONG_PTR second = 0;
  while (SUCCEEDED(events->GetEvent(&code, &first, &second, 0))) {
    events->FreeEventParams(code, first, second);
    if (code == EC_COMPLETE || code == EC_ERRORABORT || code == EC_USERABORT) {
      return code;
    }
  }
  return 0;
}

}  // namespace quillet
