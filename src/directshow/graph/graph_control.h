// What every filter graph of the library is asked to do, whatever is in it.

#pragma once

#include <windows.h>

#include <strmif.h>
#include <wrl/client.h>

// Needs strmif.h.
#include <control.h>

namespace quillet {

/// The interfaces that run a graph.
struct GraphControl {
  Microsoft::WRL::ComPtr<IMediaControl> control;
  Microsoft::WRL::ComPtr<IMediaEvent> events;

  /// @return a ds_error code.
  int query(IGraphBuilder* graph);

  /// Stops the graph and waits until it is stopped.
  /// @return a ds_error code.
  int stop() const;

  /// The handle that is signalled while events are waiting; null when there is none. Not to be closed.
  HANDLE eventWaiting() const;

  /// Takes the events that are waiting, up to one that means that the graph plays no more: EC_COMPLETE, EC_ERRORABORT or
  /// EC_USERABORT.
  /// @return that event's code; 0 when there was none.
  long takeEvents() const;
};

/// Lets the graph run as fast as it can.
/// @return whether the reference clock could be removed.
bool removeClock(IGraphBuilder* graph);

}  // namespace quillet
