// Text between the worlds that the program stands in: UTF-16 from Windows, the ANSI code page of the library's texts,
// UTF-8 for what is printed.

#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include <windows.h>

namespace quillet::client {

std::string toUtf8(std::wstring_view text);
std::wstring toUtf16(std::string_view utf8);

/// A file name as messages show it.
std::string displayName(const std::filesystem::path& path);

/// A text of the library's in UTF-8.
std::string fromAnsi(const char* text);

/// A text for the library to show; what the ANSI code page lacks becomes the nearest that it has.
std::string toAnsi(std::wstring_view text);

/// A time of a stream as people write it: 1:02:03.450, without hours that are not there. Rounded to a millisecond.
std::string timeText(double ms);

/// Windows' text for an error code or an HRESULT, with the number.
std::string systemMessage(DWORD code);

}  // namespace quillet::client
