// The one-shot signal that GoogleTest's own threads start on. Included before every GoogleTest header, so it is kept free
// of windows.h; it may wait at work, since no test starts such a thread.

#pragma once

#include <atomic>

namespace testing::internal {

class Notification {
 public:
  void Notify() { isSet = true; }
  void WaitForNotification() const {
    while (!isSet) {
    }
  }

 private:
  std::atomic<bool> isSet = false;
};

}  // namespace testing::internal
