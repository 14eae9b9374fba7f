#include <quillet/notification.h>

QuilletNotification::~QuilletNotification() = default;
