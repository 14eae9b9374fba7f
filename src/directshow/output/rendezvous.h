// Where a thread that has data meets a thread that takes it. Nothing is queued: the giver waits until the taker has
// taken the data.

#pragma once

#include <windows.h>

#include <strmif.h>

#include "platform/critical_section.h"

namespace quillet {

/// What is handed over. The data stays the giver's.
struct HandOff {
  const unsigned char* data = nullptr;
  long size = 0;
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  bool keyFrame = false;
};

/// For one giver at a time and one taker at a time; any thread may call the rest.
///
/// Ends: the giver's wait ends when the taker has taken the data, or has left: leave() is called however its work ends.
/// While something else keeps the taker busy the giver waits on; whatever keeps the taker, or the taker's owner, must
/// see to it that it comes back. The taker's wait ends with data, with the end of the stream, or when it is called
/// away.
///
/// There is a hand-over for every frame written. That is why it takes a lock and a condition variable: with events the
/// taker would make two calls into the kernel for each.
class Rendezvous {
 public:
  /// Hands data over and waits until it is taken.
  /// @return whether it was taken, and could be used; false at once while no taker is expected, and after end().
  bool give(const HandOff& handOff);

  /// Waits for data.
  /// @return null at the end of the stream, and when the taker was called away.
  const HandOff* take();

  /// Lets the giver go on: the taker is done with the data that take() has returned.
  /// @param isUsable whether the data could be used.
  void taken(bool isUsable);

  /// The taker is about to come: from now on give() waits for it.
  void expect();

  /// Calls the taker away: take() returns null until the taker is expected again.
  void callAway();
  bool isCalledAway();

  /// The taker takes nothing any more, for whatever reason.
  void leave();

  /// Ends the stream, for good: what is being given is the last data.
  void end();

  /// Whether a taker is expected.
  bool hasTaker();

 private:
  void change(bool& what, bool value);

  CriticalSection lock;
  ConditionVariable changed;  // Woken when anything below has changed.
  HandOff slot;               // While it is offered, the taker reads it without the lock.
  bool isOffered = false;
  bool wasUsable = false;
  bool isTakerExpected = false;
  bool wasCalledAway = false;
  bool isEnding = false;
};

}  // namespace quillet
