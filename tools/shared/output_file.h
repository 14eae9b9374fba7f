// What all files that the program writes have in common.

#pragma once

#include <filesystem>
#include <string>
#include <utility>

#include "shared/failure.h"

namespace quillet::client {

/// Removes a file that was begun and not finished. Declare it before what holds the file open: that closes first.
class UnfinishedFile {
 public:
  explicit UnfinishedFile(std::filesystem::path path) : path(std::move(path)) {}
  UnfinishedFile(const UnfinishedFile&) = delete;
  UnfinishedFile& operator=(const UnfinishedFile&) = delete;
  ~UnfinishedFile();

  /// From here on the file is the program's own: it was not there before, or has been overwritten.
  void begin() { isBegun = true; }
  void finish() { isBegun = false; }

 private:
  std::filesystem::path path;
  bool isBegun = false;
};

/// @param reason why `path` cannot be written.
Failure writeFailure(const std::filesystem::path& path, const std::string& reason);

}  // namespace quillet::client
