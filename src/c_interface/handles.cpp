#include "c_interface/handles.h"

#include <cstdint>
#include <utility>

namespace quillet {
namespace {

using Handle = std::uintptr_t;

/// A place for one object. Objects are looked up on any thread while others come and go: `handle` orders what happens to
/// `object`.
struct Slot {
  static constexpr Handle free = 0;
  static constexpr Handle changing = ~Handle{0};

  std::atomic<Handle> handle = free;
  HandledObject* object = nullptr;
};

// Without a destructor: what clients have not closed stays until the process is gone.
constexpr Handle places = Handle{1} << 13;
constinit Slot slots[places];

/// Handles count the objects, so that none comes back before all other values have been given; the lowest bits tell the
/// place.
constinit std::atomic<Handle> lastHandle = 0;

bool canBeHandle(Handle value) {
  return value != Slot::free && value != Slot::changing;
}

}  // namespace

void* addHandle(const std::shared_ptr<HandledObject>& object) {
  for (Handle tried = 0; tried < places; ++tried) {
    const Handle handle = ++lastHandle;
    Slot& slot = slots[handle % places];
    Handle expected = Slot::free;
    if (canBeHandle(handle) && slot.handle.compare_exchange_strong(expected, Slot::changing)) {
      object->self = object;
      slot.object = object.get();
      slot.handle.store(handle, std::memory_order_release);
      return reinterpret_cast<void*>(handle);
    }
  }
  return nullptr;
}

HandledObject* findHandle(const void* handle) {
  const auto value = reinterpret_cast<Handle>(handle);
  const Slot& slot = slots[value % places];
  return canBeHandle(value) && slot.handle.load(std::memory_order_acquire) == value ? slot.object : nullptr;
}

void removeHandle(const void* handle) {
  auto value = reinterpret_cast<Handle>(handle);
  Slot& slot = slots[value % places];
  // Of two threads that close one handle the second finds it gone.
  if (canBeHandle(value) && slot.handle.compare_exchange_strong(value, Slot::changing)) {
    const std::shared_ptr<HandledObject> object = std::move(slot.object->self);
    slot.handle.store(Slot::free, std::memory_order_release);
  }
}

}  // namespace quillet
