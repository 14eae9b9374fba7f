#include "platform/files.h"

#include <algorithm>
#include <limits>
#include <string_view>

#include <windows.h>

#include "platform/handles.h"
#include "platform/wide_name.h"

namespace quillet {
namespace {

constexpr std::wstring_view unlimited = LR"(\\?\)";
constexpr std::wstring_view unlimitedNetwork = LR"(\\?\UNC\)";
constexpr std::wstring_view network = LR"(\\)";

/// @return the name in the form for which MAX_PATH is no limit.
std::wstring withoutLimit(const std::wstring& full) {
  if (full.starts_with(unlimited)) {
    return full;
  }
  return full.starts_with(network) ? std::wstring(unlimitedNetwork) + full.substr(network.size())
                                   : std::wstring(unlimited) + full;
}

/// @return empty when the file system tells none.
std::wstring shortName(const std::wstring& full, FileUse use) {
  const std::wstring name = withoutLimit(full);
  if (use == FileUse::write) {
    auto* const made = CreateFileW(name.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                   OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (made != INVALID_HANDLE_VALUE) {
      CloseHandle(made);
    }
  }
  std::wstring found(GetShortPathNameW(name.c_str(), nullptr, 0), L'\0');
  found.resize(GetShortPathNameW(name.c_str(), found.data(), static_cast<DWORD>(found.size())));
  if (full.starts_with(unlimited)) {
    return found;
  }
  return found.starts_with(unlimitedNetwork) ? std::wstring(network) + found.substr(unlimitedNetwork.size())
                                             : found.substr(std::min(found.size(), unlimited.size()));
}

bool isOfFileSystem(std::wstring_view name) {
  return name.find(L"://") == std::wstring_view::npos;
}

/// @return bytes of the name in the ANSI code page, in which a letter may have several; 0 when that lacks letters of it.
std::size_t ansiSize(const std::wstring& name) {
  std::string narrow(WideCharToMultiByte(CP_ACP, 0, name.c_str(), -1, nullptr, 0, nullptr, nullptr), '\0');
  WideCharToMultiByte(CP_ACP, 0, name.c_str(), -1, narrow.data(), static_cast<int>(narrow.size()), nullptr, nullptr);
  return constOLEstring(narrow.c_str()).get() == name ? narrow.size() - 1 : 0;
}

}  // namespace

std::wstring fullName(const wchar_t* name) {
  std::wstring full(GetFullPathNameW(name, 0, nullptr, nullptr), L'\0');
  full.resize(GetFullPathNameW(name, static_cast<DWORD>(full.size()), full.data(), nullptr));
  return full.empty() ? name : full;
}

std::wstring nameForAviFile(const wchar_t* name, FileUse use) {
  const std::wstring full = fullName(name);
  if (const std::size_t size = ansiSize(full); size > 0 && size < OFS_MAXPATHNAME) {
    return name;
  }
  for (const std::wstring& candidate : {shortName(full, use), full}) {
    if (ansiSize(candidate) > 0) {
      return candidate;
    }
  }
  return {};
}

std::wstring nameForFilters(const wchar_t* name, FileUse use) {
  const std::wstring full = fullName(name);
  if (full.size() < MAX_PATH || !isOfFileSystem(name)) {
    return name;
  }
  const std::wstring shortened = shortName(full, use);
  return !shortened.empty() && shortened.size() < MAX_PATH ? shortened : withoutLimit(full);
}

bool isMissing(const wchar_t* name) {
  if (!isOfFileSystem(name) || GetFileAttributesW(name) != INVALID_FILE_ATTRIBUTES) {
    return false;
  }
  const DWORD error = GetLastError();
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
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
