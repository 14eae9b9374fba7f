#include "directshow/rawdata/time_graph.h"

#include <utility>

#include <quillet/error_codes.h>

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
  const End end = graph.waitForEnd(callback->delivered.get());
  if (end == End::failed) {
    return ds_error::cannotRunGraph;
  }
  finished = end == End::completed;
  if (end == End::completed || end == End::interrupted) {
    return ds_error::success;
  }
  // A graph that has aborted may go on delivering, to nobody. What it has not counted is not known.
  const int error = graph.stop();
  return error != ds_error::success ? error : static_cast<int>(ds_error::dataNotFound);
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
