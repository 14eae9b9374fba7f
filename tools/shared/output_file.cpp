#include "shared/output_file.h"

#include <algorithm>
#include <cstdint>
#include <system_error>
#include <utility>
#include <vector>

#include "shared/text.h"

namespace quillet::client {
namespace {

constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// The file that is being written, for who ends the program meanwhile. The lock is held for moments, or until that end.
SRWLOCK pendingLock = SRWLOCK_INIT;
const std::filesystem::path* pendingPlaceNow = nullptr;

void setPending(const std::filesystem::path* place) {
  AcquireSRWLockExclusive(&pendingLock);
  pendingPlaceNow = place;
  ReleaseSRWLockExclusive(&pendingLock);
}

Failure systemFailure(const std::filesystem::path& path) {
  return writeFailure(path, systemMessage(GetLastError()));
}

/// Asks before the work is done for what is only needed at its end.
void requireReplaceable(const std::filesystem::path& path) {
  HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE | DELETE, shareAll, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file != INVALID_HANDLE_VALUE) {
    CloseHandle(file);
  } else if (GetLastError() != ERROR_FILE_NOT_FOUND) {
    throw systemFailure(path);
  }
}

/// @return how many of the bytes could not be written; why, the system's last error tells.
std::size_t writeAll(HANDLE file, const void* bytes, std::size_t size) {
  constexpr std::size_t most = 1 << 24;  // At once: less than what some file systems refuse.
  const auto* from = static_cast<const char*>(bytes);
  DWORD written = 0;
  // Ends: each turn writes some of it.
  while (size > 0 && WriteFile(file, from, static_cast<DWORD>(std::min(size, most)), &written, nullptr) != 0) {
    if (written == 0) {
      SetLastError(ERROR_DISK_FULL);
      break;
    }
    from += written;
    size -= written;
  }
  return size;
}

/// Why the disk does not take more of a file than it has; 0 when it does.
DWORD refusalOf(const std::filesystem::path& path) {
  constexpr std::size_t room = 1 << 26;  // A write that has failed may leave what it wanted free.
  const std::vector<char> piece(1 << 20);
  HANDLE file = CreateFileW(path.c_str(), FILE_APPEND_DATA, shareAll, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    return 0;
  }
  DWORD refusal = 0;
  for (std::size_t done = 0; refusal == 0 && done < room; done += piece.size()) {
    refusal = writeAll(file, piece.data(), piece.size()) > 0 ? GetLastError() : 0;
  }
  CloseHandle(file);
  return refusal;
}

/// Closes the file for all who have it open in this program.
void closeForAll(const std::filesystem::path& path) {
  constexpr std::uintptr_t lastHandle = 1 << 13;  // The program has some hundreds, the lowest first.
  constexpr std::uintptr_t step = 4;
  BY_HANDLE_FILE_INFORMATION wanted = {};
  HANDLE file = CreateFileW(path.c_str(), 0, shareAll, nullptr, OPEN_EXISTING, 0, nullptr);
  if (GetFileInformationByHandle(file, &wanted) == 0) {
    return;
  }
  for (std::uintptr_t value = step; value < lastHandle; value += step) {
    auto* const handle = reinterpret_cast<HANDLE>(value);
    BY_HANDLE_FILE_INFORMATION found = {};
    if (GetFileType(handle) == FILE_TYPE_DISK && GetFileInformationByHandle(handle, &found) != 0 &&
        found.dwVolumeSerialNumber == wanted.dwVolumeSerialNumber && found.nFileIndexHigh == wanted.nFileIndexHigh &&
        found.nFileIndexLow == wanted.nFileIndexLow) {
      CloseHandle(handle);
    }
  }
}

}  // namespace

PendingFile::PendingFile(std::filesystem::path targetPath) : target(std::move(targetPath)) {
  requireReplaceable(target);
  const std::wstring name = L"~quillet-" + std::to_wstring(GetCurrentProcessId()) + L"-";
  // Ends: one of the names is free, since a folder cannot have them all.
  for (unsigned number = 0; file == INVALID_HANDLE_VALUE; ++number) {
    pendingPlace = target.parent_path() / (name + std::to_wstring(number) + target.extension().native());
    file = CreateFileW(pendingPlace.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, CREATE_NEW,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE && GetLastError() != ERROR_FILE_EXISTS) {
      throw systemFailure(target);
    }
  }
  setPending(&pendingPlace);
}

PendingFile::~PendingFile() {
  close();
  setPending(nullptr);
  if (!pendingPlace.empty()) {
    DeleteFileW(pendingPlace.c_str());
  }
}

bool PendingFile::replaces() const {
  return GetFileAttributesW(target.c_str()) != INVALID_FILE_ATTRIBUTES;
}

void PendingFile::write(const void* bytes, std::size_t size) {
  if (writeAll(file, bytes, size) > 0) {
    throw systemFailure(target);
  }
  written += size;
}

void PendingFile::complete() {
  close();
  std::error_code error;
  if (const auto size = std::filesystem::file_size(pendingPlace, error); error || size < written) {
    throw failure("not all of it has arrived");
  }
  setPending(nullptr);
  const std::filesystem::path kept = std::exchange(pendingPlace, {});
  if (MoveFileExW(kept.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING) == 0) {
    throw writeFailure(target, systemMessage(GetLastError()) + "; it is complete, as '" + displayName(kept) + "'");
  }
}

Failure PendingFile::failure(const std::string& reason) const {
  const DWORD refusal = refusalOf(pendingPlace);
  return writeFailure(target, refusal != 0 ? systemMessage(refusal) : reason);
}

void PendingFile::abandon() {
  AcquireSRWLockExclusive(&pendingLock);
  if (pendingPlaceNow != nullptr) {
    closeForAll(*pendingPlaceNow);
    DeleteFileW(pendingPlaceNow->c_str());
  }
}

void PendingFile::close() {
  if (file != INVALID_HANDLE_VALUE) {
    CloseHandle(std::exchange(file, INVALID_HANDLE_VALUE));
  }
}

Failure writeFailure(const std::filesystem::path& path, const std::string& reason) {
  return Failure("cannot write '" + displayName(path) + "': " + reason);
}

}  // namespace quillet::client
