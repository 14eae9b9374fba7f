#include "directshow/base/worker_thread.h"

namespace quillet {

HRESULT WorkerThread::start(LibraryThreadFunction function, void* argument) {
  requested.reset(CreateEventA(nullptr, TRUE, FALSE, nullptr));
  replied.reset(CreateEventA(nullptr, FALSE, FALSE, nullptr));
  if (!requested || !replied) {
    return E_OUTOFMEMORY;
  }
  finished.reset(startLibraryThread(function, 0, argument, nullptr, 0, nullptr));
  return finished ? S_OK : E_OUTOFMEMORY;
}

HRESULT WorkerThread::call(Command wanted) {
  command = wanted;
  SetEvent(requested.get());
  // The answer comes first: a thread that has answered and then ended has signalled both.
  const HANDLE answers[] = {replied.get(), finished.get()};
  return WaitForMultipleObjects(2, answers, FALSE, INFINITE) == WAIT_OBJECT_0 ? answer : E_UNEXPECTED;
}

void WorkerThread::join() {
  WaitForSingleObject(finished.get(), INFINITE);
  finished.reset();
}

WorkerThread::Command WorkerThread::nextCommand() const {
  WaitForSingleObject(requested.get(), INFINITE);
  return command;
}

void WorkerThread::reply(HRESULT result) {
  answer = result;
  ResetEvent(requested.get());
  SetEvent(replied.get());
}

}  // namespace quillet
