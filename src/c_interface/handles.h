// What clients of the C interface hold of its objects: handles, which are safe to hand in whatever has become of the object.

#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include <quillet/audio_or_video_stream.h>
#include <quillet/quillet_c.h>

#include "api/library.h"
#include "platform/guarded.h"

namespace quillet {

/// What stands behind a handle.
struct HandledObject {
  enum class Type { stream, file, engine };

  HandledObject(const HandledObject&) = delete;
  HandledObject& operator=(const HandledObject&) = delete;
  virtual ~HandledObject() = default;

  /// What has the code of the last operation that came to the library; null when opening did not come so far.
  virtual AudioOrVideoStream* holder() const = 0;

  /// Takes the code of an operation that does not come to the library; 0 of one that does.
  void note(int code) { ownCode.store(code, std::memory_order_relaxed); }

  /// Notes QUILLET_ERROR_ARGUMENT unless an argument is good.
  /// @return `isGood`.
  bool require(bool isGood) {
    if (!isGood) {
      note(QUILLET_ERROR_ARGUMENT);
    }
    return isGood;
  }

  /// The code of the last operation.
  int code() const {
    const int own = ownCode.load(std::memory_order_relaxed);
    const AudioOrVideoStream* const held = holder();
    return own != 0 || held == nullptr ? own : held->lastError;
  }

  const Type type;
  std::shared_ptr<HandledObject> self;  ///< While there is a handle.

 protected:
  explicit HandledObject(Type type) : type(type) {}

 private:
  std::atomic<int> ownCode = 0;  // Two threads may write one file.
};

/// Gives an object a handle, which then keeps it.
/// @return the handle, of another value than all those before; null when there are too many.
void* addHandle(const std::shared_ptr<HandledObject>& object);

/// Where an object is kept. Objects are looked up on any thread while others come and go: `handle` orders what happens to
/// `object`.
struct HandlePlace {
  static constexpr std::uintptr_t free = 0;
  static constexpr std::uintptr_t changing = ~std::uintptr_t{0};

  static bool isFor(std::uintptr_t handle) { return handle != free && handle != changing; }

  std::atomic<std::uintptr_t> handle = free;
  HandledObject* object = nullptr;
};

/// The lowest bits of a handle tell its place.
constexpr std::uintptr_t handlePlaceCount = std::uintptr_t{1} << 13;
extern HandlePlace handlePlaces[handlePlaceCount];

/// @return the object of a handle, null when there is none.
inline HandledObject* findHandle(const void* handle) {
  const auto value = reinterpret_cast<std::uintptr_t>(handle);
  const HandlePlace& place = handlePlaces[value % handlePlaceCount];
  const bool isIn = HandlePlace::isFor(value) && place.handle.load(std::memory_order_acquire) == value;
  return isIn ? place.object : nullptr;
}

/// Ends a handle. Its object is destroyed, unless somebody else keeps it.
void removeHandle(const void* handle);

/// The first step of every function: sets the thread up and finds the object.
/// @return null when the handle is none, and, with the code noted, when it is that of an object of another type.
template <class Object>
Object* take(const void* handle) {
  prepareThread();
  HandledObject* const object = findHandle(handle);
  if (object == nullptr) {
    return nullptr;
  }
  const bool isOfType = object->type == Object::handledType;
  object->note(isOfType ? 0 : QUILLET_ERROR_KIND);
  return isOfType ? static_cast<Object*>(object) : nullptr;
}

/// What every `_open` does.
/// @param open makes a shared_ptr of the object, an empty one when that has failed.
/// @return its handle; null for want of memory, too.
template <class Handle, class Open>
Handle* openHandle(Open open) {
  prepareThread();
  return static_cast<Handle*>(guardedBy<void*>(nullptr, [&]() -> void* {
    const auto object = open();
    return object != nullptr ? addHandle(object) : nullptr;
  }));
}

/// What every `_close` does.
template <class Object>
void closeHandle(const void* handle) {
  if (take<Object>(handle) != nullptr) {
    removeHandle(handle);
  }
}

}  // namespace quillet
