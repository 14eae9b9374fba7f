#include "shared/text.h"

#include <cmath>
#include <cstdio>
#include <cwctype>
#include <optional>

#include "shared/failure.h"

namespace quillet::client {
namespace {

std::string toMultiByte(UINT codePage, DWORD flags, std::wstring_view text, BOOL* usedDefault) {
  const int length = static_cast<int>(text.size());
  const int size = WideCharToMultiByte(codePage, flags, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string bytes(size, '\0');
  WideCharToMultiByte(codePage, flags, text.data(), length, bytes.data(), size, nullptr, usedDefault);
  return bytes;
}

std::wstring toWide(UINT codePage, std::string_view text) {
  const int length = static_cast<int>(text.size());
  std::wstring wide(MultiByteToWideChar(codePage, 0, text.data(), length, nullptr, 0), L'\0');
  MultiByteToWideChar(codePage, 0, text.data(), length, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

/// @return nothing when the code page lacks a letter of the text.
std::optional<std::string> toAnsi(std::wstring_view text) {
  if (GetACP() == CP_UTF8) {
    return toUtf8(text);  // Has every letter; the conversion then refuses the flag and the question.
  }
  BOOL usedDefault = FALSE;
  std::string bytes = toMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, text, &usedDefault);
  if (usedDefault) {
    return std::nullopt;
  }
  return bytes;
}

/// @return an empty name, with GetLastError() set, when there is none.
std::wstring shortName(const std::filesystem::path& path) {
  std::wstring name(GetShortPathNameW(path.c_str(), nullptr, 0), L'\0');
  name.resize(GetShortPathNameW(path.c_str(), name.data(), static_cast<DWORD>(name.size())));
  return name;
}

}  // namespace

std::string toUtf8(std::wstring_view text) {
  return toMultiByte(CP_UTF8, 0, text, nullptr);
}

std::string displayName(const std::filesystem::path& path) {
  return toUtf8(path.native());
}

std::wstring toUtf16(std::string_view utf8) {
  return toWide(CP_UTF8, utf8);
}

std::string fromAnsi(const char* text) {
  return toUtf8(toWide(CP_ACP, text));
}

std::string libraryFileName(const std::filesystem::path& path) {
  if (const auto name = toAnsi(path.native())) {
    return *name;
  }
  const std::wstring name = shortName(path);
  if (name.empty()) {
    throw Failure("cannot open '" + displayName(path) + "': " + systemMessage(GetLastError()));
  }
  const auto ansiName = toAnsi(name);
  if (!ansiName) {
    throw Failure("cannot open '" + displayName(path) +
                  "': the system's ANSI code page lacks letters of the name, and the file has no short name");
  }
  return *ansiName;
}

std::string timeText(double ms) {
  constexpr long long msPerSecond = 1000;
  constexpr long long msPerMinute = 60 * msPerSecond;
  constexpr long long msPerHour = 60 * msPerMinute;
  const long long size = std::llround(std::abs(ms));
  const std::string hours = size >= msPerHour ? std::to_string(size / msPerHour) + ":" : "";
  char rest[32];
  std::snprintf(rest, sizeof rest, hours.empty() ? "%lld:%02lld.%03lld" : "%02lld:%02lld.%03lld",
                size % msPerHour / msPerMinute, size % msPerMinute / msPerSecond, size % msPerSecond);
  return (ms < 0.0 && size > 0 ? "-" : "") + hours + rest;
}

std::string systemMessage(DWORD code) {
  wchar_t buffer[512];
  DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0, buffer,
                                std::size(buffer), nullptr);
  // The texts end with a full stop and a line break.
  while (length > 0 && (std::iswspace(buffer[length - 1]) || buffer[length - 1] == L'.')) {
    --length;
  }
  char number[16];
  std::snprintf(number, sizeof number, "0x%lX", code);
  if (length == 0) {
    return std::string("error ") + number;
  }
  return toUtf8(std::wstring_view(buffer, length)) + " (" + number + ")";
}

}  // namespace quillet::client
