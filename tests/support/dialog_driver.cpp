#include "support/dialog_driver.h"

#include <algorithm>
#include <utility>

#include <gtest/gtest.h>

namespace quillet::test {
namespace {

constexpr ULONGLONG patienceMs = 10000;

/// The title of a dialog, or what a control says.
std::string textOf(HWND window) {
  char text[256] = {};
  SendMessageA(window, WM_GETTEXT, sizeof text, reinterpret_cast<LPARAM>(text));
  return text;
}

/// Another dialog that it has opened would disable it.
bool waitsForTheUser(HWND dialog) {
  return IsWindowVisible(dialog) && IsWindowEnabled(dialog);
}

BOOL CALLBACK addTo(HWND window, LPARAM windows) {
  reinterpret_cast<std::vector<HWND>*>(windows)->push_back(window);
  return TRUE;
}

}  // namespace

DialogDriver::DialogDriver(std::vector<DialogStep> steps)
    : steps(std::move(steps)), thread(CreateThread(nullptr, 0, run, this, 0, nullptr)) {}

DialogDriver::~DialogDriver() {
  SetEvent(isOver.get());
  // Ends: the thread looks for that event between all that it does, and gets its answer when it asks a window just now.
  HANDLE ended = thread.get();
  while (MsgWaitForMultipleObjects(1, &ended, FALSE, INFINITE, QS_SENDMESSAGE) != WAIT_OBJECT_0) {
    MSG message;
    PeekMessageA(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
  }
  EXPECT_EQ(done, steps.size()) << "no dialog '" << (done < steps.size() ? steps[done].title : "") << "'";
  EXPECT_EQ(unexpected, "") << "not expected, and cancelled";
}

DWORD WINAPI DialogDriver::run(void* self) {
  auto& driver = *static_cast<DialogDriver*>(self);
  std::vector<HWND> seen;
  for (const DialogStep& step : driver.steps) {
    const HWND dialog = driver.await(step.title, {}, patienceMs);
    if (dialog == nullptr) {
      break;
    }
    step.act(dialog);
    seen.push_back(dialog);
    ++driver.done;
  }
  // Whatever else is shown must not keep the test waiting. Those that were seen to may take a while to go.
  while (const HWND other = driver.await({}, seen, INFINITE)) {
    driver.unexpected += "'" + textOf(other) + "' ";
    PostMessageA(other, WM_CLOSE, 0, 0);
    seen.push_back(other);
  }
  return 0;
}

/// Nothing tells that a dialog of another thread is ready: look at all that there are again and again.
/// @param title of which the dialog is; of any when it is empty.
HWND DialogDriver::await(const std::string& title, const std::vector<HWND>& passedOver, ULONGLONG patience) const {
  const ULONGLONG start = GetTickCount64();
  do {
    // All at once: to go on from one that is about to go (FindWindowEx) stops Wine 10 for good.
    std::vector<HWND> windows;
    EnumThreadWindows(owner, addTo, reinterpret_cast<LPARAM>(&windows));
    for (const HWND dialog : windows) {
      // The thread tells the title when it has nothing else to do: a dialog that is about to go has gone then.
      if (GetClassLongA(dialog, GCW_ATOM) == reinterpret_cast<ULONG_PTR>(WC_DIALOG) &&
          std::ranges::count(passedOver, dialog) == 0 && waitsForTheUser(dialog) &&
          (textOf(dialog) == title || title.empty()) && waitsForTheUser(dialog)) {
        return dialog;
      }
    }
  } while (WaitForSingleObject(isOver.get(), 1) != WAIT_OBJECT_0 && GetTickCount64() - start < patience);
  return nullptr;
}

HWND makeParent() {
  return CreateWindowA("STATIC", "", WS_POPUP, 0, 0, 9, 9, nullptr, nullptr, nullptr, nullptr);
}

std::function<void(HWND)> closing(HWND parent, std::function<void(HWND)> before) {
  return [=](HWND dialog) { before(dialog), PostMessageA(parent, WM_CLOSE, 0, 0); };
}

void press(HWND dialog, int button) {
  if (button == IDOK || button == IDCANCEL) {
    PostMessageA(dialog, WM_KEYDOWN, button == IDOK ? VK_RETURN : VK_ESCAPE, 0);
  } else {
    PostMessageA(dialog, WM_COMMAND, button, reinterpret_cast<LPARAM>(GetDlgItem(dialog, button)));
  }
}

void enter(HWND dialog, int control, const char* text) {
  SendDlgItemMessageA(dialog, control, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text));
}

void doubleClick(HWND dialog, int control) {
  PostMessageA(GetDlgItem(dialog, control), WM_LBUTTONDBLCLK, 0, 0);
}

std::string textOf(HWND dialog, int control) {
  return textOf(GetDlgItem(dialog, control));
}

}  // namespace quillet::test
