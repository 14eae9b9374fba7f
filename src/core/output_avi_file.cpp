// What all writers of AVI files share. The factories stand above the backends, in factories.cpp.

#include <quillet/output_avi_file.h>

#include <cstddef>
#include <limits>
#include <vector>

#include <windows.h>

#include <commctrl.h>

#include <quillet/error_codes.h>

#include "core/admit.h"
#include "core/operation.h"
#include "core/owned.h"
#include "formats/format_sizes.h"
#include "platform/guarded.h"

namespace common_error = quillet::common_error;
namespace output_error = quillet::output_error;

/// The audio that bufferedWriteSample() has taken, and flushAudio() not written.
struct OutputAVIFile::AudioBuffer {
  /// Makes the buffer as large as `capacity` bytes; a change of the interleaving may have made it too small.
  /// @return code 2 for more than there can be.
  int reserve(long long capacity) {
    if (capacity > std::numeric_limits<long>::max()) {
      return common_error::notEnoughMemory;
    }
    data.reserve(static_cast<std::size_t>(capacity));
    return common_error::success;
  }

  /// Whether samples can go behind those in the buffer.
  /// @param samples what the buffer is to hold at most; so is `capacity`, in bytes.
  bool isContinuedBy(long sample, long count, long bytes, bool key, long samples, long long capacity) const {
    return sample == last + 1 && static_cast<long long>(first) + samples >= static_cast<long long>(sample) + count &&
           static_cast<long long>(data.size()) + bytes <= capacity && key == isKey;
  }

  std::vector<unsigned char> data;
  long first = 0;
  long last = -1;
  bool isKey = false;
};

OutputAVIFile::OutputAVIFile() {
  InitCommonControls();
}

OutputAVIFile::~OutputAVIFile() = default;

bool OutputAVIFile::setInterleavingPeriod(long long) {
  return false;
}

const VIDEOINFOHEADER* OutputAVIFile::videoFormat() {
  quillet::beginOperation(*this);
  return video;
}

const WAVEFORMATEX* OutputAVIFile::audioFormat() {
  quillet::beginOperation(*this);
  return audio;
}

bool OutputAVIFile::compressedVideo() {
  beginOnStream(true);
  return compressVideo;
}

bool OutputAVIFile::compressedAudio() {
  beginOnStream(false);
  return compressAudio;
}

long OutputAVIFile::nextFrame_number() {
  // Kept for clients (see CONTRIBUTING.md): the audio stream is what is asked for.
  return beginOnStream(false) ? nextFrame : -1;
}

long OutputAVIFile::nextSample_number() {
  return beginOnStream(false) ? nextSample : -1;
}

long OutputAVIFile::nextSample_number_inBuffer() {
  if (!beginOnStream(false)) {
    return -1;
  }
  return buffer ? buffer->last + 1 : 0;
}

bool OutputAVIFile::acceptableFormats() {
  if (video == nullptr && audio == nullptr) {
    lastError = output_error::noStreamDefined;
    return false;
  }
  if (video == nullptr || !compressVideo) {
    return true;
  }
  // Of 16 bits only frames with bit fields are taken, of 32 bits only those without.
  const WORD bits = video->bmiHeader.biBitCount;
  const DWORD compression = video->bmiHeader.biCompression;
  const bool isUnacceptable = (bits == 16 && compression != BI_BITFIELDS) ||
                              (bits == 32 && compression == BI_BITFIELDS) || compression == BI_JPEG ||
                              compression == BI_PNG;
  if (isUnacceptable) {
    lastError = output_error::unacceptableVideoFormat;
  }
  return !isUnacceptable;
}

bool OutputAVIFile::bufferedWriteSample(long sample, unsigned char* data, long count, long bytes, bool key) {
  if (!requireStream(false)) {
    return false;
  }
  const long long capacity = static_cast<long long>(bufferSamples) * audio->nBlockAlign;
  const long long sampleBits = quillet::bitsPerSample(*audio);
  const long long size = bytes < 0 ? sampleBits * count / quillet::bitsPerByte : bytes;  // At most 2^63 bits.
  if (data != nullptr && size > capacity) {
    lastError = output_error::audioBufferOverflow;
    return false;
  }
  if (!quillet::admit(*this, sample, data, count, bytes, sampleBits, quillet::bitsPerByte)) {
    return false;
  }
  const int shortage = quillet::guarded([&] {
    if (!buffer) {
      buffer.reset(new AudioBuffer);
    }
    return buffer->reserve(capacity);
  });
  if (shortage != common_error::success) {
    lastError = shortage;
    return false;
  }
  if (!buffer->isContinuedBy(sample, count, bytes, key, bufferSamples, capacity)) {
    if (!flushAudio()) {
      return false;
    }
    buffer->first = sample;
    buffer->isKey = key;
  }
  buffer->last = sample + count - 1;
  buffer->data.insert(buffer->data.end(), data, data + bytes);
  return true;
}

bool OutputAVIFile::flushAudio() {
  if (!requireStream(false)) {
    return false;
  }
  if (!buffer || buffer->data.empty()) {
    return true;
  }
  const bool isWritten = writeSample(buffer->first, buffer->data.data(), buffer->last - buffer->first + 1,
                                     static_cast<long>(buffer->data.size()), buffer->isKey);
  buffer->first = buffer->last + 1;
  buffer->data.clear();
  return isWritten;
}

bool OutputAVIFile::requireStream(bool isVideo) {
  if (!requireOpened()) {
    return false;
  }
  if (isVideo ? video == nullptr : audio == nullptr) {
    lastError = isVideo ? output_error::noVideoStream : output_error::noAudioStream;
    return false;
  }
  return true;
}

bool OutputAVIFile::beginOnStream(bool isVideo) {
  const bool isThere = requireStream(isVideo);
  if (isThere) {
    lastError = common_error::success;
  }
  return isThere;
}

bool OutputAVIFile::requireUnsetCompressor(bool isVideo, bool isSet) {
  if (!requireStream(isVideo)) {
    return false;
  }
  const bool isCompressed = isVideo ? compressVideo : compressAudio;
  if (!isCompressed || isSet) {
    lastError = isCompressed ? output_error::compressorAlreadySet : output_error::directCopyRequired;
    return false;
  }
  return true;
}
