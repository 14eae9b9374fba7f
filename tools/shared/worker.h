// A thread of the program's own.

#pragma once

#include <exception>
#include <functional>

#include <windows.h>

namespace quillet::client {

class Worker {
 public:
  /// Starts `work`, which must end by itself or when told to. To use the library it has to call QuilletThread() first.
  explicit Worker(std::function<void()> work);
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  /// Waits for the work's end, which must not need the thread that waits.
  ~Worker();

  /// @return whether the work has ended within `ms`.
  bool endsWithin(DWORD ms) const { return WaitForSingleObject(thread, ms) == WAIT_OBJECT_0; }

  /// Signalled once the work has ended.
  HANDLE handle() const { return thread; }

  /// Throws what the work has thrown; to be called when it has ended.
  void rethrow() const;

 private:
  static DWORD WINAPI run(void* self);

  std::function<void()> work;
  std::exception_ptr exception;
  HANDLE thread;
};

}  // namespace quillet::client
