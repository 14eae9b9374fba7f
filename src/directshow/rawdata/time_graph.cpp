#include "directshow/rawdata/time_graph.h"

#include <utility>

#include <quillet/error_codes.h>

#include "directshow/graph/stall_watch.h"

namespace ds_error = quillet::ds_error;

DSRawDataSourceStream::TimeGraph::~TimeGraph() {
  graph.destroying = true;
  if (graph.running) {
    graph.stop();
  }
}

int DSRawDataSourceStream::TimeGraph::open(const Graph& dataGraph, std::unique_ptr<quillet::TimeSGCallback> counting) {
  if (const int error = graph.buildLike(dataGraph)) {
    return error;
  }
  if (const int error = graph.querySeeking()) {
    return error;
  }
  if (const int error = graph.graph.queryControl()) {
    return error;
  }
  graph.graph.removeClock();  // With a clock the stream only plays at its own speed; that is no error.
  callback = counting.get();
  graph.installCallback(std::move(counting));
  return graph.createEvents();
}

int DSRawDataSourceStream::TimeGraph::advanceTo(long long target) {
  const bool isAhead = callback->isAhead(target);
  if (callback->isRough() || callback->isFirstToReach(target) || (finished && isAhead)) {
    return ds_error::success;
  }
  callback->target = target;
  if (!isAhead || !callback->letGo()) {
    if (const int error = restart()) {
      return error;
    }
  }
  using End = quillet::FilterGraph::End;
  const End end = waitForSample();
  if (end == End::failed) {
    return ds_error::cannotRunGraph;
  }
  finished = end == End::completed;
  if (end == End::completed || end == End::interrupted) {
    return ds_error::success;
  }
  // A graph that has aborted or stalled may go on delivering, to nobody. What it has not counted is not known.
  const int error = graph.stop();
  return error != ds_error::success ? error : static_cast<int>(ds_error::dataNotFound);
}

/// Waits until the callback holds a sample.
/// @return how the wait was interrupted; #End::timedOut when the stream has stalled.
quillet::FilterGraph::End DSRawDataSourceStream::TimeGraph::waitForSample() {
  using quillet::StallWatch;
  quillet::FilterGraph::End end = quillet::FilterGraph::End::timedOut;
  StallWatch watch(callback->received());
  // Ends: the callback holds a sample; the stream ends or fails, of which the graph tells by an event; or it neither ends
  // nor delivers a sample for as long as makes a stall.
  do {
    end = graph.graph.waitForEnd(callback->delivered.get(), StallWatch::lookAfterMs);
  } while (end == quillet::FilterGraph::End::timedOut && !watch.hasStalled(callback->received()));
  return end;
}

/// Plays the stream from its start again.
int DSRawDataSourceStream::TimeGraph::restart() {
  finished = false;
  if (const int error = graph.rewind()) {
    return error;
  }
  ResetEvent(callback->delivered.get());  // A sample held after an abort was nobody's.
  callback->restart();
  return SUCCEEDED(graph.start()) ? ds_error::success : ds_error::cannotRunGraph;
}
