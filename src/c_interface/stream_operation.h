// The frame of every function on a stream.

#pragma once

#include "c_interface/objects.h"

namespace quillet {

/// What a handle's stream is, of the class that has an operation.
template <class Stream>
Stream* streamAs(const HandledStream& object) {
  if constexpr (std::is_same_v<Stream, VideoSourceStream>) {
    return object.video;
  } else if constexpr (std::is_same_v<Stream, AudioSourceStream>) {
    return object.audio;
  } else if constexpr (std::is_same_v<Stream, RawDataSourceStream>) {
    return object.raw;
  } else {
    return object.source.get();
  }
}

/// Does something with the stream of a handle.
/// @param Stream the class that has the operation.
/// @param operation takes the stream and the object that holds it.
/// @return what the operation answers; `failure` when there is no such stream, with the code noted where there is an object.
template <class Stream, class Result, class Operation>
Result withStream(const void* handle, Result failure, Operation operation) {
  auto* const object = take<HandledStream>(handle);
  if (object == nullptr) {
    return failure;
  }
  if (auto* const stream = streamAs<Stream>(*object)) {
    return operation(*stream, *object);
  }
  object->note(object->source != nullptr ? int{QUILLET_ERROR_KIND} : common_error::notOpened);
  return failure;
}

}  // namespace quillet
