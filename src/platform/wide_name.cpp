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

}  // namespace quillet
