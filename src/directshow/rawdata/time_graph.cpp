#include "directshow/rawdata/time_graph.h"

#include <utility>

#include <quillet/error_codes.h>

namespace ds_error = quillet::ds_error;

int DSRawDataSourceStream::TimeGraph::open(const Graph& dataGraph, std::unique_ptr<quillet::TimeSGCallback> counting) {
  if (const int error = graph.buildLike(dataGraph)) {
    return error;
  }
  if (const int error = graph.queryInterfaces()) {
    return error;
  }
  graph.filters.removeClock();  // With a clock the stream only plays at its own speed; that is no error.
  callback = counting.get();
  graph.installCallback(std::move(counting));
  return graph.runner.requireEvents();
}

int DSRawDataSourceStream::TimeGraph::advanceTo(long long target) {
  const bool isAhead = callback->isAhead(target);
  if (callback->isRough() || callback->isFirstToReach(target) || (graph.runner.hasEnded() && isAhead)) {
    return ds_error::success;
  }
  if (!isAhead || !graph.runner.isHolding()) {
    if (const int error = graph.runner.rewind()) {
      return error;
    }
    callback->restart();
  }
  callback->target = target;
  return graph.runner.run();
}
