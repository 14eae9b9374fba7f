#include "directshow/output/rendezvous.h"

#include <mutex>

namespace quillet {

bool Rendezvous::give(const HandOff& handOff) {
  const std::lock_guard guard(lock);
  if (isEnding) {
    return false;
  }
  slot = handOff;
  isOffered = true;
  changed.wakeAll();
  changed.wait(lock, [this] { return !isOffered || !isTakerExpected; });
  if (isOffered) {
    isOffered = false;  // The data is the giver's again: a taker that comes later must not find it.
    return false;
  }
  return wasUsable;
}

const HandOff* Rendezvous::take() {
  const std::lock_guard guard(lock);
  changed.wait(lock, [this] { return isOffered || isEnding || wasCalledAway; });
  // Data goes before the end: what is being given when the stream ends still counts.
  return isOffered && !wasCalledAway ? &slot : nullptr;
}

void Rendezvous::taken(bool isUsable) {
  wasUsable = isUsable;  // Without the lock: the giver looks only once nothing is offered any more.
  change(isOffered, false);
}

void Rendezvous::expect() {
  const std::lock_guard guard(lock);
  isTakerExpected = true;
  wasCalledAway = false;
}

void Rendezvous::callAway() {
  change(wasCalledAway, true);
}

bool Rendezvous::isCalledAway() {
  const std::lock_guard guard(lock);
  return wasCalledAway;
}

void Rendezvous::leave() {
  change(isTakerExpected, false);
}

void Rendezvous::end() {
  change(isEnding, true);
}

bool Rendezvous::hasTaker() {
  const std::lock_guard guard(lock);
  return isTakerExpected;
}

void Rendezvous::change(bool& what, bool value) {
  {
    const std::lock_guard guard(lock);
    what = value;
  }
  changed.wakeAll();  // Behind the lock: whoever wakes up finds it free.
}

}  // namespace quillet
