// A filter graph, whatever is in it: made, registered, run, waited for and stopped.

#pragma once

#include <windows.h>

#include <strmif.h>
#include <wrl/client.h>

// Needs strmif.h.
#include <control.h>

#include "directshow/graph/running_object_table.h"

namespace quillet {

/// The members are released from the last one to the first.
struct FilterGraph {
  /// Makes the graph.
  /// @param isListed whether it is registered for graph viewers, through which anybody can pause and stop it: whoever runs
  ///     it then has to look after it, with keepsRunning().
  /// @return a ds_error code.
  int create(bool isListed = true);

  /// Gets the interfaces that run the graph.
  /// @return a ds_error code.
  int queryControl();

  /// Lets the graph run as fast as it can.
  /// @return whether the reference clock could be removed.
  bool removeClock();

  /// Stops the graph and waits until it is stopped.
  /// @return a ds_error code.
  int stop();

  /// Runs the running graph on where somebody else has paused it.
  /// @return false when it cannot be run on, or somebody has stopped it.
  bool keepsRunning();

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
  /// @param interruption an event that ends the wait as well, and before all others; may be null.
  End waitForEnd(HANDLE interruption, DWORD timeoutMs = INFINITE);

  /// Takes the events that are waiting, for the next wait not to find them.
  /// @return whether one told of an abort.
  bool forgetEvents();

  Microsoft::WRL::ComPtr<IGraphBuilder> builder;
  Microsoft::WRL::ComPtr<IMediaControl> control;
  Microsoft::WRL::ComPtr<IMediaEvent> events;

 private:
  long takeEvents();

  RunningObjectRegistration registration;
};

}  // namespace quillet
