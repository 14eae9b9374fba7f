#include <quillet/ds_source_stream.h>

#include <algorithm>

#include <quillet/error_codes.h>

#include "core/operation.h"
#include "core/owned.h"
#include "core/time_units.h"
#include "directshow/source/progress_step.h"
#include "directshow/source/source_graph.h"

namespace ds_error = quillet::ds_error;

DSSourceStream::DSSourceStream() = default;

DSSourceStream::~DSSourceStream() = default;

void DSSourceStream::shutDown() {
  if (graph) {
    graph->runner.shutDown();
  }
}

double DSSourceStream::msDuration() {
  if (!quillet::beginOperation(*this)) {
    return -1.0;
  }
  return static_cast<double>(graph->duration) * quillet::msPerSecond / quillet::unitsPerSecond;
}

void DSSourceStream::config(int quickDecodeThreshold) {
  if (requireOpened()) {
    graph->quickDecodeThreshold = std::max(quickDecodeThreshold, 1);
  }
}

bool DSSourceStream::settle(int code) {
  if (code != ds_error::success) {
    lastError = code;
  }
  return lastError == ds_error::success;
}

bool DSSourceStream::run() {
  return settle(graph->runner.run());
}

bool DSSourceStream::seek(long long position, bool toKeyFrame) {
  return settle(graph->runner.seek(position, toKeyFrame));
}

int DSSourceStream::parseStream(bool flag, int failure) {
  graph->callback->beginParse(flag, notification);
  const int error = graph->runner.playToEnd();
  graph->callback->endParse();
  if (error == ds_error::stoppedByNotification) {
    return error;
  }
  if (const int stopped = quillet::reportStep(notification, 1)) {
    return stopped;
  }
  return error == ds_error::success ? error : failure;
}
