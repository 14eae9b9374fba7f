#include "gtest_notification.h"

#include <windows.h>

namespace testing::internal {

Notification::Notification() : event(CreateEventA(nullptr, TRUE, FALSE, nullptr)) {}

Notification::~Notification() {
  CloseHandle(event);
}

void Notification::Notify() {
  SetEvent(event);
}

void Notification::WaitForNotification() {
  WaitForSingleObject(event, INFINITE);
}

}  // namespace testing::internal
