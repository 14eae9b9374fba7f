#include "platform/files.h"

#include <limits>
#include <string_view>

#include <windows.h>

#include "platform/handles.h"

namespace quillet {

std::wstring fullName(const wchar_t* name) {
  std::wstring full(GetFullPathNameW(name, 0, nullptr, nullptr), L'\0');
  full.resize(GetFullPathNameW(name, static_cast<DWORD>(full.size()), full.data(), nullptr));
  return full.empty() ? name : full;
}

std::optional<std::uint64_t> fileLength(const wchar_t* name) {
  WIN32_FILE_ATTRIBUTE_DATA file = {};
  if (name == nullptr || GetFileAttributesExW(name, GetFileExInfoStandard, &file) == 0) {
    return std::nullopt;
  }
  return (std::uint64_t{file.nFileSizeHigh} << std::numeric_limits<DWORD>::digits) + file.nFileSizeLow;
}

bool isRiff(const wchar_t* name) {
  constexpr std::string_view id = "RIFF";
  char beginning[id.size()] = {};
  DWORD size = 0;
  const KernelHandle file(CreateFileW(name, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  return ReadFile(file.get(), beginning, sizeof beginning, &size, nullptr) != 0 &&
         std::string_view(beginning, size) == id;
}

}  // namespace quillet
