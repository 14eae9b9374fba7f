#include "interruption.h"

#include <atomic>

#include <windows.h>

#include "shared/failure.h"
#include "shared/output_file.h"

namespace quillet::client {
namespace {

std::atomic<bool> wasInterrupted = false;

/// Runs on a thread of the system's.
BOOL WINAPI interrupt(DWORD event) {
  const bool isFirst = !wasInterrupted.exchange(true);
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
    // The console is closing, and the program ends when this returns. Ends: with the program, when the command has unwound,
    // or when the system does not wait any longer.
    WaitForSingleObject(GetCurrentProcess(), INFINITE);
  }
  if (!isFirst) {
    PendingFile::abandon();
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(ExitStatus::interrupted));
  }
  return TRUE;
}

class Interruption : public QuilletNotification {
 public:
  int progress(int) override { return 0; }
  bool stopRequested() override { return isInterrupted(); }
};

}  // namespace

void watchForInterruption() {
  SetConsoleCtrlHandler(interrupt, TRUE);
}

bool isInterrupted() {
  return wasInterrupted;
}

void throwIfInterrupted() {
  if (isInterrupted()) {
    throw Failure("interrupted");
  }
}

QuilletNotification* interruption() {
  static Interruption notification;
  return &notification;
}

}  // namespace quillet::client
