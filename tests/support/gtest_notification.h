// The one-shot signal that GoogleTest's threads start on. Included before every GoogleTest header, so it is kept free
// of windows.h.

#pragma once

namespace testing::internal {

class Notification {
 public:
  Notification();
  Notification(const Notification&) = delete;
  Notification& operator=(const Notification&) = delete;
  ~Notification();

  void Notify();
  void WaitForNotification();

 private:
  void* event;
};

}  // namespace testing::internal
