// Runs the filter graph of a source for the thread that reads: from one sample that the callback holds to the next.

#pragma once

#include <atomic>

#include <windows.h>

#include <quillet/error_codes.h>

#include "directshow/graph/filter_graph.h"
#include "platform/event.h"
#include "platform/library_thread.h"

namespace quillet {

struct SourceGraph;

/// The methods are for the reading thread, and answer ds_error codes. The graph runs on a worker thread, which is kept from
/// one run to the next, since starting a thread costs as much as all the rest of a seek.
class GraphRunner {
 public:
  /// What the graph does, as the reading thread has left it.
  enum class State {
    idle,     ///< It is stopped, and can deliver.
    running,  ///< It is on its way to the next sample that the callback holds.
    holding,  ///< The callback holds a sample.
    ended,    ///< The stream was played to its end, and not moved since: it can deliver nothing.
    aborted,  ///< It is stopped, and nobody knows whether the stream has more.
  };

  /// @param graph outlives the runner. It is asked for nothing before the first run or seek.
  explicit GraphRunner(SourceGraph& graph) : graph(graph) {}
  GraphRunner(const GraphRunner&) = delete;
  GraphRunner& operator=(const GraphRunner&) = delete;
  ~GraphRunner() { shutDown(); }

  /// Whether the system had the events that the threads share with one another.
  int requireEvents() const;

  bool isHolding() const { return state == State::holding; }
  bool hasEnded() const { return state == State::ended; }

  /// Lets the graph deliver until the callback holds a sample, or the stream has ended: any other end of the run is a
  /// failure.
  int run();

  /// Runs the graph through its whole stream, with a callback that counts, and rewinds it.
  /// @return ds_error::stoppedByNotification when the callback has held a sample to end that.
  int playToEnd();

  /// Stops the graph.
  int stop();

  /// Stops the graph and positions it; it will run to the end that the graph's duration tells.
  /// @param position units of 100 ns.
  int seek(long long position, bool toKeyFrame);

  /// Stops the graph and positions it at its start; it will run to the end of the stream, whatever the duration says.
  int rewind();

  /// Stops the graph and ends the worker, for good. To be called before anything goes that the callback writes to.
  void shutDown();

 private:
  using End = FilterGraph::End;

  int requestRun();
  int settleEnd();
  int takeEnd();
  int halt();
  int stopGraph();

  static void work(void* self);
  int runUntilEnd();
  End waitForEnd();

  SourceGraph& graph;
  State state = State::idle;

  /// The worker is to end.
  bool isShuttingDown = false;

  LibraryThread worker;

  /// @name Between the worker and the reading thread, each event taken by the one wait for it
  /// @{
  const Event runRequested = Event::automatic();
  const Event stopRequested = Event::automatic();  ///< Ends the run.
  const Event runEnded = Event::automatic();

  /// The worker is about to signal the end of the run, or has. Unlike that event it is seen without a call to the system.
  std::atomic<bool> isRunOver = false;
  /// @}

  /// @name The worker's while it runs the graph, and the reading thread's otherwise: the events order all accesses
  /// @{

  /// The graph may be running: it was started and not stopped since.
  bool isStarted = false;

  /// Why the last run has ended. Certain once the graph is stopped.
  End runEnd = End::interrupted;

  int runError = ds_error::success;
  /// @}
};

}  // namespace quillet
