// The steps that the operations of all streams and files share.

#pragma once

#include <utility>

#include <quillet/error_codes.h>
#include <quillet/source_stream.h>

#include "platform/guarded.h"

namespace quillet {

/// A friend of the public classes: what the functions below need of them, and clients do not see.
struct Internals {
  static bool requireOpened(AudioOrVideoStream& object) { return object.requireOpened(); }
  static bool isOpen(const AudioOrVideoStream& object) { return !object.notOpened; }
  static void finishOpening(AudioOrVideoStream& object, int code) { object.finishOpening(code); }
};

/// The first step of an operation that leaves 0 on success.
/// @return false, with code 1, when the object is not open.
inline bool beginOperation(AudioOrVideoStream& object) {
  const bool isOpen = Internals::requireOpened(object);
  if (isOpen) {
    object.lastError = common_error::success;
  }
  return isOpen;
}

/// What every source's `open` does with the object that it has made.
/// @param stream may be null.
/// @param openSource opens the object's source and returns the error code.
/// @return `stream`, with the code in its lastError.
template <class Stream, class OpenSource>
Stream* openNew(Stream* stream, QuilletNotification* sink, OpenSource openSource) {
  if (stream != nullptr) {
    stream->notify(sink);
    Internals::finishOpening(*stream, guarded(std::move(openSource)));
  }
  return stream;
}

}  // namespace quillet
