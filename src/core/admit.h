// The entrance of everything that is written.

#pragma once

#include <limits>

#include <quillet/error_codes.h>
#include <quillet/output_avi_file.h>

namespace quillet {

/// Settles the size of a run of frames or samples. Sets the backend's code of a write error when there can be no such run:
/// without data, of less than no frames or samples, of numbers or a size beyond a `long`.
/// @param first number of the first frame or sample.
/// @param data the frames or samples.
/// @param count number of them.
/// @param bytes the caller's size, negative when it is to be computed; receives the size.
/// @param size what one takes, in parts of a byte.
/// @param parts how many of them a byte has.
inline bool admit(OutputAVIFile& file, long first, const unsigned char* data, long count, long& bytes, long long size,
                  int parts = 1) {
  constexpr long long most = std::numeric_limits<long>::max();
  const bool isRun = data != nullptr && count >= 0 && first <= most - count;
  // Asked without the product, which may be beyond any number.
  const bool isTooLarge = bytes < 0 && count > 0 && size > most * parts / count;
  if (!isRun || isTooLarge) {
    file.lastError = file.usesDirectShow() ? static_cast<int>(ds_error::writeError) : vfw_error::writeError;
    return false;
  }
  if (bytes < 0) {
    bytes = static_cast<long>(size * count / parts);
  }
  return true;
}

/// What a sample of the format takes, for admit().
inline long long bitsPerSample(const WAVEFORMATEX& format) {
  return static_cast<long long>(format.wBitsPerSample) * format.nChannels;
}

}  // namespace quillet
