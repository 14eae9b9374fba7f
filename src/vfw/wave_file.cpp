#include "vfw/wave_file.h"

#include <cstdint>

#include <windows.h>

#include <mmreg.h>

#include "platform/handles.h"

namespace quillet {
namespace {

struct Chunk {
  FOURCC id;
  DWORD size;
};

/// Reads a record at a place in the file.
/// @return whether the file holds all of it.
template <class Record>
bool readAt(HANDLE file, std::int64_t place, Record& record) {
  LARGE_INTEGER distance = {};
  distance.QuadPart = place;
  DWORD read = 0;
  return SetFilePointerEx(file, distance, nullptr, FILE_BEGIN) != 0 &&
         ReadFile(file, &record, sizeof record, &read, nullptr) != 0 && read == sizeof record;
}

}  // namespace

bool isWaveOfEmptyBlocks(const wchar_t* fileName) {
  auto* const opened = CreateFileW(fileName, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                   FILE_ATTRIBUTE_NORMAL, nullptr);
  if (opened == INVALID_HANDLE_VALUE) {
    return false;  // AVIFile will say what is wrong with it.
  }
  const KernelHandle file(opened);
  struct {
    Chunk riff;
    FOURCC form;
  } head = {};
  if (!readAt(opened, 0, head) || head.riff.id != FOURCC_RIFF || head.form != mmioFOURCC('W', 'A', 'V', 'E')) {
    return false;
  }
  Chunk chunk = {};
  std::int64_t place = sizeof head;
  constexpr int mostChunks = 1000;  // The format is one of the first.
  for (int i = 0; i < mostChunks && readAt(opened, place, chunk); ++i) {
    PCMWAVEFORMAT format = {};
    if (chunk.id == mmioFOURCC('f', 'm', 't', ' ')) {
      return readAt(opened, place + sizeof chunk, format) && format.wf.nBlockAlign == 0;
    }
    if (chunk.id == mmioFOURCC('d', 'a', 't', 'a')) {
      return false;
    }
    place += std::int64_t{sizeof chunk} + chunk.size + chunk.size % 2;
  }
  return false;
}

}  // namespace quillet
