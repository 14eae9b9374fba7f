#include "platform/library_thread.h"

#include <atomic>
#include <csetjmp>
#include <memory>
#include <new>

#include <process.h>

#include "platform/handles.h"

namespace quillet {
namespace {

// On a library thread: its std::jmp_buf. Allocated on first use.
std::atomic<DWORD> returnPointSlot = TLS_OUT_OF_INDEXES;

struct StartBlock {
  LibraryThreadFunction function;
  void* argument;
  // Not owned: the starter closes it, and may do so only after it was signalled.
  HANDLE ended;
};

bool allocateReturnPointSlot() {
  if (returnPointSlot != TLS_OUT_OF_INDEXES) {
    return true;
  }
  const DWORD slot = TlsAlloc();
  DWORD unallocated = TLS_OUT_OF_INDEXES;
  if (slot != TLS_OUT_OF_INDEXES && !returnPointSlot.compare_exchange_strong(unallocated, slot)) {
    TlsFree(slot);  // Another thread was first.
  }
  return returnPointSlot != TLS_OUT_OF_INDEXES;
}

unsigned __stdcall trampoline(void* startBlock) {
  // Nothing here is changed after setjmp, so everything still holds its value when longjmp comes back.
  auto* const start = static_cast<StartBlock*>(startBlock);
  std::jmp_buf returnPoint;
  if (setjmp(returnPoint) == 0) {
    TlsSetValue(returnPointSlot, &returnPoint);
    start->function(start->argument);
  }
  SetEvent(start->ended);
  delete start;
  return 0;
}

}  // namespace

HANDLE startLibraryThread(LibraryThreadFunction function, unsigned stackSize, void* argument,
                          SECURITY_ATTRIBUTES* security, unsigned flags, unsigned* threadId) {
  if (!allocateReturnPointSlot()) {
    return nullptr;
  }
  Event ended = Event::manual();
  std::unique_ptr<StartBlock> start(new (std::nothrow) StartBlock{function, argument, ended.get()});
  if (!ended || !start) {
    return nullptr;
  }
  const KernelHandle thread(
      reinterpret_cast<HANDLE>(_beginthreadex(security, stackSize, trampoline, start.get(), flags, threadId)));
  if (!thread) {
    return nullptr;
  }
  static_cast<void>(start.release());  // The thread's from now on.
  return ended.release();
}

void exitLibraryThread() {
  if (returnPointSlot == TLS_OUT_OF_INDEXES) {
    return;
  }
  if (void* returnPoint = TlsGetValue(returnPointSlot)) {
    std::longjmp(*static_cast<std::jmp_buf*>(returnPoint), 1);
  }
}

}  // namespace quillet
