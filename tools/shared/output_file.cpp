#include "shared/output_file.h"

#include <windows.h>

#include "shared/text.h"

namespace quillet::client {

UnfinishedFile::~UnfinishedFile() {
  if (isBegun) {
    DeleteFileW(path.c_str());
  }
}

Failure writeFailure(const std::filesystem::path& path, const std::string& reason) {
  return Failure("cannot write '" + displayName(path) + "': " + reason);
}

}  // namespace quillet::client
