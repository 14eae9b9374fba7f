#include "shared/text.h"

#include <cmath>
#include <cstdio>
#include <cwctype>

namespace quillet::client {
namespace {

std::string toMultiByte(UINT codePage, std::wstring_view text) {
  const int length = static_cast<int>(text.size());
  const int size = WideCharToMultiByte(codePage, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string bytes(size, '\0');
  WideCharToMultiByte(codePage, 0, text.data(), length, bytes.data(), size, nullptr, nullptr);
  return bytes;
}

std::wstring toWide(UINT codePage, std::string_view text) {
  const int length = static_cast<int>(text.size());
  std::wstring wide(MultiByteToWideChar(codePage, 0, text.data(), length, nullptr, 0), L'\0');
  MultiByteToWideChar(codePage, 0, text.data(), length, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

}  // namespace

std::string toUtf8(std::wstring_view text) {
  return toMultiByte(CP_UTF8, text);
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

std::string toAnsi(std::wstring_view text) {
  return toMultiByte(CP_ACP, text);
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
