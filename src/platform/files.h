// What the file system tells of files.

#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace quillet {

/// @return the name that leads to the file also when the current folder is another one.
/// @throws std::bad_alloc
std::wstring fullName(const wchar_t* name);

/// @return bytes; nothing when there is no such file, or it cannot be reached.
std::optional<std::uint64_t> fileLength(const wchar_t* name);

/// Whether the file begins as files of AVI and WAVE do.
bool isRiff(const wchar_t* name);

}  // namespace quillet
