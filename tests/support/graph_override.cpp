#include "support/graph_override.h"

#include <algorithm>

#include "support/unused_interfaces.h"

namespace quillet::test {
namespace {

/// Has a real graph as its part, of which it replaces two interfaces.
class FaultyGraph : public UnusedSeeking<Wrapped<IMediaControl, IMediaSeeking>> {
 public:
  explicit FaultyGraph(GraphFaults& graphFaults) : faults(graphFaults) { ++faults.graphs; }
  ~FaultyGraph() override { --faults.graphs; }

  void takeInGraph() {
    takeIn("quartz.dll", CLSID_FilterGraph);
    control = static_cast<IMediaControl*>(ofPart(IID_IMediaControl));
    seeking = static_cast<IMediaSeeking*>(ofPart(IID_IMediaSeeking));
    if (isMissing(IID_IMediaFilter)) {
      // A clock that the client cannot remove, removed: Wine's may wait for its own thread when it is released.
      static_cast<IMediaFilter*>(ofPart(IID_IMediaFilter))->SetSyncSource(nullptr);
    }
  }

  // IDispatch
  STDMETHODIMP GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
  STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
    return E_NOTIMPL;
  }

  // IMediaControl
  STDMETHODIMP Run() override {
    ++faults.runs;
    return FAILED(faults.run) ? faults.run : control->Run();
  }
  STDMETHODIMP Pause() override { return control->Pause(); }
  STDMETHODIMP Stop() override {
    const HRESULT result = control->Stop();
    return FAILED(faults.stop) ? faults.stop : result;
  }
  STDMETHODIMP GetState(LONG a, OAFilterState* b) override {
    return FAILED(faults.getState) ? faults.getState : control->GetState(a, b);
  }
  STDMETHODIMP RenderFile(BSTR) override { return E_NOTIMPL; }
  STDMETHODIMP AddSourceFilter(BSTR, IDispatch**) override { return E_NOTIMPL; }
  STDMETHODIMP get_FilterCollection(IDispatch**) override { return E_NOTIMPL; }
  STDMETHODIMP get_RegFilterCollection(IDispatch**) override { return E_NOTIMPL; }
  STDMETHODIMP StopWhenReady() override { return E_NOTIMPL; }

  // IMediaSeeking
  STDMETHODIMP SetTimeFormat(const GUID* a) override {
    return FAILED(faults.setTimeFormat) ? faults.setTimeFormat : seeking->SetTimeFormat(a);
  }
  STDMETHODIMP GetDuration(LONGLONG* a) override {
    return FAILED(faults.getDuration) ? faults.getDuration : seeking->GetDuration(a);
  }
  STDMETHODIMP SetPositions(LONGLONG* a, DWORD b, LONGLONG* c, DWORD d) override {
    faults.seeks.push_back(*a);
    faults.seekEnd = d == AM_SEEKING_AbsolutePositioning ? *c : -1;
    return FAILED(faults.setPositions) ? faults.setPositions : seeking->SetPositions(a, b, c, d);
  }

 protected:
  IUnknown* findInterface(REFIID id) override { return isMissing(id) ? nullptr : UnusedSeeking::findInterface(id); }

 private:
  bool isMissing(REFIID id) const { return std::ranges::count(faults.missing, id) != 0; }

  GraphFaults& faults;
  IMediaControl* control = nullptr;
  IMediaSeeking* seeking = nullptr;
};

}  // namespace

HRESULT GraphOverride::make(REFIID iid, void** object) {
  if (FAILED(faults.create)) {
    return faults.create;
  }
  const auto made = makeCom<FaultyGraph>(faults);
  made->takeInGraph();
  last = made.Get();
  return made->QueryInterface(iid, object);
}

void GraphOverride::notify(long event) const {
  Microsoft::WRL::ComPtr<IMediaEventSink> sink;
  last->QueryInterface(IID_PPV_ARGS(&sink));
  sink->Notify(event, 0, 0);
}

}  // namespace quillet::test
