#include <quillet/automatic_interleave_engine.h>

#include <atomic>
#include <mutex>
#include <new>

#include <windows.h>

#include "core/owned.h"
#include "core/time_units.h"
#include "platform/critical_section.h"
#include "platform/event.h"

namespace {

using Engine = AutomaticInterleaveEngine;
using Writer = bool (OutputAVIFile::*)(long, unsigned char*, long, long, bool);

// By thread.
constexpr Writer writers[] = {&OutputAVIFile::writeFrame, &OutputAVIFile::bufferedWriteSample};

Engine::ThreadType otherThan(Engine::ThreadType t) {
  return t == Engine::VideoThread ? Engine::AudioThread : Engine::VideoThread;
}

/// The stream time, in units of 100 ns, at which the frame or sample `number` begins.
long long timeOf(OutputAVIFile& file, Engine::ThreadType t, long long number) {
  if (t == Engine::VideoThread) {
    return number * file.videoFormat()->AvgTimePerFrame;
  }
  return number * quillet::unitsPerSecond / file.audioFormat()->nSamplesPerSec;
}

}  // namespace

struct AutomaticInterleaveEngine::State {
  /// Waits for the thread's turn.
  /// @return false when the engine has stopped.
  bool waitForTurn(ThreadType t) const;

  /// Writes a chunk in the thread's turn.
  bool write(ThreadType t, long number, unsigned char* data, long count, long bytes, bool key);

  void endTurn(ThreadType t);

  OutputAVIFile* output = nullptr;  // Not owned.
  bool restoreAutomatic = false;
  bool continueAlone = false;
  long long period = 0;  // Units of 100 ns.

  // Signalled while the thread may write: manual, so that they stay so through a whole turn.
  const quillet::Event turn[2] = {quillet::Event::manual(), quillet::Event::manual()};
  std::atomic<bool> stopped = false;

  // Only the thread itself uses these.
  bool startOfTurn[2] = {true, true};
  long long turnStart[2] = {};  // Stream time at the end of the first write of the turn.

  // Guards `finished` together with the events that depend on it, so that no thread is left waiting for one that has
  // finished.
  quillet::CriticalSection lock;
  bool finished[2] = {};
};

bool AutomaticInterleaveEngine::State::waitForTurn(ThreadType t) const {
  // Ends: the other thread hands its turn over when it has written enough, when its write fails and when it exits; and a
  // stop by the user lets both threads go.
  turn[t].wait();
  return !stopped && output != nullptr;
}

bool AutomaticInterleaveEngine::State::write(ThreadType t, long number, unsigned char* data, long count, long bytes,
                                             bool key) {
  if (!(output->*writers[t])(number, data, count, bytes, key)) {
    stopped = true;
    turn[otherThan(t)].set();
    return false;
  }
  const long long end = timeOf(*output, t, static_cast<long long>(number) + count);
  if (startOfTurn[t]) {
    startOfTurn[t] = false;
    turnStart[t] = end;
  } else if (end - turnStart[t] >= period) {
    endTurn(t);
  }
  return true;
}

void AutomaticInterleaveEngine::State::endTurn(ThreadType t) {
  const ThreadType other = otherThan(t);
  startOfTurn[t] = true;
  {
    const std::lock_guard guard(lock);
    if (!finished[other]) {
      turn[t].reset();
    }
  }
  turn[other].set();
}

AutomaticInterleaveEngine::AutomaticInterleaveEngine() {
  state.reset(new (std::nothrow) State);
}

AutomaticInterleaveEngine::~AutomaticInterleaveEngine() = default;

bool AutomaticInterleaveEngine::setOutputStream(OutputAVIFile* file, bool continueAlone) {
  if (!state || file == nullptr || !state->turn[VideoThread] || !state->turn[AudioThread]) {
    return false;
  }
  const bool isAutomatic = file->isAutomaticallyInterleaved();
  if (isAutomatic && !file->setAutomaticInterleaving(false)) {
    return false;
  }
  for (const quillet::Event& turn : state->turn) {
    turn.reset();
  }
  state->restoreAutomatic = isAutomatic;
  state->output = file;
  state->stopped = false;
  state->finished[VideoThread] = file->videoFormat() == nullptr;
  state->finished[AudioThread] = file->audioFormat() == nullptr;
  state->startOfTurn[VideoThread] = state->startOfTurn[AudioThread] = true;
  state->continueAlone = continueAlone;
  state->period = file->interleavingPeriod();
  // The audio thread writes first. Last of all: it may wait already.
  state->turn[state->finished[AudioThread] ? VideoThread : AudioThread].set();
  return true;
}

bool AutomaticInterleaveEngine::Write(ThreadType t, long number, unsigned char* data, long count, long bytes,
                                      bool key) {
  return state && state->waitForTurn(t) && state->write(t, number, data, count, bytes, key);
}

bool AutomaticInterleaveEngine::WriteNext(ThreadType t, unsigned char* data, long count, long bytes, bool key) {
  if (!state || !state->waitForTurn(t)) {
    return false;
  }
  // In the thread's turn: the file is not for two threads at once.
  OutputAVIFile& output = *state->output;
  const long number = t == VideoThread ? output.nextFrame_number() : output.nextSample_number();
  return state->write(t, number, data, count, bytes, key);
}

void AutomaticInterleaveEngine::exit(ThreadType t) {
  if (!state) {
    return;
  }
  if (!state->continueAlone) {
    state->stopped = true;
  }
  const std::lock_guard guard(state->lock);
  state->finished[t] = true;
  state->turn[otherThan(t)].set();
}

void AutomaticInterleaveEngine::userStop() {
  if (!state) {
    return;
  }
  state->stopped = true;
  const std::lock_guard guard(state->lock);
  for (const ThreadType t : {VideoThread, AudioThread}) {
    state->finished[t] = true;
    state->turn[t].set();
  }
}

bool AutomaticInterleaveEngine::close() {
  if (!state || state->output == nullptr) {
    return false;
  }
  OutputAVIFile& output = *state->output;
  if (state->restoreAutomatic) {
    output.setAutomaticInterleaving(true);
  }
  state->output = nullptr;
  // False without audio: kept for clients (see CONTRIBUTING.md).
  return output.audioFormat() != nullptr && output.flushAudio();
}
