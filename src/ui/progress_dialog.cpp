#include "ui/progress_dialog.h"

#include <cstring>
#include <optional>

#include <commctrl.h>

#include <quillet/dialog_options.h>
#include <quillet/thread.h>

#include "platform/library_thread.h"
#include "platform/module.h"
#include "resources/resource_ids.h"
#include "ui/run_dialog.h"
#include "ui/wait_dlg_notification.h"

namespace quillet {
namespace {

constexpr unsigned workerStackSize = 128 * 1024;
constexpr INT_PTR notStarted = -1;

/// The bar only tells that something goes on: it starts anew at each power of two.
constexpr int longCycle = 128;
constexpr int shortCycle = 8;

/// One showing of the dialog.
struct Showing {
  const ProgressDialogParameters& parameters;
  const std::function<void(QuilletNotification&)>& operation;
  std::optional<WaitDlgNotification> notification = std::nullopt;
  LibraryThread worker = {};
  bool hasHiddenParent = false;
};

Showing& showingOf(HWND dialog) {
  return *reinterpret_cast<Showing*>(parameterOf(dialog));
}

void work(void* parameter) {
  Showing& showing = *static_cast<Showing*>(parameter);
  QuilletThread();
  showing.operation(*showing.notification);
  showing.notification->finish();
}

void showIcon(HWND dialog, const ProgressDialogParameters& parameters) {
  if (!parameters.raw && !parameters.audio) {
    return;
  }
  HANDLE icon = LoadImageA(moduleInstance(), MAKEINTRESOURCEA(parameters.raw ? IDI_RAW_DATA : IDI_AUDIO), IMAGE_ICON, 0,
                           0, LR_SHARED | LR_DEFAULTSIZE);
  SendDlgItemMessageA(dialog, IDC_STREAM_ICON, STM_SETIMAGE, IMAGE_ICON, reinterpret_cast<LPARAM>(icon));
}

/// @return null for what the template says.
const char* labelOf(OperationKind kind) {
  switch (kind) {
    case OperationKind::open:
      return "Opening the stream";
    case OperationKind::getSamples:
      return "Fetching audio samples";
    case OperationKind::getData:
      return "Fetching samples";
    case OperationKind::streamSampleToTime:
    case OperationKind::streamTimeToSample:
      return "Searching the stream";
    default:
      return nullptr;
  }
}

/// What is there already is not drawn again.
void setLabel(HWND dialog, const char* text) {
  char present[64] = {};
  GetDlgItemTextA(dialog, IDC_OPERATION, present, sizeof present);
  if (std::strcmp(present, text) != 0) {
    SetDlgItemTextA(dialog, IDC_OPERATION, text);
  }
}

void start(HWND dialog, Showing& showing) {
  const ProgressDialogParameters& parameters = showing.parameters;
  showing.notification.emplace(dialog, parameters.startHidden);
  showIcon(dialog, parameters);
  if (const char* const label = labelOf(parameters.kind)) {
    setLabel(dialog, label);
  }
  Animate_Open(GetDlgItem(dialog, IDC_ANIMATION), MAKEINTRESOURCEA(IDR_PROGRESS_ANIMATION));
  const int cycle = parameters.kind == OperationKind::open ? longCycle : shortCycle;
  SendDlgItemMessageA(dialog, IDC_PROGRESS, PBM_SETRANGE, 0, MAKELPARAM(0, cycle));
  if (parameters.startHidden) {
    // Here and not on the worker, which may come too late: the dialog shows up as soon as its thread is idle.
    SetWindowPos(dialog, nullptr, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
  }
  if (!showing.worker.start(work, &showing, workerStackSize)) {
    showing.notification.reset();
    endDialog(dialog, notStarted);
  }
}

void moveBar(HWND dialog, int cycle, LPARAM counter) {
  HWND bar = GetDlgItem(dialog, IDC_PROGRESS);
  ShowWindow(bar, SW_SHOWNA);
  SendMessageA(bar, PBM_SETPOS, static_cast<WPARAM>(counter & (cycle - 1)), 0);
}

void showProgress(HWND dialog, WPARAM phase, LPARAM counter) {
  switch (phase) {
    case progress_phase::parsing:
      setLabel(dialog, "Opening: parsing the stream");
      moveBar(dialog, longCycle, counter);
      break;
    case progress_phase::opening:
      setLabel(dialog, "Opening the stream");
      ShowWindow(GetDlgItem(dialog, IDC_PROGRESS), SW_HIDE);
      break;
    case progress_phase::backtracking:
      setLabel(dialog, "Fetching samples: backtracking");
      moveBar(dialog, shortCycle, counter);
      break;
    case progress_phase::other:
      moveBar(dialog, longCycle, counter);
      break;
    default:
      break;
  }
}

INT_PTR CALLBACK plainProcedure(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_INITDIALOG:
      start(dialog, *reinterpret_cast<Showing*>(lParam));
      return TRUE;
    case progressMessage:
      showingOf(dialog).notification->taken();
      showProgress(dialog, wParam, lParam);
      return TRUE;
    case doneMessage:
      endDialog(dialog, 0);
      return TRUE;
    default:
      return FALSE;
  }
}

/// Hides the parent along with the minimised dialog, and shows it again.
void accompany(HWND dialog, Showing& showing, bool minimised) {
  HWND parent = GetWindow(dialog, GW_OWNER);
  if (minimised && IsWindowVisible(parent)) {
    ShowWindow(parent, SW_HIDE);
    showing.hasHiddenParent = true;
  } else if (!minimised && showing.hasHiddenParent) {
    ShowWindow(parent, SW_SHOW);
    showing.hasHiddenParent = false;
  }
}

INT_PTR CALLBACK captionedProcedure(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_INITDIALOG) {
    SetWindowTextA(dialog, reinterpret_cast<Showing*>(lParam)->parameters.title);
  } else if (message == WM_SIZE && (wParam == SIZE_MINIMIZED || wParam == SIZE_RESTORED)) {
    accompany(dialog, showingOf(dialog), wParam == SIZE_MINIMIZED);
  } else if (message == doneMessage) {
    accompany(dialog, showingOf(dialog), false);
  }
  return plainProcedure(dialog, message, wParam, lParam);
}

}  // namespace

ProgressDialogParameters::ProgressDialogParameters(OperationKind kind, int options, HWND parent, const char* givenTitle)
    : kind(kind),
      parent(parent),
      audio((options & dialog_option::audio) != 0),
      raw((options & dialog_option::raw) != 0),
      useDirectShow((options & dialog_option::useDirectShow) != 0),
      automatic((options & dialog_option::automatic) != 0),
      startHidden((options & dialog_option::startHidden) != 0),
      captioned((options & dialog_option::captioned) != 0) {
  if (!captioned) {
    return;
  }
  if (givenTitle != nullptr) {
    lstrcpynA(title, givenTitle, titleSize);
  } else if (HWND ancestor = GetAncestor(parent, GA_ROOTOWNER)) {
    GetWindowTextA(ancestor, title, titleSize);
  }
}

bool runBehindProgressDialog(const ProgressDialogParameters& parameters,
                             const std::function<void(QuilletNotification&)>& operation) {
  INITCOMMONCONTROLSEX controls = {sizeof controls, ICC_PROGRESS_CLASS | ICC_ANIMATE_CLASS};
  InitCommonControlsEx(&controls);
  Showing showing = {parameters, operation};
  runDialog(parameters.parent, parameters.captioned ? IDD_CAPTIONED_PROGRESS : IDD_PROGRESS,
            parameters.captioned ? captionedProcedure : plainProcedure, reinterpret_cast<LPARAM>(&showing));
  if (!showing.worker.isStarted()) {
    return false;
  }
  // The dialog may end a moment before the worker, and ends long before it when its parent was destroyed. Ends: the
  // operation ends, and the worker waits for nothing of this thread.
  showing.worker.wait();
  return true;
}

}  // namespace quillet
