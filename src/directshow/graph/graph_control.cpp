#include "directshow/graph/graph_control.h"

#include <dshow.h>

#include <quillet/error_codes.h>

using Microsoft::WRL::ComPtr;

namespace quillet {

int GraphControl::query(IGraphBuilder* graph) {
  if (FAILED(graph->QueryInterface(IID_IMediaControl, &control))) {
    return ds_error::noMediaControl;
  }
  return SUCCEEDED(graph->QueryInterface(IID_IMediaEvent, &events)) ? ds_error::success : ds_error::noMediaEvent;
}

int GraphControl::stop() const {
  if (FAILED(control->Stop())) {
    return ds_error::cannotStopGraph;
  }
  OAFilterState state = State_Stopped;
  return SUCCEEDED(control->GetState(static_cast<LONG>(INFINITE), &state)) ? ds_error::success
                                                                           : ds_error::getStateFailed;
}

HANDLE GraphControl::eventWaiting() const {
  HANDLE handle = nullptr;
  return SUCCEEDED(events->GetEventHandle(reinterpret_cast<OAEVENT*>(&handle))) ? handle : nullptr;
}

long GraphControl::takeEvents() const {
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

bool removeClock(IGraphBuilder* graph) {
  ComPtr<IMediaFilter> filter;
  return SUCCEEDED(graph->QueryInterface(IID_PPV_ARGS(&filter))) && SUCCEEDED(filter->SetSyncSource(nullptr));
}

}  // namespace quillet
