#include "vfw/pcm_reader.h"

#include <algorithm>
#include <cstring>

#include <quillet/error_codes.h>

#include "formats/silence.h"

namespace quillet {

/// Reads `count` samples or as many of them as AVIFile gives at once.
/// @return how many samples of `out` are done, 0 on failure.
long PcmReader::readSome(long position, long count, BYTE* out) const {
  const LONG sampleSize = format.nBlockAlign;
  // A run that AVIFile refuses, or whose samples are not whole ones, is tried again at half its length, down to the
  // single sample, whose outcome counts: so a run fails only where its samples do.
  for (long run = count; run > 1; run /= 2) {
    LONG bytes = 0;
    LONG samples = 0;
    const HRESULT result = AVIStreamRead(aviSource.stream(), position, run, out, run * sampleSize, &bytes, &samples);
    if (result == 0 && samples > 0 && samples <= run && bytes == samples * sampleSize) {
      return samples;
    }
  }
  std::memset(out, silenceOf(format), sampleSize);  // A sample without data is silent.
  return AVIStreamRead(aviSource.stream(), position, 1, out, sampleSize, nullptr, nullptr) == 0 ? 1 : 0;
}

int PcmReader::read(long first, long last, BYTE* out) {
  const long found = aviSource.findPrevious(first);
  if (found == -1) {
    return vfw_error::cannotSeek;
  }
  // AVIFile may find an earlier sample. What lies before the run is read, since an error there counts, but into the
  // room of the run, which then overwrites it.
  for (long position = std::clamp(found, std::min(aviSource.start(), first), first); position <= last;) {
    const bool isBefore = position < first;
    const long count = isBefore ? std::min(first - position, last - first + 1) : last - position + 1;
    BYTE* const destination = isBefore ? out : out + static_cast<std::size_t>(position - first) * format.nBlockAlign;
    const long samples = readSome(position, count, destination);
    if (samples == 0) {
      return vfw_error::errorReadingSamples;
    }
    position += samples;
  }
  return vfw_error::success;
}

}  // namespace quillet
