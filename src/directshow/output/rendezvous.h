// Where a thread that has data and a thread that takes it meet: nothing is queued, the one waits until the other has taken
// what it was handed.

#pragma once

#include <windows.h>

#include <strmif.h>

#include "core/handles.h"

namespace quillet {

/// What is handed over. The data stays the giver's.
struct HandOff {
  const unsigned char* data = nullptr;
  long size = 0;
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  bool keyFrame = false;
};

/// For one giver at a time and one taker at a time.
///
/// No wait can strand anybody. The giver's ends when the taker has taken the data, or when it has left: leave() is called
/// however its work ends. The taker's ends with data, the end of the stream, or the signal that it is given to watch.
class Rendezvous {
 public:
  Rendezvous();

  /// Whether what it needs could be made.
  bool isUsable() const { return dataReady && dataTaken && endRequested && takerGone; }

  // The giver's side.

  /// Hands data over and waits until it is taken.
  /// @return whether it was taken, and could be used.
  bool give(const HandOff& handOff);

  /// Tells that no more data will come after what is being given. Any thread may call it; waits for nothing.
  void end() { SetEvent(endRequested.get()); }

  /// Whether there is somebody to give to. Any thread may ask.
  bool hasTaker() const { return WaitForSingleObject(takerGone.get(), 0) != WAIT_OBJECT_0; }

  // The taker's side.

  /// The taker is about to come: giving waits for it from now on. Called before it can.
  void expect() { ResetEvent(takerGone.get()); }

  /// Waits for data.
  /// @param stop an event that means that the taker is wanted elsewhere.
  /// @return null at the end of the stream, and when `stop` is signalled.
  const HandOff* take(HANDLE stop);

  /// Lets the giver of what take() has returned go on.
  /// @param isUsed whether the data could be used.
  void taken(bool isUsed);

  /// The taker takes nothing any more, whatever the reason.
  void leave() { SetEvent(takerGone.get()); }

 private:
  // Written before `dataReady` is signalled and read after it was waited for; likewise `isUsed` and `dataTaken`.
  HandOff slot;
  bool isUsed = false;
  KernelHandle dataReady;  // Each of the first two is reset by the one wait for it.
  KernelHandle dataTaken;
  KernelHandle endRequested;
  KernelHandle takerGone;
};

}  // namespace quillet
