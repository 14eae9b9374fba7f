#include <quillet/ds_source_stream.h>

#include <algorithm>

#include <quillet/error_codes.h>
#include <quillet/thread.h>

#include "core/operation.h"
#include "core/owned.h"
#include "core/time_units.h"
#include "directshow/source/source_graph.h"
#include "platform/library_thread.h"

namespace ds_error = quillet::ds_error;
using End = quillet::FilterGraph::End;

DSSourceStream::DSSourceStream() = default;

DSSourceStream::~DSSourceStream() {
  shutDown();
}

/// Ends the worker thread and stops the graph, for good. The subclasses' destructors call it before they free what the
/// streaming thread writes to.
void DSSourceStream::shutDown() {
  if (!graph) {
    return;
  }
  graph->destroying = true;
  stopRun();
  if (graph->worker) {
    // Ends: the worker waits for this request, sees that the stream is being destroyed, and ends.
    SignalObjectAndWait(graph->runRequested.get(), graph->worker.get(), INFINITE, FALSE);
    graph->worker.reset();
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

/// The worker thread: runs the graph whenever it is asked to. It is kept from one run to the next, since starting a
/// thread costs as much as all the rest of a seek.
void DSSourceStream::runGraph(void* stream) {
  Graph& graph = *static_cast<DSSourceStream*>(stream)->graph;
  QuilletThread();
  // Ends, and so does the wait in the loop: the destructor requests a run that is none.
  WaitForSingleObject(graph.runRequested.get(), INFINITE);
  while (!graph.destroying) {
    graph.runError = graph.runUntilEnd();
    graph.isRunOver = true;
    SignalObjectAndWait(graph.runEnded.get(), graph.runRequested.get(), INFINITE, FALSE);
  }
}

bool DSSourceStream::run() {
  if (graph->ended) {
    return lastError == ds_error::success;
  }
  if (graph->callback->isHolding() && graph->isRunOver) {
    // The run has ended while a sample was held, so that was not the end of the stream, which comes after its last
    // sample. Ends: the worker signals the end right after it has set isRunOver, and nobody else takes that signal.
    WaitForSingleObject(graph->runEnded.get(), INFINITE);
    return settleRunEnd();
  }
  graph->callback->stop = false;
  if (!graph->callback->letGo() && !requestRun()) {
    return false;
  }
  // Ends: either a sample is held, or the run ends. It does so when the stream has ended, when the graph has aborted,
  // when it could not be run, when somebody else has stopped it, and when it delivers nothing for as long as makes a
  // stall: so also when a source fails and neither ends its stream nor sends an event.
  const HANDLE outcomes[] = {graph->callback->delivered.get(), graph->runEnded.get()};
  return WaitForMultipleObjects(2, outcomes, FALSE, INFINITE) == WAIT_OBJECT_0 ? lastError == ds_error::success
                                                                               : settleRunEnd();
}

/// Takes over from the worker whose run has ended by itself.
/// @return whether that was the end of the stream.
bool DSSourceStream::settleRunEnd() {
  takeRunEnd();
  if (graph->runEnd == End::aborted && lastError == ds_error::success) {
    lastError = ds_error::dataNotFound;  // Nobody knows whether the stream has more.
  }
  return lastError == ds_error::success;
}

/// Takes over from the worker, whose run has ended.
void DSSourceStream::takeRunEnd() {
  graph->runActive = false;
  if (graph->runError != ds_error::success) {
    lastError = graph->runError;
  }
  if (graph->runEnd == End::completed && graph->callback->isHolding()) {
    graph->runEnd = End::aborted;  // A stream ends after its last sample: somebody else has sent this event.
  }
  // A graph that has aborted, or was told of an end that was none, may go on delivering: a sample on its way must not
  // come into buffers that are being read.
  halt();
  graph->ended = graph->runEnd == End::completed;
}

/// Has the worker thread run the graph, unless it already does. Starts the thread the first time.
bool DSSourceStream::requestRun() {
  if (graph->runActive) {
    return true;
  }
  if (!graph->worker) {
    constexpr unsigned stackSize = 32768;
    graph->worker.reset(quillet::startLibraryThread(runGraph, stackSize, this, nullptr, 0, nullptr));
  }
  if (!graph->worker) {
    lastError = ds_error::cannotCreateThread;
    return false;
  }
  graph->runActive = true;
  graph->isRunOver = false;
  SetEvent(graph->runRequested.get());
  return true;
}

bool DSSourceStream::seek(long long position, bool toKeyFrame) {
  stopRun();
  if (!graph->seek(position, toKeyFrame)) {
    lastError = ds_error::unseekableMedia;
  }
  return lastError == ds_error::success;
}

void DSSourceStream::stopRun() {
  if (graph->runActive) {
    // First: a stop by somebody else may wait until the held sample is let go, and the worker for that stop.
    graph->callback->dismiss(!graph->destroying);
    // Ends: the worker waits for nothing but the graph's events and this request.
    SignalObjectAndWait(graph->stopRequested.get(), graph->runEnded.get(), INFINITE, FALSE);
    if (graph->runEnd != End::interrupted) {
      ResetEvent(graph->stopRequested.get());  // The run has ended by itself: the request must not end the next one.
    }
    takeRunEnd();
  }
  halt();
}

/// Stops the graph when it runs although no run is active, as it does after the end of the stream. Left running, it
/// would deliver as soon as it is positioned, and releasing it might wait for ever.
void DSSourceStream::halt() {
  if (!graph->running) {
    return;
  }
  if (const int error = graph->stop()) {
    lastError = error;
  }
  ResetEvent(graph->callback->delivered.get());  // A sample that was held after the end of the run is for nobody.
}

bool DSSourceStream::parseStream(bool flag) {
  graph->callback->beginParse(flag, notification);
  graph->playToEnd();
  graph->callback->endParse();
  const bool rewound = graph->rewind() == ds_error::success;
  if (notification != nullptr) {
    notification->progress(1);
  }
  return rewound && graph->runEnd == End::completed;
}
