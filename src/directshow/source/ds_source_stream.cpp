#include <quillet/ds_source_stream.h>

#include <algorithm>

#include <quillet/error_codes.h>
#include <quillet/thread.h>

#include "core/library_thread.h"
#include "core/time_units.h"
#include "directshow/source/source_graph.h"

namespace ds_error = quillet::ds_error;

DSSourceStream::~DSSourceStream() {
  shutDown();
  delete graph;
}

/// Ends the worker thread and stops the graph, for good. The subclasses' destructors call it before they free what the
/// streaming thread writes to.
void DSSourceStream::shutDown() {
  if (graph == nullptr) {
    return;
  }
  graph->destroying = true;
  stopRun();
  if (graph->worker) {
    // Ends: the worker waits for its next run, and ends instead when the stream is being destroyed.
    SignalObjectAndWait(graph->runRequested.get(), graph->worker.get(), INFINITE, FALSE);
    graph->worker.reset();
  }
}

double DSSourceStream::msDuration() {
  if (!requireOpened()) {
    return -1.0;
  }
  lastError = ds_error::success;
  return static_cast<double>(graph->duration) * quillet::msPerSecond / quillet::unitsPerSecond;
}

void DSSourceStream::config(int quickDecodeThreshold) {
  if (requireOpened()) {
    graph->quickDecodeThreshold = std::max(quickDecodeThreshold, 1);
  }
}

/// The worker thread: runs the graph whenever it is asked to. It is kept from one run to the next, since to start it costs
/// as much as all the rest of a seek.
void DSSourceStream::runGraph(void* stream) {
  Graph& graph = *static_cast<DSSourceStream*>(stream)->graph;
  QuilletThread();
  // Both waits end: the destructor asks for a last run.
  WaitForSingleObject(graph.runRequested.get(), INFINITE);
  while (!graph.destroying) {
    graph.runError = graph.runUntilEnd();
    SignalObjectAndWait(graph.runEnded.get(), graph.runRequested.get(), INFINITE, FALSE);
  }
}

bool DSSourceStream::run() {
  if (graph->ended) {
    return lastError == ds_error::success;
  }
  graph->callback->stop = false;
  if (!graph->callback->letGo() && !requestRun()) {
    return false;
  }
  // Ends: either a sample is held, or the run ends, which it does when the stream has ended, when the graph has aborted,
  // when it could not be run and when somebody else has stopped it. A source that fails must say so by one of these (it
  // ends its stream or sends an event).
  const HANDLE outcomes[] = {graph->callback->delivered.get(), graph->runEnded.get()};
  if (WaitForMultipleObjects(2, outcomes, FALSE, INFINITE) != WAIT_OBJECT_0) {
    takeRunEnd();
    if (graph->runEnd == quillet::FilterGraph::End::aborted && lastError == ds_error::success) {
      lastError = ds_error::dataNotFound;  // Whether the stream has more, nobody knows.
    }
  }
  return lastError == ds_error::success;
}

/// Takes over from the worker, whose run has ended.
void DSSourceStream::takeRunEnd() {
  graph->runActive = false;
  if (graph->runError != ds_error::success) {
    lastError = graph->runError;
  }
  // The graph may go on delivering: when it has aborted, or when it was told of an end that was none. A sample on its way
  // must not come into buffers that are being read.
  halt();
  graph->ended = graph->runEnd == quillet::FilterGraph::End::completed;
}

/// Has the worker thread run the graph, unless it does. Starts the thread the first time.
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
    // First: somebody else's stop may wait for the sample, and the worker for that.
    graph->callback->dismiss(!graph->destroying);
    // Ends: the worker waits for nothing but the graph's events and this request.
    SignalObjectAndWait(graph->stopRequested.get(), graph->runEnded.get(), INFINITE, FALSE);
    if (graph->runEnd != quillet::FilterGraph::End::interrupted) {
      ResetEvent(graph->stopRequested.get());  // The run has ended by itself, and left the request to the next one.
    }
    takeRunEnd();
  }
  halt();
}

/// Stops the graph when it runs although no run is active, as it does after the end of the stream: positioned so it would
/// deliver at once, and releasing it might wait for ever.
void DSSourceStream::halt() {
  if (!graph->running) {
    return;
  }
  if (const int error = graph->stop()) {
    lastError = error;
  }
  ResetEvent(graph->callback->delivered.get());  // A sample held after the end of the run was nobody's.
}

bool DSSourceStream::parseStream(bool flag) {
  graph->callback->beginParse(flag, notification);
  graph->playToEnd();
  graph->callback->endParse();
  const bool rewound = graph->rewind() == ds_error::success;
  if (notification != nullptr) {
    notification->progress(1);
  }
  return rewound && graph->runEnd == quillet::FilterGraph::End::completed;
}
