// A lock between threads: the compiler's runtime has no std::mutex with Windows' own threads.

#pragma once

#include <windows.h>

namespace quillet {

/// A recursive lock, for std::lock_guard.
class CriticalSection {
 public:
  CriticalSection() { InitializeCriticalSection(&section); }
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;
  ~CriticalSection() { DeleteCriticalSection(&section); }

  // The names are those that std::lock_guard asks for.
  void lock() { EnterCriticalSection(&section); }
  void unlock() { LeaveCriticalSection(&section); }

 private:
  CRITICAL_SECTION section;
};

}  // namespace quillet
