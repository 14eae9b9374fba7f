#include "background.h"

#include <utility>

#include "failure.h"
#include "text.h"

namespace quillet::viewer {

Thread::Thread(std::function<void()> work)
    : work(std::move(work)), thread(CreateThread(nullptr, 0, run, this, 0, nullptr)) {
  if (thread == nullptr) {
    throw client::Failure("cannot start a thread: " + client::systemMessage(GetLastError()));
  }
}

Thread::~Thread() {
  // Ends: the work does, by the constructor's condition, and no work here waits for the thread that destroys.
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
}

DWORD WINAPI Thread::run(void* self) {
  static_cast<Thread*>(self)->work();
  return 0;
}

}  // namespace quillet::viewer
