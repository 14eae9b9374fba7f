#include "shared/worker.h"

#include <utility>

#include "shared/failure.h"
#include "shared/text.h"

namespace quillet::client {

Worker::Worker(std::function<void()> work)
    : work(std::move(work)), thread(CreateThread(nullptr, 0, run, this, 0, nullptr)) {
  if (thread == nullptr) {
    throw Failure("cannot start a thread: " + systemMessage(GetLastError()));
  }
}

Worker::~Worker() {
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
}

void Worker::rethrow() const {
  if (exception) {
    std::rethrow_exception(exception);
  }
}

DWORD WINAPI Worker::run(void* self) {
  auto& worker = *static_cast<Worker*>(self);
  try {
    worker.work();
  } catch (...) {
    worker.exception = std::current_exception();
  }
  return 0;
}

}  // namespace quillet::client
