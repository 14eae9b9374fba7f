// The library's own worker threads. All of them are started here, so that whoever waits for one sees it end, however it
// ends.

#pragma once

#include <windows.h>

#include "platform/event.h"

namespace quillet {

using LibraryThreadFunction = void (*)(void* argument);

/// Starts a worker thread.
///
/// @param stackSize bytes, 0 for the program's default.
/// @param security may be null.
/// @param flags creation flags of the thread, 0 to run at once.
/// @param threadId receives the thread's id; may be null.
/// @return an event, signalled once `function` has ended or exitLibraryThread() was called: poll it, wait on it, close
///     it with CloseHandle. Null when the thread could not be started.
HANDLE startLibraryThread(LibraryThreadFunction function, unsigned stackSize, void* argument,
                          SECURITY_ATTRIBUTES* security, unsigned flags, unsigned* threadId);

/// Ends the calling library thread at once, from any depth of its calls, without running the destructors on the way.
/// Does nothing on a thread that startLibraryThread() did not start.
void exitLibraryThread();

/// Owns one worker thread after the other.
class LibraryThread {
 public:
  /// Starts the thread. Not to be called while there is one.
  /// @param stackSize bytes, 0 for the program's default.
  /// @return whether it could be started.
  bool start(LibraryThreadFunction function, void* argument, unsigned stackSize = 0) {
    end = Event(startLibraryThread(function, stackSize, argument, nullptr, 0, nullptr));
    return isStarted();
  }

  /// Whether start() has succeeded, and join() was not called since.
  bool isStarted() const { return static_cast<bool>(end); }

  /// Signalled, for good, once the thread has ended.
  const Event& ended() const { return end; }

  /// Waits until the thread has ended.
  void wait() const { end.wait(); }

  /// The same, and makes room for another one.
  void join() {
    wait();
    end = Event(nullptr);
  }

 private:
  Event end{nullptr};
};

}  // namespace quillet
