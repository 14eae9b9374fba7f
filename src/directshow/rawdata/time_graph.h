// The graph that counts samples for one direction of the conversions between sample numbers and times. Between conversions
// it is held where the last one has ended, with a thread that looks after it.

#pragma once

#include <memory>

#include <quillet/ds_raw_data_source_stream.h>

#include "directshow/rawdata/time_sg_callback.h"
#include "directshow/source/source_graph.h"

class DSRawDataSourceStream::TimeGraph {
 public:
  /// Builds the graph for the stream that `dataGraph` plays; that outlives it.
  /// @return a ds_error code.
  int open(const Graph& dataGraph, std::unique_ptr<quillet::TimeSGCallback> counting);

  /// Counts on, or from the start again, until a sample reaches `target`, the stream has ended or it turns out that its
  /// samples cannot be counted.
  /// @return a ds_error code.
  int advanceTo(long long target);

  const quillet::TimeSGCallback& counter() const { return *callback; }

 private:
  Graph graph;
  quillet::TimeSGCallback* callback = nullptr;  // The graph's.
};
