#include "vfw/avi_source.h"

#include <algorithm>
#include <cstdint>
#include <string>

#include <quillet/error_codes.h>

#include "platform/files.h"
#include "vfw/wave_file.h"

namespace quillet {
namespace {

/// Whether the file has places that AVIFile cannot count: of such a file it finds the first part, or no end of its search.
bool isTooLarge(const wchar_t* fileName) {
  constexpr std::uint64_t most = 0x7FFFFFFF;
  return fileLength(fileName).value_or(0) > most && isRiff(fileName);  // AVIFile's own readers read no others.
}

}  // namespace

int AviSource::open(const wchar_t* fileName, DWORD kind, int index) {
  const std::wstring name = fileName != nullptr ? nameForAviFile(fileName, FileUse::read) : std::wstring();
  if (isWaveOfEmptyBlocks(name.c_str())) {
    return vfw_error::cannotRetrieveFormat;
  }
  PAVISTREAM opened = nullptr;
  if (name.empty() || isTooLarge(name.c_str()) ||
      AVIStreamOpenFromFileW(&opened, name.c_str(), kind, index, OF_READ, nullptr) != 0) {
    return vfw_error::cannotOpenSourceFile;
  }
  aviStream.reset(opened);
  hasInformation = AVIStreamInfoA(opened, &info, sizeof info) == 0;
  // A file that was cut short may have none of the samples that its header tells of. The first one is quickly found.
  isHollow = hasFixedSampleSize() && find(start(), FIND_NEXT | FIND_ANY) == -1;
  return vfw_error::success;
}

int AviSource::readFormat(std::vector<BYTE>& format, LONG leastSize, std::size_t recordSize) const {
  LONG size = 0;
  if (AVIStreamReadFormat(stream(), 0, nullptr, &size) != 0 || size < leastSize) {
    return vfw_error::cannotRetrieveFormat;
  }
  format.resize(std::max(static_cast<std::size_t>(size), recordSize));
  if (AVIStreamReadFormat(stream(), 0, format.data(), &size) != 0) {
    return vfw_error::cannotRetrieveFormat;
  }
  return vfw_error::success;
}

LONG AviSource::find(LONG sample, LONG flags) const {
  const LONG first = start();
  const bool goesBack = (flags & FIND_PREV) != 0;
  if (goesBack && sample < first) {
    return -1;
  }
  const LONG from = std::max(sample, first);
  const LONG found = AVIStreamFindSample(stream(), from, flags);
  // What lies elsewhere is no answer.
  const bool isThere = goesBack ? found >= 0 && found <= from : found >= from && std::int64_t{found} - first < length();
  return isThere ? found : -1;
}

LONG AviSource::findPrevious(LONG sample) const {
  if (!hasFixedSampleSize()) {
    return find(sample, FIND_PREV | FIND_ANY);
  }
  return isHollow ? -1 : sample;
}

int AviSource::findSample(LONG sample, LONG& found) const {
  found = findPrevious(sample);
  if (found != -1) {
    return vfw_error::success;
  }
  found = find(sample + 1, FIND_NEXT | FIND_ANY);
  return found != -1 ? vfw_error::nextFrameReturned : vfw_error::noFrameFound;
}

LONG AviSource::timeOf(LONG sample) const {
  return hasTimes() && sample >= 0 ? std::max(AVIStreamSampleToTime(stream(), sample), -1L) : -1;
}

LONG AviSource::sampleAt(LONG ms) const {
  return hasTimes() && ms >= 0 ? std::max(AVIStreamTimeToSample(stream(), ms), -1L) : -1;
}

}  // namespace quillet
