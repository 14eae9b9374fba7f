#include "support/dialog_driver.h"

#include <cstring>
#include <utility>

#include <gtest/gtest.h>

namespace quillet::test {
namespace {

constexpr ULONGLONG patienceMs = 10000;

struct Search {
  const std::string& title;
  HWND found = nullptr;
};

/// Takes the dialog that waits for the user: another that it has opened would disable it.
BOOL CALLBACK examine(HWND window, LPARAM parameter) {
  auto& search = *reinterpret_cast<Search*>(parameter);
  char name[32] = {};
  char title[128] = {};
  GetClassNameA(window, name, sizeof name);
  GetWindowTextA(window, title, sizeof title);
  const bool isIt = std::strcmp(name, "#32770") == 0 && IsWindowVisible(window) && IsWindowEnabled(window) &&
                    (search.title.empty() || search.title == title);
  search.found = isIt ? window : search.found;
  return !isIt;
}

}  // namespace

DialogDriver::DialogDriver(std::vector<DialogStep> steps)
    : steps(std::move(steps)), thread(CreateThread(nullptr, 0, run, this, 0, nullptr)) {}

DialogDriver::~DialogDriver() {
  WaitForSingleObject(thread, INFINITE);  // Ends: the thread's patience does.
  CloseHandle(thread);
  EXPECT_EQ(done, steps.size()) << "no dialog '" << (done < steps.size() ? steps[done].title : "") << "'";
}

DWORD WINAPI DialogDriver::run(void* self) {
  auto& driver = *static_cast<DialogDriver*>(self);
  for (const DialogStep& step : driver.steps) {
    const HWND dialog = driver.await(step.title);
    if (dialog == nullptr) {
      // Whatever is shown instead must not keep the test waiting.
      if (const HWND other = driver.await({})) {
        PostMessageA(other, WM_COMMAND, IDCANCEL, 0);
      }
      break;
    }
    step.act(dialog);
    ++driver.done;
  }
  return 0;
}

/// Nothing tells that a dialog of another thread is ready: look again and again.
HWND DialogDriver::await(const std::string& title) const {
  Search search = {title};
  for (const ULONGLONG end = GetTickCount64() + patienceMs; search.found == nullptr && GetTickCount64() < end;) {
    EnumThreadWindows(owner, examine, reinterpret_cast<LPARAM>(&search));
    Sleep(1);
  }
  return search.found;
}

void press(HWND dialog, int button) {
  PostMessageA(dialog, WM_COMMAND, button, reinterpret_cast<LPARAM>(GetDlgItem(dialog, button)));
}

void enter(HWND dialog, int control, const char* text) {
  SendDlgItemMessageA(dialog, control, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text));
}

std::string textOf(HWND dialog, int control) {
  char text[256] = {};
  SendDlgItemMessageA(dialog, control, WM_GETTEXT, sizeof text, reinterpret_cast<LPARAM>(text));
  return text;
}

}  // namespace quillet::test
