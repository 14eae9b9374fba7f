// What the file system tells of files.

#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace quillet {

/// @param name in the system's ANSI code page.
/// @return the name that leads to the file also when the current folder is another one.
/// @throws std::bad_alloc
std::string fullName(const char* name);

/// @return bytes; nothing when there is no such file, or it cannot be reached.
std::optional<std::uint64_t> fileLength(const char* name);
/// @copydoc fileLength
std::optional<std::uint64_t> fileLength(const wchar_t* name);

/// Whether the file begins as files of AVI and WAVE do.
bool isRiff(const char* name);

}  // namespace quillet
