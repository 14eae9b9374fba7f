// Tells the progress dialog of the steps of the operation behind it, and of its end.

#pragma once

#include <atomic>
#include <optional>

#include <windows.h>

#include <quillet/notification.h>

#include "platform/critical_section.h"

namespace quillet {

/// Messages posted to the progress dialog.
inline constexpr UINT progressMessage = WM_APP + 4321;  ///< A step: its phase, and how many there have been.
inline constexpr UINT doneMessage = WM_APP + 4322;      ///< The operation is over.

/// The phases that QuilletNotification::progress() documents.
namespace progress_phase {
enum Phase : int { parsing = 0, opening = 1, backtracking = 2, other = 3 };
}

/// Made on the dialog's thread as the dialog starts. The threads of the operation report to it, and never wait for the
/// dialog.
///
/// Nor does the dialog have to catch up with reports that come faster than it can show them: while one waits to be
/// taken, further ones are only counted, and then the newest is posted. The dialog comes to look as if it had got them
/// all.
class WaitDlgNotification : public QuilletNotification {
 public:
  /// @param startHidden whether the dialog has no size until the first report.
  WaitDlgNotification(HWND dialog, bool startHidden);

  /// @return false when the report cannot be posted.
  int progress(int phase) override;

  /// For the dialog to call as it takes a report.
  void taken();

  /// Tells the dialog that the operation is over, after all that it has reported.
  void finish();

 private:
  struct Report {
    int phase;
    int counter;
  };

  bool postNewest();

  HWND dialog;
  RECT fullRect = {};
  std::atomic<bool> restorePending;

  CriticalSection section;  // Guards the following.
  int counter = 0;
  int waiting = 0;  // Reports that were posted and not taken yet.
  // What is still to be posted: the newest report that changes what the dialog says, and the newest since then.
  std::optional<Report> newestChange;
  std::optional<Report> newestStep;
};

}  // namespace quillet
