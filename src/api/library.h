// The set-up of threads, for the library itself.

#pragma once

#include <atomic>

#include <windows.h>

namespace quillet {

/// Of the threads that have called QuilletThread() and not ended, the one that came first; null without one.
extern std::atomic<const void*> firstPreparedThread;

/// prepareThread() for all threads but the first.
void prepareOtherThread();

/// Does what QuilletThread() does, unless the calling thread has done so. Every function of the interface in C begins so:
/// most programs have one thread that calls them, which learns it without asking the system.
inline void prepareThread() {
  if (firstPreparedThread.load(std::memory_order_relaxed) != NtCurrentTeb()) {
    prepareOtherThread();
  }
}

}  // namespace quillet
