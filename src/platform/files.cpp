#include "platform/files.h"

#include <limits>
#include <string_view>

#include <windows.h>

#include "platform/handles.h"

namespace quillet {
namespace {

template <class Character, class GetAttributes>
std::optional<std::uint64_t> lengthOf(const Character* name, GetAttributes getAttributes) {
  WIN32_FILE_ATTRIBUTE_DATA file = {};
  if (name == nullptr || getAttributes(name, GetFileExInfoStandard, &file) == 0) {
    return std::nullopt;
  }
  return (std::uint64_t{file.nFileSizeHigh} << std::numeric_limits<DWORD>::digits) + file.nFileSizeLow;
}

}  // namespace

std::string fullName(const char* name) {
  std::string full(GetFullPathNameA(name, 0, nullptr, nullptr), '\0');
  full.resize(GetFullPathNameA(name, static_cast<DWORD>(full.size()), full.data(), nullptr));
  return full.empty() ? name : full;
}

std::optional<std::uint64_t> fileLength(const char* name) {
  return lengthOf(name, GetFileAttributesExA);
}

std::optional<std::uint64_t> fileLength(const wchar_t* name) {
  return lengthOf(name, GetFileAttributesExW);
}

bool isRiff(const char* name) {
  constexpr std::string_view id = "RIFF";
  char beginning[id.size()] = {};
  DWORD size = 0;
  const KernelHandle file(CreateFileA(name, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  return ReadFile(file.get(), beginning, sizeof beginning, &size, nullptr) != 0 &&
         std::string_view(beginning, size) == id;
}

}  // namespace quillet
