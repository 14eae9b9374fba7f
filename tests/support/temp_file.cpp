#include "support/temp_file.h"

#include <atomic>
#include <fstream>
#include <iterator>

#include <windows.h>

namespace quillet::test {
namespace {

/// A path in the temporary folder that no other object of any running test program has.
std::string uniquePath(const char* extension) {
  static std::atomic<unsigned> count = 0;
  char folder[MAX_PATH];
  GetTempPathA(sizeof folder, folder);
  return folder + ("quillet-" + std::to_string(GetCurrentProcessId())) + '-' + std::to_string(count++) + extension;
}

}  // namespace

TempFile::TempFile(const char* extension, const Bytes& content) : path(uniquePath(extension)) {
  write(content);
}

TempFile::~TempFile() {
  DeleteFileA(name());
}

TempFolder::TempFolder() : path(uniquePath("")) {
  CreateDirectoryA(name(), nullptr);
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(name(), ignored);  // Also names that the ANSI code page cannot express.
}

void writeFile(const char* name, const Bytes& content) {
  std::ofstream(name, std::ios::binary)
      .write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
}

Bytes readFile(const std::filesystem::path& name) {
  std::ifstream file(name, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(file), {});
}

std::string mediaFile(const char* fileName) {
  // Beside the folder of the programs.
  char program[MAX_PATH];
  GetModuleFileNameA(nullptr, program, sizeof program);
  std::string path = program;
  path.resize(path.rfind('\\', path.rfind('\\') - 1) + 1);
  return path + "media\\" + fileName;
}

}  // namespace quillet::test
