// A thread in the background, and a value that it shares with the window's thread.

#pragma once

#include <functional>
#include <utility>

#include <windows.h>

#include "failure.h"
#include "text.h"

namespace quillet::viewer {

class Thread {
 public:
  /// @param work must not throw, and must end by itself or when told to.
  explicit Thread(std::function<void()> work)
      : work(std::move(work)), thread(CreateThread(nullptr, 0, run, this, 0, nullptr)) {
    if (thread == nullptr) {
      throw client::Failure("cannot start a thread: " + client::systemMessage(GetLastError()));
    }
  }
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;
  ~Thread() {
    // Ends: the work does, by the constructor's condition, and none here waits for the thread that destroys.
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
  }

  /// Signalled once the work has ended.
  HANDLE handle() const { return thread; }

 private:
  static DWORD WINAPI run(void* self) {
    static_cast<Thread*>(self)->work();
    return 0;
  }

  std::function<void()> work;
  HANDLE thread;
};

/// A value that one thread at a time can see.
template <class Value>
class Shared {
 public:
  /// Hands the value to `use`, which should be quick and not keep the reference.
  template <class Use>
  auto with(Use use) {
    AcquireSRWLockExclusive(&lock);
    const Release release{&lock};
    return use(value);
  }

 private:
  struct Release {
    SRWLOCK* lock;
    ~Release() { ReleaseSRWLockExclusive(lock); }
  };

  SRWLOCK lock = SRWLOCK_INIT;
  Value value;
};

}  // namespace quillet::viewer
