#include <quillet/notification.h>

QuilletNotification::~QuilletNotification() = default;

bool QuilletNotification::stopRequested() {
  return false;
}
