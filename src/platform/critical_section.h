// A lock between threads, and a way to wait for what it guards: the compiler's runtime has no std::mutex with Windows' own
// threads.

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
  friend class ConditionVariable;
  CRITICAL_SECTION section;
};

/// Where threads wait until what a lock guards has changed. In the uncontended case neither this nor the lock costs a call
/// of the kernel.
class ConditionVariable {
 public:
  ConditionVariable() = default;
  ConditionVariable(const ConditionVariable&) = delete;
  ConditionVariable& operator=(const ConditionVariable&) = delete;

  /// Waits until the condition holds. The lock, which the thread must hold exactly once, is free meanwhile. The
  /// argument why the wait ends is the caller's.
  template <class Condition>
  void wait(CriticalSection& held, Condition condition) {
    while (!condition()) {
      SleepConditionVariableCS(&variable, &held.section, INFINITE);
    }
  }

  void wakeAll() { WakeAllConditionVariable(&variable); }

 private:
  CONDITION_VARIABLE variable = CONDITION_VARIABLE_INIT;
};

}  // namespace quillet
