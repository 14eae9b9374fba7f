// Text between the worlds that the program stands in: UTF-16 from Windows, the ANSI code page of the library, UTF-8 for
// what is printed.

#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include <windows.h>

namespace quillet::cli {

std::string toUtf8(std::wstring_view text);

/// A file name as messages show it.
std::string displayName(const std::filesystem::path& path);

/// A text of the library's in UTF-8.
std::string fromAnsi(const char* text);

/// The name by which the library can open an existing file. When the ANSI code page lacks a letter of the path, that is
/// the file's short name.
std::string libraryFileName(const std::filesystem::path& path);

/// Windows' text for an error code or an HRESULT, with the number.
std::string systemMessage(DWORD code);

}  // namespace quillet::cli
