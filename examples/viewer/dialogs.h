// The dialogs in which the user chooses a file or a place to go to.

#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include <windows.h>

namespace quillet::viewer {

/// @return nothing when the user cancels, as all dialogs here.
std::optional<std::filesystem::path> chooseMediaFile(HWND parent);

/// @param name a suggestion.
std::optional<std::filesystem::path> chooseImageFile(HWND parent, const std::wstring& name);

/// Where to go: a number or, with a colon or a point, a time in milliseconds.
struct Destination {
  bool isTime = false;
  double value = 0.0;
};

std::optional<Destination> askDestination(HWND parent);

}  // namespace quillet::viewer
