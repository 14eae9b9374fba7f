// The library's own worker threads. All of them are started here, so that whoever waits for one sees it end, however it
// ends.

#pragma once

#include <windows.h>

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

}  // namespace quillet
