#include "c_interface/handles.h"

#include <utility>

namespace quillet {
namespace {

using Handle = std::uintptr_t;

/// Handles count the objects, so that none comes back before all other values have been given; the lowest bits tell the
/// place.
constinit std::atomic<Handle> lastHandle = 0;

}  // namespace

// Without a destructor: what clients have not closed stays until the process is gone.
constinit HandlePlace handlePlaces[handlePlaceCount];

void* addHandle(const std::shared_ptr<HandledObject>& object) {
  for (Handle tried = 0; tried < handlePlaceCount; ++tried) {
    const Handle handle = ++lastHandle;
    HandlePlace& place = handlePlaces[handle % handlePlaceCount];
    Handle expected = HandlePlace::free;
    if (HandlePlace::isFor(handle) && place.handle.compare_exchange_strong(expected, HandlePlace::changing)) {
      object->self = object;
      place.object = object.get();
      place.handle.store(handle, std::memory_order_release);
      return reinterpret_cast<void*>(handle);
    }
  }
  return nullptr;
}

void removeHandle(const void* handle) {
  auto value = reinterpret_cast<Handle>(handle);
  HandlePlace& place = handlePlaces[value % handlePlaceCount];
  // Of two threads that close one handle the second finds it gone.
  if (HandlePlace::isFor(value) && place.handle.compare_exchange_strong(value, HandlePlace::changing)) {
    const std::shared_ptr<HandledObject> object = std::move(place.object->self);
    place.handle.store(HandlePlace::free, std::memory_order_release);
  }
}

}  // namespace quillet
