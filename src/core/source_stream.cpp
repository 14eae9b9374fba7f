// What the abstract source streams do by themselves, one file a class. The factories stand above the backends.

#include <quillet/source_stream.h>

#include "core/operation.h"

SourceStream::~SourceStream() = default;

long SourceStream::duration() {
  return quillet::beginOperation(*this) ? length : -1;
}

QuilletNotification* SourceStream::notify(QuilletNotification* sink) {
  QuilletNotification* const replaced = notification;
  notification = sink;
  return replaced;
}

QuilletNotification* SourceStream::notify() {
  return notification;
}
