// Tells the progress dialog of the steps of the operation behind it.

#pragma once

#include <windows.h>

#include <quillet/notification.h>

namespace quillet {

/// Messages posted to the progress dialog.
inline constexpr UINT progressMessage = WM_APP + 4321;  ///< A step: its phase, and how many there have been.
inline constexpr UINT doneMessage = WM_APP + 4322;      ///< The operation is over.

/// Made on the dialog's thread as the dialog starts; reports from the threads of the operation, none of which it keeps
/// waiting for the dialog.
class WaitDlgNotification : public QuilletNotification {
 public:
  /// @param startHidden whether the dialog has no size until the first report.
  WaitDlgNotification(HWND dialog, bool startHidden);

  /// @return whether the report could be posted.
  int progress(int phase) override;

 private:
  HWND dialog;
  RECT fullRect = {};
  bool restorePending;
  int counter = 0;
};

}  // namespace quillet
