// Where a thread that has data and a thread that takes it meet: nothing is queued, the one waits until the other has taken
// what it was handed.

#pragma once

#include <windows.h>

#include <strmif.h>

#include "core/critical_section.h"

namespace quillet {

/// What is handed over. The data stays the giver's.
struct HandOff {
  const unsigned char* data = nullptr;
  long size = 0;
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  bool keyFrame = false;
};

/// For one giver at a time and one taker at a time; the rest any thread may call.
///
/// The giver's wait ends when the taker has taken the data, or when it has left: leave() is called however its work ends. So
/// it lasts as long as the taker is kept elsewhere, and whoever keeps it, or its owner, has to see to it that it comes back.
/// The taker's wait ends with data, the end of the stream, or the call that wants it elsewhere.
///
/// A lock and a condition variable instead of events: a frame is handed over for every frame written, and events would cost
/// the taker two calls of the kernel for each.
class Rendezvous {
 public:
  /// Hands data over and waits until it is taken.
  /// @return whether it was taken, and could be used; false at once while no taker is expected, and after end().
  bool give(const HandOff& handOff);

  /// Waits for data.
  /// @return null at the end of the stream, and when the taker was called away.
  const HandOff* take();

  /// Lets the giver of what take() has returned go on.
  /// @param isUsable whether the data could be used.
  void taken(bool isUsable);

  /// The taker is about to come: giving waits for it from now on.
  void expect();

  /// Calls the taker away, until it is expected again.
  void callAway();
  bool isCalledAway();

  /// The taker takes nothing any more, whatever the reason.
  void leave();

  /// Tells that no more data will come after what is being given, for good.
  void end();

  /// Whether there is somebody to give to.
  bool hasTaker();

 private:
  void change(bool& what, bool value);

  CriticalSection lock;
  ConditionVariable changed;  // Of anything that follows.
  HandOff slot;               // The taker reads it without the lock, while it is offered.
  bool isOffered = false;
  bool wasUsable = false;
  bool isTakerExpected = false;
  bool wasCalledAway = false;
  bool isEnding = false;
};

}  // namespace quillet
