#include "ui/wait_dlg_notification.h"

namespace quillet {

WaitDlgNotification::WaitDlgNotification(HWND dialog, bool startHidden) : dialog(dialog), restorePending(startHidden) {
  GetWindowRect(dialog, &fullRect);
}

int WaitDlgNotification::progress(int phase) {
  if (restorePending) {
    // Activated, the dialog would come to the top after all.
    SetWindowPos(dialog, nullptr, 0, 0, fullRect.right - fullRect.left, fullRect.bottom - fullRect.top,
                 SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE | SWP_ASYNCWINDOWPOS);
    restorePending = false;
  }
  ++counter;
  return PostMessageA(dialog, progressMessage, static_cast<WPARAM>(phase), counter);
}

}  // namespace quillet
