// Events: what one thread signals and another waits for. Why a wait ends is said where it stands.

#pragma once

#include <windows.h>

#include "platform/handles.h"

namespace quillet {

class Event {
 public:
  /// Owns an event that exists; null for none.
  explicit Event(HANDLE event) : event(event) {}

  /// An event that the one wait resets that it ends.
  static Event automatic() { return Event(CreateEventA(nullptr, FALSE, FALSE, nullptr)); }

  /// An event that stays set until it is reset.
  static Event manual() { return Event(CreateEventA(nullptr, TRUE, FALSE, nullptr)); }

  /// Whether the system had one to give.
  explicit operator bool() const { return event != nullptr; }

  void set() const { SetEvent(get()); }
  void reset() const { ResetEvent(get()); }
  void wait() const { WaitForSingleObject(get(), INFINITE); }

  /// Whether the event is set. To ask an automatic one resets it.
  bool isSet() const { return WaitForSingleObject(get(), 0) == WAIT_OBJECT_0; }

  /// Sets this event and waits for another one, in one call of the system.
  void signalAndWait(const Event& other) const { SignalObjectAndWait(get(), other.get(), INFINITE, FALSE); }

  /// For waits of more than this class has.
  HANDLE get() const { return event.get(); }

  /// Leaves the event to the caller, who closes it.
  HANDLE release() { return event.release(); }

 private:
  KernelHandle event;
};

/// Waits until one of two events is set.
/// @return whether it was the first, also when both are.
inline bool waitForFirst(const Event& first, const Event& second) {
  const HANDLE events[] = {first.get(), second.get()};
  return WaitForMultipleObjects(2, events, FALSE, INFINITE) == WAIT_OBJECT_0;
}

}  // namespace quillet
