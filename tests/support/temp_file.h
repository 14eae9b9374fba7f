// Files that tests make and that vanish with them, and the media files made by the build.

#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace quillet::test {

using Bytes = std::vector<std::uint8_t>;

void writeFile(const char* name, const Bytes& content);

/// A file of a name of its own in the system's temporary folder, deleted at the end.
class TempFile {
 public:
  /// @param extension with its dot. The file holds `content`.
  explicit TempFile(const char* extension, const Bytes& content = {});
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;
  ~TempFile();

  const char* name() const { return path.c_str(); }
  void write(const Bytes& content) const { writeFile(name(), content); }

 private:
  std::string path;
};

/// A folder of a name of its own in the system's temporary folder, deleted at the end with the files in it.
class TempFolder {
 public:
  TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  ~TempFolder();

  const char* name() const { return path.c_str(); }

 private:
  std::string path;
};

/// The content of a file; empty when it cannot be read.
Bytes readFile(const std::filesystem::path& name);

/// The full name of a media file that the build has made.
std::string mediaFile(const char* fileName);

}  // namespace quillet::test
