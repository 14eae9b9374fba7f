#include "directshow/source/graph_runner.h"

#include <quillet/thread.h>

#include "directshow/graph/stall_watch.h"
#include "directshow/source/source_graph.h"

namespace quillet {

int GraphRunner::requireEvents() const {
  return graph.callback->hasEvents() && runRequested && stopRequested && runEnded ? ds_error::success
                                                                                  : ds_error::noSynchronizationObject;
}

int GraphRunner::run() {
  if (state == State::ended) {
    return ds_error::success;
  }
  SGCallback& callback = *graph.callback;
  if (state == State::holding && isRunOver) {
    // The run has ended while a sample was held, so that was not the end of the stream, which comes after its last
    // sample. Ends: the worker signals the end right after it has set isRunOver, and nobody else takes that signal.
    runEnded.wait();
    return settleEnd();
  }
  callback.stop = false;
  if (!callback.letGo()) {
    if (const int error = requestRun()) {
      return error;
    }
  }
  state = State::running;
  // Ends: either a sample is held, or the run ends. It does so when the stream has ended, when the graph has aborted,
  // when it could not be run, when somebody else has stopped it, and when it delivers nothing for as long as makes a
  // stall: so also when a source fails and neither ends its stream nor sends an event.
  if (!waitForFirst(callback.delivered, runEnded)) {
    return settleEnd();
  }
  state = State::holding;
  return ds_error::success;
}

/// Has the worker thread run the graph. Starts the thread the first time.
int GraphRunner::requestRun() {
  constexpr unsigned stackSize = 32768;
  if (const int error = requireEvents()) {
    return error;
  }
  if (!worker.isStarted() && !worker.start(work, this, stackSize)) {
    return ds_error::cannotCreateThread;
  }
  isRunOver = false;
  runRequested.set();
  return ds_error::success;
}

/// Takes over from the worker whose run has ended by itself.
int GraphRunner::settleEnd() {
  const int error = takeEnd();
  return error == ds_error::success && state == State::aborted ? static_cast<int>(ds_error::dataNotFound) : error;
}

/// Takes over from the worker, whose run has ended.
int GraphRunner::takeEnd() {
  if (runEnd == End::completed && graph.callback->isHolding()) {
    runEnd = End::aborted;  // A stream ends after its last sample: somebody else has sent this event.
  }
  // A graph that has aborted, or was told of an end that was none, may go on delivering: a sample on its way must not
  // come into buffers that are being read.
  const int error = halt();
  switch (runEnd) {
    case End::completed:
      state = State::ended;
      break;
    case End::interrupted:
      state = State::idle;
      break;
    default:
      state = State::aborted;
  }
  return error != ds_error::success ? error : runError;
}

int GraphRunner::stop() {
  if (state != State::running && state != State::holding) {
    return halt();
  }
  // First: a stop by somebody else may wait until the held sample is let go, and the worker for that stop.
  graph.callback->dismiss();
  // Ends: the worker waits for nothing but the graph's events and this request.
  stopRequested.signalAndWait(runEnded);
  if (runEnd != End::interrupted) {
    stopRequested.reset();  // The run has ended by itself: the request must not end the next one.
  }
  const int error = takeEnd();
  if (state == State::ended) {
    state = State::idle;  // What has passed since was for nobody: the reader has not come to the end.
  }
  return error;
}

/// Stops the graph when it runs although no run is active, as it does after the end of the stream. Left running, it
/// would deliver as soon as it is positioned, and releasing it might wait for ever.
int GraphRunner::halt() {
  if (!isStarted) {
    return ds_error::success;
  }
  const int error = stopGraph();
  graph.callback->delivered.reset();  // A sample that was held after the end of the run is for nobody.
  return error;
}

/// Dismisses the callback, stops the graph, in whatever state it is, and waits until it is stopped.
int GraphRunner::stopGraph() {
  graph.callback->dismiss();
  if (const int error = graph.filters.stop()) {
    return error;
  }
  isStarted = false;
  // Samples that were let go may have carried the stream to its end: that completion is not the next run's. An abort that
  // waits behind the completion of this run is the truth about it: sources that fail end their stream first.
  if (graph.filters.forgetEvents() && runEnd == End::completed) {
    runEnd = End::aborted;
  }
  return ds_error::success;
}

int GraphRunner::playToEnd() {
  graph.playWholeStream();
  int error = run();
  if (error == ds_error::success && isHolding()) {
    error = ds_error::stoppedByNotification;  // A callback that counts holds for nothing else.
  }
  const int rewound = rewind();
  return error != ds_error::success ? error : rewound;
}

int GraphRunner::seek(long long position, bool toKeyFrame) {
  const int error = stop();
  if (!graph.moveTo(position, toKeyFrame)) {
    return ds_error::unseekableMedia;
  }
  state = State::idle;
  return error;
}

int GraphRunner::rewind() {
  if (const int error = stop()) {
    return error;
  }
  if (!graph.moveToStart()) {
    return ds_error::unseekableMedia;
  }
  state = State::idle;
  return ds_error::success;
}

void GraphRunner::shutDown() {
  isShuttingDown = true;
  stop();
  if (worker.isStarted()) {
    // Ends: the worker waits for this request, sees that this is the end, and ends.
    runRequested.signalAndWait(worker.ended());
    worker.join();
  }
}

/// The worker thread: runs the graph whenever it is asked to.
void GraphRunner::work(void* self) {
  GraphRunner& runner = *static_cast<GraphRunner*>(self);
  QuilletThread();
  // Ends, and so does the wait in the loop: shutDown() requests a run that is none.
  runner.runRequested.wait();
  while (!runner.isShuttingDown) {
    runner.runError = runner.runUntilEnd();
    runner.isRunOver = true;
    runner.runEnded.signalAndWait(runner.runRequested);
  }
}

/// Runs the graph until its stream ends, which leaves it running, until a stop is requested, or until somebody else has
/// stopped it.
int GraphRunner::runUntilEnd() {
  runEnd = End::aborted;
  isStarted = true;
  if (FAILED(graph.filters.control->Run())) {
    return ds_error::cannotRunGraph;
  }
  switch (waitForEnd()) {
    case End::completed:
      // A stream ends after its last sample: while one is held, the event is somebody else's.
      runEnd = graph.callback->isHolding() ? End::aborted : End::completed;
      return ds_error::success;
    case End::aborted:
      return ds_error::success;
    case End::interrupted:
      runEnd = End::interrupted;
      return stopGraph();
    default:
      return ds_error::cannotRunGraph;
  }
}

/// Waits until the graph has ended or is to stop, and sees to it meanwhile that it runs.
/// @return End::timedOut when somebody else has stopped it; End::aborted also when nothing comes from it any more.
GraphRunner::End GraphRunner::waitForEnd() {
  SGCallback& callback = *graph.callback;
  StallWatch watch(callback.received());
  // Ends: with the end of the stream, an abort or the request to stop; and, while no sample is held, when somebody has
  // stopped the graph, or it has delivered nothing for as long as makes a stall. While a sample is held the graph is
  // left alone: if somebody is stopping it, that waits for the reader, and so would a question for the graph's state.
  for (;;) {
    const End end = graph.filters.waitForEnd(stopRequested.get(), StallWatch::lookAfterMs);
    if (end != End::timedOut) {
      return end;
    }
    if (callback.isHolding()) {
      continue;
    }
    if (!graph.filters.keepsRunning()) {
      return End::timedOut;
    }
    if (watch.hasStalled(callback.received())) {
      return End::aborted;
    }
  }
}

}  // namespace quillet
