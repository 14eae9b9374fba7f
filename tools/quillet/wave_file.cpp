#include "wave_file.h"

#include <cstdint>
#include <limits>
#include <string>

#include "shared/failure.h"
#include "shared/text.h"

namespace quillet::client {
namespace {

/// Opens through a file handle: mmioOpen itself gives a '+' in the name a meaning of its own and limits its length.
HMMIO create(const std::filesystem::path& path) {
  HANDLE handle = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    throw writeFailure(path, systemMessage(GetLastError()));
  }
  MMIOINFO info = {};
  info.fccIOProc = FOURCC_DOS;
  info.adwInfo[0] = static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(handle));  // Handles have 32 bits everywhere.
  HMMIO file = mmioOpenW(nullptr, &info, MMIO_WRITE);
  if (file == nullptr) {
    CloseHandle(handle);
    throw writeFailure(path, "multimedia file error " + std::to_string(info.wErrorRet));
  }
  return file;
}

}  // namespace

WaveFile::WaveFile(const std::filesystem::path& path, const WAVEFORMATEX& format, long long size)
    : path(path), unfinished(path) {
  constexpr long headerRoom = 1024;
  if (size > std::numeric_limits<LONG>::max() - headerRoom) {
    throw writeFailure(path, "a WAV file cannot hold more than 2 GB");
  }
  file.reset(create(path));
  unfinished.begin();

  riff.fccType = mmioFOURCC('W', 'A', 'V', 'E');
  require(mmioCreateChunk(file.get(), &riff, MMIO_CREATERIFF));
  MMCKINFO formatChunk = {};
  formatChunk.ckid = mmioFOURCC('f', 'm', 't', ' ');
  require(mmioCreateChunk(file.get(), &formatChunk, 0));
  write(&format, sizeof(PCMWAVEFORMAT));  // The library's samples are PCM, which has nothing after that.
  require(mmioAscend(file.get(), &formatChunk, 0));
  data.ckid = mmioFOURCC('d', 'a', 't', 'a');
  require(mmioCreateChunk(file.get(), &data, 0));
}

void WaveFile::write(const void* bytes, long size) {
  if (mmioWrite(file.get(), static_cast<const char*>(bytes), size) != size) {
    throw writeFailure(path, systemMessage(GetLastError()));
  }
}

void WaveFile::finish() {
  require(mmioAscend(file.get(), &data, 0));
  require(mmioAscend(file.get(), &riff, 0));
  require(mmioClose(file.release(), 0));
  unfinished.finish();
}

void WaveFile::require(MMRESULT result) const {
  if (result != MMSYSERR_NOERROR) {
    throw writeFailure(path, "multimedia file error " + std::to_string(result));
  }
}

}  // namespace quillet::client
