// The system's filter graph, with faults: to see what the library does when a graph refuses.

#pragma once

#include <atomic>
#include <vector>

#include <windows.h>

#include <strmif.h>
#include <uuids.h>

// Needs strmif.h.
#include <control.h>

#include "support/com_object.h"

namespace quillet::test {

/// What graphs fail to do, and what is known of them. A failed Stop() stops nevertheless.
struct GraphFaults {
  HRESULT create = S_OK;
  std::vector<IID> missing;
  HRESULT run = S_OK;
  HRESULT stop = S_OK;
  HRESULT getState = S_OK;
  HRESULT setTimeFormat = S_OK;
  HRESULT getDuration = S_OK;
  HRESULT setPositions = S_OK;
  std::atomic<int> graphs = 0;  ///< That there are.
  std::atomic<int> runs = 0;    ///< That the client has started.
  std::vector<LONGLONG> seeks;  ///< Where the client has seeked to; a graph that is stopped also seeks by itself.
  LONGLONG seekEnd = 0;         ///< Where the stream was to end since the last of them.
};

/// While it lives, every filter graph that is made on a thread of the multithreaded apartment has these faults.
class GraphOverride {
 public:
  /// Sends an event to the graph made last, as its filters do.
  void notify(long event) const;

  /// Stops or pauses the graph made last, as a graph viewer can.
  void stop() const { last->Stop(); }
  void pause() const { last->Pause(); }

  /// Where the client has seeked to since it was last asked, in units of `period`.
  std::vector<double> takeSeeks(REFERENCE_TIME period) {
    std::vector<double> seeks;
    for (const LONGLONG position : std::exchange(faults.seeks, {})) {
      seeks.push_back(static_cast<double>(position) / static_cast<double>(period));
    }
    return seeks;
  }

  GraphFaults faults;

 private:
  HRESULT make(REFIID iid, void** object);

  IMediaControl* last = nullptr;
  const ClassObjectOverride graph{CLSID_FilterGraph, [this](REFIID iid, void** object) { return make(iid, object); }};
};

}  // namespace quillet::test
