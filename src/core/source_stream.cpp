// What the abstract source streams do by themselves, one file a class. The factories stand above the backends.

#include <quillet/source_stream.h>

#include <quillet/error_codes.h>

using quillet::common_error::success;

SourceStream::~SourceStream() = default;

long SourceStream::duration() {
  if (!requireOpened()) {
    return -1;
  }
  lastError = success;
  return length;
}

QuilletNotification* SourceStream::notify(QuilletNotification* sink) {
  QuilletNotification* const replaced = notification;
  notification = sink;
  return replaced;
}

QuilletNotification* SourceStream::notify() {
  return notification;
}
