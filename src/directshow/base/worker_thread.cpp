#include "directshow/base/worker_thread.h"

namespace quillet {

HRESULT WorkerThread::start(LibraryThreadFunction function, void* argument) {
  requested.reset();  // By a thread that has ended without its answer.
  return requested && replied && worker.start(function, argument) ? S_OK : E_OUTOFMEMORY;
}

HRESULT WorkerThread::call(Command wanted) {
  command = wanted;
  requested.set();
  // The answer comes first: a thread that has answered and then ended has signalled both.
  return waitForFirst(replied, worker.ended()) ? answer : E_UNEXPECTED;
}

void WorkerThread::join() {
  worker.join();
}

WorkerThread::Command WorkerThread::nextCommand() const {
  requested.wait();
  return command;
}

void WorkerThread::reply(HRESULT result) {
  answer = result;
  requested.reset();
  replied.set();
}

}  // namespace quillet
