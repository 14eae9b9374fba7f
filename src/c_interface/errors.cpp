// What has happened to the object of a handle.

#include <quillet/error_codes.h>

#include "c_interface/handles.h"
#include "core/operation.h"

using quillet::findHandle;
using quillet::HandledObject;

namespace {

/// The text of a code that no backend has set.
const char* ownText(int code) {
  switch (code) {
    case quillet::common_error::success:
      return "Success";
    case quillet::common_error::notOpened:
      return "Stream was not successfully opened";
    case QUILLET_ERROR_KIND:
      return "The object has no such operation";
    case QUILLET_ERROR_ARGUMENT:
      return "An argument is missing or out of its range";
    case QUILLET_ERROR_DIALOG:
      return "Can't display the dialog box";
    default:
      return "No object has this handle";
  }
}

/// What has set the code of the last operation; null when the interface itself has, or there is no object.
AudioOrVideoStream* setterOf(const HandledObject* object) {
  AudioOrVideoStream* const holder = object != nullptr ? object->holder() : nullptr;
  return holder != nullptr && object->code() == holder->lastError ? holder : nullptr;
}

AudioOrVideoStream* holderOf(const void* handle) {
  const HandledObject* const object = findHandle(handle);
  return object != nullptr ? object->holder() : nullptr;
}

}  // namespace

int32_t quillet_error(const void* handle) {
  const HandledObject* const object = findHandle(handle);
  return object != nullptr ? object->code() : QUILLET_ERROR_HANDLE;
}

const char* quillet_error_text(const void* handle) {
  AudioOrVideoStream* const setter = setterOf(findHandle(handle));
  const char* const text = setter != nullptr ? setter->ErrorMessage(setter->lastError) : nullptr;
  return text != nullptr ? text : ownText(quillet_error(handle));
}

int32_t quillet_error_is_fatal(const void* handle) {
  const HandledObject* const object = findHandle(handle);
  if (AudioOrVideoStream* const setter = setterOf(object)) {
    return setter->lastErrorIsFatal() ? 1 : 0;
  }
  return object == nullptr || object->holder() == nullptr ? 1 : 0;
}

int32_t quillet_is_open(const void* handle) {
  AudioOrVideoStream* const holder = holderOf(handle);
  return holder != nullptr && quillet::Internals::isOpen(*holder) ? 1 : 0;
}

int32_t quillet_uses_directshow(const void* handle) {
  AudioOrVideoStream* const holder = holderOf(handle);
  return holder != nullptr && holder->usesDirectShow() ? 1 : 0;
}
