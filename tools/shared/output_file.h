// What all files that the program writes have in common.

#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include <windows.h>

#include "shared/failure.h"

namespace quillet::client {

/// A file that is being written. It stands beside the place that it is for, under a name of its own with the same
/// extension, and takes that place when it is complete: what was there stays until then, and for good when the file is
/// not completed, which is removed.
///
/// There is one at a time. Declare it before what holds it open by its name: that closes first.
class PendingFile {
 public:
  /// Makes the file, empty. A Failure when that cannot be, or nothing may be put in place of what is there.
  explicit PendingFile(std::filesystem::path target);
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;
  ~PendingFile();

  /// Where the file is until it is complete.
  const std::filesystem::path& place() const { return pendingPlace; }

  /// Whether there is a file in the place that this one is for.
  bool replaces() const;

  /// Appends to the file; a Failure when not all of it could be written.
  void write(const void* bytes, std::size_t size);

  /// Lets somebody else write the file, who opens it by its name.
  void handOver() { close(); }

  /// Puts the file where it belongs; to be called when nobody has it open. What cannot be put there is kept, and the Failure
  /// says where.
  void complete();

  /// Why the file could not be written: the system's own reason where it takes no more of the file, and else what its
  /// writer says. That of the system can be had only when nobody has the file open.
  Failure failure(const std::string& reason) const;

  /// Removes the file that is being written now, as far as it can be removed while others write it. For a program that ends
  /// at once: whoever has to do with such a file waits from here on.
  static void abandon();

 private:
  void close();

  const std::filesystem::path target;
  std::filesystem::path pendingPlace;
  HANDLE file = INVALID_HANDLE_VALUE;
  std::uint64_t written = 0;
};

/// @param reason why `path` cannot be written.
Failure writeFailure(const std::filesystem::path& path, const std::string& reason);

}  // namespace quillet::client
