// A value that threads share.

#pragma once

#include <windows.h>

namespace quillet::viewer {

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
