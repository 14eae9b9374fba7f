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
  const bool isClosing = event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT;
  if (isClosing) {
    // The program ends when this returns, or after 5 seconds. Ends: with the program when the command has unwound.
    constexpr DWORD patienceMs = 3000;
    WaitForSingleObject(GetCurrentProcess(), patienceMs);
  }
  if (isClosing || !isFirst) {
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
