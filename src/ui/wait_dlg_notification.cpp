#include "ui/wait_dlg_notification.h"

#include <mutex>

namespace quillet {

WaitDlgNotification::WaitDlgNotification(HWND dialog, bool startHidden) : dialog(dialog), restorePending(startHidden) {
  GetWindowRect(dialog, &fullRect);
}

int WaitDlgNotification::progress(int phase) {
  if (restorePending.exchange(false)) {
    // Activated, the dialog would come to the top after all.
    SetWindowPos(dialog, nullptr, 0, 0, fullRect.right - fullRect.left, fullRect.bottom - fullRect.top,
                 SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE | SWP_ASYNCWINDOWPOS);
  }
  const std::lock_guard lock(section);
  ++counter;
  switch (phase) {
    case progress_phase::parsing:
    case progress_phase::opening:
    case progress_phase::backtracking:
      newestChange = {phase, counter};
      newestStep.reset();
      break;
    case progress_phase::other:
      newestStep = {phase, counter};
      break;
    default:
      break;  // Has nothing to show.
  }
  return waiting > 0 || postNewest();
}

void WaitDlgNotification::taken() {
  const std::lock_guard lock(section);
  if (--waiting == 0) {
    postNewest();
  }
}

void WaitDlgNotification::finish() {
  {
    const std::lock_guard lock(section);
    postNewest();
  }
  // There may be no room for the message behind others. Ends: the dialog's thread takes them one by one, and a dialog that
  // was destroyed with its parent needs no message.
  while (!PostMessageA(dialog, doneMessage, 0, 0) && IsWindow(dialog)) {
    Sleep(1);
  }
}

bool WaitDlgNotification::postNewest() {
  bool isPosted = true;
  for (std::optional<Report>* const report : {&newestChange, &newestStep}) {
    if (isPosted && *report) {
      isPosted = PostMessageA(dialog, progressMessage, static_cast<WPARAM>((*report)->phase), (*report)->counter);
      if (isPosted) {  // Otherwise it is kept for the next time.
        ++waiting;
        report->reset();
      }
    }
  }
  return isPosted;
}

}  // namespace quillet
