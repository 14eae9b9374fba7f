// A thread in the background, and a value that it shares with the window's thread.

#pragma once

#include <functional>

#include <windows.h>

namespace quillet::viewer {

class Thread {
 public:
  /// @param work must not throw, and must end by itself or when told to.
  explicit Thread(std::function<void()> work);
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  /// Waits for the work's end.
  ~Thread();

  /// Signalled once the work has ended.
  HANDLE handle() const { return thread; }

 private:
  static DWORD WINAPI run(void* self);

  std::function<void()> work;
  HANDLE thread;
};

/// A value that one thread at a time can see.
template <class Value>
class Shared {
 public:
  /// Hands the value to `use`, which should be quick. Its reference must not outlive the call.
  template <class Use>
  auto with(Use use) {
    const Lock held(lock);
    return use(value);
  }

 private:
  class Lock {
   public:
    explicit Lock(SRWLOCK& lock) : lock(lock) { AcquireSRWLockExclusive(&lock); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    ~Lock() { ReleaseSRWLockExclusive(&lock); }

   private:
    SRWLOCK& lock;
  };

  SRWLOCK lock = SRWLOCK_INIT;
  Value value;
};

}  // namespace quillet::viewer
