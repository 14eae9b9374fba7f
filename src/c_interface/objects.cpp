#include "c_interface/objects.h"

namespace quillet {

HandledStream::HandledStream(int kind, quillet_progress callback, void* user)
    : HandledObject(handledType), kind(kind), notification(callback, user) {}

void HandledStream::own(SourceStream* opened) {
  source.reset(opened);
  video = dynamic_cast<VideoSourceStream*>(opened);
  audio = dynamic_cast<AudioSourceStream*>(opened);
  raw = dynamic_cast<RawDataSourceStream*>(opened);
}

std::optional<std::wstring> wideOf(const char* utf8) {
  if (utf8 == nullptr) {
    return std::nullopt;
  }
  // The terminating zero is counted, but not kept.
  const int size = MultiByteToWideChar(CP_UTF8, 0, utf8, -1, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(std::max(size, 1)) - 1, L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8, -1, wide.data(), size);
  return wide;
}

std::optional<std::string> ansiOf(const char* utf8) {
  const std::optional<std::wstring> wide = wideOf(utf8);
  if (!wide) {
    return std::nullopt;
  }
  const int length = static_cast<int>(wide->size());
  std::string ansi(
      static_cast<std::size_t>(WideCharToMultiByte(CP_ACP, 0, wide->data(), length, nullptr, 0, nullptr, nullptr)),
      '\0');
  WideCharToMultiByte(CP_ACP, 0, wide->data(), length, ansi.data(), static_cast<int>(ansi.size()), nullptr, nullptr);
  return ansi;
}

}  // namespace quillet
