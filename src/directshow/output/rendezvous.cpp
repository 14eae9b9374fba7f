#include "directshow/output/rendezvous.h"

#include <iterator>

namespace quillet {

Rendezvous::Rendezvous()
    : dataReady(CreateEventA(nullptr, FALSE, FALSE, nullptr)),
      dataTaken(CreateEventA(nullptr, FALSE, FALSE, nullptr)),
      endRequested(CreateEventA(nullptr, TRUE, FALSE, nullptr)),
      takerGone(CreateEventA(nullptr, TRUE, FALSE, nullptr)) {}

bool Rendezvous::give(const HandOff& handOff) {
  slot = handOff;
  SetEvent(dataReady.get());
  // Taken comes first: a taker that has taken the data and then left has signalled both.
  const HANDLE outcomes[] = {dataTaken.get(), takerGone.get()};
  if (WaitForMultipleObjects(static_cast<DWORD>(std::size(outcomes)), outcomes, FALSE, INFINITE) == WAIT_OBJECT_0) {
    return isUsed;
  }
  ResetEvent(dataReady.get());  // Nobody is to find there what is the giver's again.
  return false;
}

const HandOff* Rendezvous::take(HANDLE stop) {
  // Data comes before the end: what is being given when the end is requested still counts.
  const HANDLE reasons[] = {stop, dataReady.get(), endRequested.get()};
  const bool hasData =
      WaitForMultipleObjects(static_cast<DWORD>(std::size(reasons)), reasons, FALSE, INFINITE) == WAIT_OBJECT_0 + 1;
  return hasData ? &slot : nullptr;
}

void Rendezvous::taken(bool used) {
  isUsed = used;
  SetEvent(dataTaken.get());
}

}  // namespace quillet
