// A filter graph, whatever is in it: made, registered, run, waited for and stopped.

#pragma once

#include <windows.h>

#include <strmif.h>
#include <wrl/client.h>

// Needs strmif.h.
#include <control.h>

#include "directshow/graph/running_object_table.h"

namespace quillet {

/// The members are released in the reverse order of theirs.
struct FilterGraph {
  /// Makes the graph, and registers it for graph viewers.
  /// @return a ds_error code.
  int create();

  /// Gets the interfaces that run the graph.
  /// @return a ds_error code.
  int queryControl();

  /// Lets the graph run as fast as it can.
  /// @return whether the reference clock could be removed.
  bool removeClock();

  /// Stops the graph and waits until it is stopped.
  /// @return a ds_error code.
  int stop();

  /// Stops every filter by itself: after a failed start, when the graph may count as stopped while some of them do not.
  void stopFilters();

  /// Why a graph is not waited for any more.
  enum class End {
    completed,
    aborted,      ///< By a filter or by the user.
    interrupted,  ///< The event was signalled that was to interrupt the wait.
    timedOut,
    failed,  ///< Its events cannot be waited for.
  };

  /// Waits until the running graph has completed or aborted.
  /// @param interruption an event that ends the wait as well; may be null.
  /// @param timeoutMs how long; what other events come meanwhile lengthens it.
  End waitForEnd(HANDLE interruption, DWORD timeoutMs = INFINITE);

  /// Takes the events that are waiting, up to one that means that the graph plays no more: EC_COMPLETE, EC_ERRORABORT or
  /// EC_USERABORT.
  /// @return that event's code; 0 when there was none.
  long takeEvents();

  Microsoft::WRL::ComPtr<IGraphBuilder> builder;
  Microsoft::WRL::ComPtr<IMediaControl> control;
  Microsoft::WRL::ComPtr<IMediaEvent> events;

 private:
  RunningObjectRegistration registration;
};

}  // namespace quillet
