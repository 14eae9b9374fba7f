#include "ui/run_dialog.h"

#include <utility>

#include "platform/module.h"

namespace quillet {
namespace {

/// One showing of a dialog.
struct Showing {
  DLGPROC procedure;
  LPARAM parameter;
  INT_PTR result = dialogNotShown;
  bool isOpen = false;
};

Showing* showingOf(HWND dialog) {
  return reinterpret_cast<Showing*>(GetWindowLongPtrA(dialog, DWLP_USER));
}

INT_PTR CALLBACK procedure(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_INITDIALOG) {
    SetWindowLongPtrA(dialog, DWLP_USER, lParam);
    auto& showing = *reinterpret_cast<Showing*>(lParam);
    showing.isOpen = true;
    showing.result = IDCANCEL;
    return showing.procedure(dialog, message, wParam, showing.parameter);
  }
  Showing* const showing = showingOf(dialog);
  if (showing == nullptr) {
    return FALSE;
  }
  if (message == WM_DESTROY && std::exchange(showing->isOpen, false)) {
    showing->procedure(dialog, WM_COMMAND, IDCANCEL, 0);
  }
  return showing->procedure(dialog, message, wParam, lParam);
}

}  // namespace

INT_PTR runDialog(HWND parent, int resource, DLGPROC dialogProcedure, LPARAM parameter) {
  Showing showing = {dialogProcedure, parameter};
  // What the system answers is left alone: 0 may stand for a parent that is no window, and for a dialog that has gone
  // with its parent.
  DialogBoxParamA(moduleInstance(), MAKEINTRESOURCEA(resource), parent, procedure, reinterpret_cast<LPARAM>(&showing));
  return showing.result;
}

void endDialog(HWND dialog, INT_PTR result) {
  Showing* const showing = showingOf(dialog);
  if (showing == nullptr) {
    return;  // It has gone meanwhile, with its parent, and counts as cancelled.
  }
  showing->result = result;
  if (std::exchange(showing->isOpen, false)) {
    EndDialog(dialog, result);
  }
}

LPARAM parameterOf(HWND dialog) {
  return showingOf(dialog)->parameter;
}

}  // namespace quillet
