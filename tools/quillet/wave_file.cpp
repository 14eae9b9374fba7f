#include "wave_file.h"

#include <cstddef>
#include <cstring>
#include <limits>

#include "shared/failure.h"

namespace quillet::client {
namespace {

struct Header {
  char riff[4] = {'R', 'I', 'F', 'F'};
  DWORD riffSize = 0;
  char wave[4] = {'W', 'A', 'V', 'E'};
  char fmt[4] = {'f', 'm', 't', ' '};
  DWORD formatSize = sizeof(PCMWAVEFORMAT);
  PCMWAVEFORMAT format = {};  // The library's samples are PCM, which has nothing after that.
  char data[4] = {'d', 'a', 't', 'a'};
  DWORD dataSize = 0;
};
static_assert(sizeof(Header) == 44);

}  // namespace

WaveFile::WaveFile(const std::filesystem::path& path, const WAVEFORMATEX& format, long long size)
    : file(path), isPadded(size % 2 != 0) {
  if (size > std::numeric_limits<LONG>::max() - 1024) {
    throw writeFailure(path, "a WAV file cannot hold more than 2 GB");
  }
  Header header;
  header.dataSize = static_cast<DWORD>(size);
  header.riffSize = sizeof header - offsetof(Header, wave) + header.dataSize + (isPadded ? 1 : 0);
  std::memcpy(&header.format, &format, sizeof header.format);
  file.write(&header, sizeof header);
}

void WaveFile::finish() {
  if (isPadded) {
    file.write("", 1);  // Chunks begin at even places.
  }
  file.complete();
}

}  // namespace quillet::client
