#include "platform/wide_name.h"

#include <windows.h>

namespace quillet {

constOLEstring::constOLEstring(const char* narrow) {
  const int size = narrow != nullptr ? MultiByteToWideChar(CP_ACP, 0, narrow, -1, nullptr, 0) : 0;
  if (size > 0) {
    name.emplace(static_cast<std::size_t>(size) - 1, L'\0');  // The string has its own terminating null.
    MultiByteToWideChar(CP_ACP, 0, narrow, -1, name->data(), size);
  }
}

constOLEstring::constOLEstring(const wchar_t* wide) {
  if (wide != nullptr) {
    name = wide;
  }
}

bool constOLEstring::isOfMissingFile() const {
  if (!name || name->find(L"://") != std::wstring::npos ||
      GetFileAttributesW(name->c_str()) != INVALID_FILE_ATTRIBUTES) {
    return false;
  }
  const DWORD error = GetLastError();
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

}  // namespace quillet
