#include "dialogs.h"

#include <commdlg.h>

#include "background.h"
#include "resource_ids.h"

namespace quillet::viewer {
namespace {

constexpr wchar_t mediaFilter[] =
    L"Media files\0*.avi;*.wav;*.mp4;*.m4a;*.mov;*.mp3;*.mpg;*.mpeg;*.wmv;*.wma;*.asf\0All files\0*.*\0";
constexpr wchar_t imageFilter[] = L"PNG images\0*.png\0";

/// Runs one of the system's file dialogs on a thread of its own: they want a single-threaded apartment, and the window's
/// thread has entered the other one for the library.
/// @param name of the file that is suggested.
std::optional<std::filesystem::path> chooseFile(BOOL(WINAPI* showDialog)(OPENFILENAMEW*), HWND parent,
                                                const wchar_t* filter, const wchar_t* extension, DWORD flags,
                                                const std::wstring& name) {
  wchar_t file[4096] = {};
  name.copy(file, std::size(file) - 1);
  OPENFILENAMEW parameters = {};
  parameters.lStructSize = sizeof parameters;
  parameters.hwndOwner = parent;
  parameters.lpstrFilter = filter;
  parameters.lpstrFile = file;
  parameters.nMaxFile = std::size(file);
  parameters.lpstrDefExt = extension;
  parameters.Flags = flags | OFN_EXPLORER | OFN_HIDEREADONLY | OFN_NOCHANGEDIR;

  BOOL chosen = FALSE;
  const Thread dialogThread([&] { chosen = showDialog(&parameters); });
  const HANDLE ended = dialogThread.handle();
  // The dialog needs its parent's messages to be handled. Ends with the user's choice, or at once without a dialog.
  while (MsgWaitForMultipleObjects(1, &ended, FALSE, INFINITE, QS_ALLINPUT) == WAIT_OBJECT_0 + 1) {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
  }
  if (!chosen) {
    return std::nullopt;
  }
  return file;
}

/// Reads "12", "1:23.45", "1:02:03": a number without a colon and a point is a frame's.
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
  if (destination.isTime) {
    destination.value *= 1000.0;
  }
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
      const HWND edit = GetDlgItem(dialog, IDC_GOTO_TEXT);
      MessageBeep(MB_ICONWARNING);
      SendMessageW(edit, EM_SETSEL, 0, -1);
      SetFocus(edit);
      return TRUE;
    }
  }
  EndDialog(dialog, LOWORD(wParam));
  return TRUE;
}

}  // namespace

std::optional<std::filesystem::path> chooseMediaFile(HWND parent) {
  return chooseFile(GetOpenFileNameW, parent, mediaFilter, nullptr, OFN_FILEMUSTEXIST, {});
}

std::optional<std::filesystem::path> chooseImageFile(HWND parent, const std::wstring& suggestion) {
  return chooseFile(GetSaveFileNameW, parent, imageFilter, L"png", OFN_OVERWRITEPROMPT | OFN_PATHMUSTEXIST, suggestion);
}

std::optional<Destination> askDestination(HWND parent) {
  std::optional<Destination> destination;
  DialogBoxParamW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDD_GOTO), parent, gotoProcedure,
                  reinterpret_cast<LPARAM>(&destination));
  return destination;
}

}  // namespace quillet::viewer
