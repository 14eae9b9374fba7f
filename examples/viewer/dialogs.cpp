#include "dialogs.h"

#include <algorithm>

#include <commdlg.h>

#include "resource_ids.h"
#include "shared/worker.h"

namespace quillet::viewer {
namespace {

/// Runs one of the system's file dialogs on a thread of its own: they want a single-threaded apartment, and the window's
/// thread has entered the other one for the library.
std::optional<std::filesystem::path> chooseFile(BOOL(WINAPI* showDialog)(OPENFILENAMEW*), OPENFILENAMEW parameters,
                                                const std::wstring& name) {
  wchar_t file[4096] = {};
  name.copy(file, std::size(file) - 1);
  parameters.lStructSize = sizeof parameters;
  parameters.lpstrFile = file;
  parameters.nMaxFile = std::size(file);
  parameters.Flags |= OFN_EXPLORER | OFN_HIDEREADONLY | OFN_NOCHANGEDIR;
  BOOL chosen = FALSE;
  const client::Worker dialogThread([&] { chosen = showDialog(&parameters); });
  HANDLE ended = dialogThread.handle();
  // The dialog needs its parent's messages handled. Ends with the user's choice, or at once when there is no dialog.
  while (MsgWaitForMultipleObjects(1, &ended, FALSE, INFINITE, QS_ALLINPUT) == WAIT_OBJECT_0 + 1) {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
  }
  return chosen ? std::optional<std::filesystem::path>(file) : std::nullopt;
}

/// Reads "12", "0:07", "1:23.45", "1:02:03".
std::optional<Destination> parseDestination(const std::wstring& text) {
  Destination destination;
  destination.isTime = text.find_first_of(L":.") != std::wstring::npos;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find(L':', begin), text.size());
    const std::wstring part = text.substr(begin, end - begin);
    if (part.empty() || part.find_first_not_of(L"0123456789.") != std::wstring::npos) {
      return std::nullopt;
    }
    destination.value = destination.value * 60.0 + std::wcstod(part.c_str(), nullptr);
    begin = end + 1;
  }
  destination.value *= destination.isTime ? 1000.0 : 1.0;
  return destination;
}

INT_PTR CALLBACK gotoProcedure(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_INITDIALOG) {
    SetWindowLongPtrW(dialog, DWLP_USER, lParam);
    return TRUE;
  }
  if (message != WM_COMMAND || (LOWORD(wParam) != IDOK && LOWORD(wParam) != IDCANCEL)) {
    return FALSE;
  }
  auto& destination = *reinterpret_cast<std::optional<Destination>*>(GetWindowLongPtrW(dialog, DWLP_USER));
  if (LOWORD(wParam) == IDOK) {
    wchar_t text[64];
    GetDlgItemTextW(dialog, IDC_GOTO_TEXT, text, std::size(text));
    destination = parseDestination(text);
    if (!destination) {
      MessageBeep(MB_ICONWARNING);
      SendMessageW(dialog, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(GetDlgItem(dialog, IDC_GOTO_TEXT)), TRUE);
      return TRUE;
    }
  }
  EndDialog(dialog, LOWORD(wParam));
  return TRUE;
}

}  // namespace

std::optional<std::filesystem::path> chooseMediaFile(HWND parent) {
  OPENFILENAMEW parameters = {};
  parameters.hwndOwner = parent;
  parameters.lpstrFilter =
      L"Media files\0*.avi;*.wav;*.mp4;*.m4a;*.mov;*.mp3;*.mpg;*.mpeg;*.wmv;*.wma;*.asf\0All files\0*.*\0";
  parameters.Flags = OFN_FILEMUSTEXIST;
  return chooseFile(GetOpenFileNameW, parameters, {});
}

std::optional<std::filesystem::path> chooseImageFile(HWND parent, const std::wstring& name) {
  OPENFILENAMEW parameters = {};
  parameters.hwndOwner = parent;
  parameters.lpstrFilter = L"PNG images\0*.png\0";
  parameters.lpstrDefExt = L"png";
  parameters.Flags = OFN_OVERWRITEPROMPT | OFN_PATHMUSTEXIST;
  return chooseFile(GetSaveFileNameW, parameters, name);
}

std::optional<Destination> askDestination(HWND parent) {
  std::optional<Destination> destination;
  DialogBoxParamW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDD_GOTO), parent, gotoProcedure,
                  reinterpret_cast<LPARAM>(&destination));
  return destination;
}

}  // namespace quillet::viewer
