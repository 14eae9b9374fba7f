// How every source stream is opened, whatever its backend.

#pragma once

#include <utility>

#include <quillet/source_stream.h>

#include "platform/guarded.h"

template <class Stream, class OpenSource>
Stream* SourceStream::openNew(Stream* stream, QuilletNotification* sink, OpenSource openSource) {
  if (stream != nullptr) {
    stream->notification = sink;
    stream->finishOpening(quillet::guarded(std::move(openSource)));
  }
  return stream;
}
