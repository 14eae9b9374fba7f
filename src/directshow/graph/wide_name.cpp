#include "directshow/graph/wide_name.h"

#include <cwchar>

namespace quillet {

constOLEstring::constOLEstring(const char* narrow) {
  const int size = narrow != nullptr ? MultiByteToWideChar(CP_ACP, 0, narrow, -1, nullptr, 0) : 0;
  if (size > 0) {
    wide = std::make_unique<OLECHAR[]>(static_cast<std::size_t>(size));
    MultiByteToWideChar(CP_ACP, 0, narrow, -1, wide.get(), size);
  }
}

bool constOLEstring::isOfMissingFile() const {
  if (wide == nullptr || std::wcsstr(wide.get(), L"://") != nullptr ||
      GetFileAttributesW(wide.get()) != INVALID_FILE_ATTRIBUTES) {
    return false;
  }
  const DWORD error = GetLastError();
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

}  // namespace quillet
