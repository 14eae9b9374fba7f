// The dialogs in which the user chooses a file or a place to go to.

#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include <windows.h>

namespace quillet::viewer {

/// @return nothing when the user cancels.
std::optional<std::filesystem::path> chooseMediaFile(HWND parent);

/// @param suggestion the file's name without the extension, which is .png.
std::optional<std::filesystem::path> chooseImageFile(HWND parent, const std::wstring& suggestion);

/// Where to go: a number, or a time in milliseconds.
struct Destination {
  bool isTime = false;
  double value = 0.0;
};

/// @return nothing when the user cancels.
std::optional<Destination> askDestination(HWND parent);

}  // namespace quillet::viewer
