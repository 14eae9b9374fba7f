// A thread that takes orders: what a stream's pushing stands on.

#pragma once

#include <windows.h>

#include "platform/event.h"
#include "platform/library_thread.h"

namespace quillet {

/// A library thread that takes one command at a time and answers each.
///
/// The owner's methods are for one thread at a time, never the worker itself, which would wait for its own answer.
class WorkerThread {
 public:
  enum class Command {
    init,  ///< The first one: get ready. A failure ends the thread.
    play,  ///< Begin to push, until the next command.
    stop,  ///< Be idle.
    exit,  ///< The last one: tidy up and end.
  };

  // The owner's side.

  /// Starts the thread, which is to take its commands in `function`.
  HRESULT start(LibraryThreadFunction function, void* argument);

  /// Whether start() has succeeded since the last join().
  bool isStarted() const { return worker.isStarted(); }

  /// Has the worker carry out a command, and waits for its answer. The wait ends because the worker takes commands
  /// between any two samples, and, should it end without an answer, by its end.
  HRESULT call(Command wanted);

  /// Waits for the end of the thread, which was told to exit or failed to get ready, and so has nothing to wait for.
  void join();

  // The worker's side.

  /// Signalled from when a command is given until it is answered.
  const Event& commandEvent() const { return requested; }
  bool hasCommand() const { return requested.isSet(); }

  /// Waits for the next command. The wait ends because the owner has the thread exit before it goes.
  Command nextCommand() const;
  void reply(HRESULT result);

 private:
  const Event requested = Event::manual();
  const Event replied = Event::automatic();
  LibraryThread worker;
  // Written before `requested` is signalled and before `replied` is.
  Command command = Command::init;
  HRESULT answer = S_OK;
};

}  // namespace quillet
