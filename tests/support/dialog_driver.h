// Answers modal dialogs as a user would.

#pragma once

#include <functional>
#include <string>
#include <vector>

#include <windows.h>

#include "platform/handles.h"

namespace quillet::test {

/// What the user does at one dialog.
struct DialogStep {
  std::string title;  // Which dialog is awaited; the first that shows up when it is empty.
  std::function<void(HWND dialog)> act;
};

/// Answers the dialogs that the thread which makes it shows, from another thread, step by step.
class DialogDriver {
 public:
  explicit DialogDriver(std::vector<DialogStep> steps);

  /// Fails the test when a step's dialog has not shown up, and when another than those of the steps has, which is closed
  /// then.
  ~DialogDriver();

 private:
  static DWORD WINAPI run(void* self);
  HWND await(const std::string& title, const std::vector<HWND>& passedOver, ULONGLONG patience) const;

  std::vector<DialogStep> steps;
  std::size_t done = 0;
  std::string unexpected;  // The titles of dialogs that no step has asked for.
  DWORD owner = GetCurrentThreadId();
  KernelHandle isOver{CreateEventA(nullptr, TRUE, FALSE, nullptr)};
  KernelHandle thread;
};

/// A window to own dialogs.
HWND makeParent();

/// What a user does who takes a dialog away with its parent.
std::function<void(HWND)> closing(
    HWND parent, std::function<void(HWND)> before = [](HWND) {});

/// While it lives, the thread that made it cannot make windows.
class NoWindows {
 public:
  NoWindows() : hook(SetWindowsHookExA(WH_CBT, refuse, nullptr, GetCurrentThreadId())) {}

 private:
  static LRESULT CALLBACK refuse(int code, WPARAM, LPARAM) { return code == HCBT_CREATEWND; }
  UniqueHandle<HHOOK, UnhookWindowsHookEx> hook;
};

/// Presses a button; OK and Cancel with their keys, which reach them where they are the dialog's default and its way out.
void press(HWND dialog, int button);
void enter(HWND dialog, int control, const char* text);
void doubleClick(HWND dialog, int control);
std::string textOf(HWND dialog, int control);

}  // namespace quillet::test
