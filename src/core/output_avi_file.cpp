// What all writers of AVI files share. The factories stand above the backends, in factories.cpp.

#include <quillet/output_avi_file.h>

#include <cstring>
#include <limits>
#include <new>

#include <windows.h>

#include <commctrl.h>

#include <quillet/error_codes.h>

namespace common_error = quillet::common_error;
namespace ds_error = quillet::ds_error;
namespace output_error = quillet::output_error;
namespace vfw_error = quillet::vfw_error;

OutputAVIFile::OutputAVIFile() {
  InitCommonControls();
}

OutputAVIFile::~OutputAVIFile() {
  delete[] buffer;
}

bool OutputAVIFile::setInterleavingPeriod(long long) {
  return false;
}

const VIDEOINFOHEADER* OutputAVIFile::videoFormat() {
  if (requireOpened()) {
    lastError = common_error::success;
  }
  return video;
}

const WAVEFORMATEX* OutputAVIFile::audioFormat() {
  if (requireOpened()) {
    lastError = common_error::success;
  }
  return audio;
}

bool OutputAVIFile::compressedVideo() {
  if (requireStream(true)) {
    lastError = common_error::success;
  }
  return compressVideo;
}

bool OutputAVIFile::compressedAudio() {
  if (requireStream(false)) {
    lastError = common_error::success;
  }
  return compressAudio;
}

long OutputAVIFile::nextFrame_number() {
  // Kept for clients (see CONTRIBUTING.md): the audio stream is what is asked for.
  if (!requireStream(false)) {
    return -1;
  }
  lastError = common_error::success;
  return nextFrame;
}

long OutputAVIFile::nextSample_number() {
  if (!requireStream(false)) {
    return -1;
  }
  lastError = common_error::success;
  return nextSample;
}

long OutputAVIFile::nextSample_number_inBuffer() {
  if (!requireStream(false)) {
    return -1;
  }
  lastError = common_error::success;
  return bufferLast + 1;
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
  const long long size = bytes < 0 ? bitsPerSample() * count / bitsPerByte : bytes;  // At most 2^63 bits.
  if (data != nullptr && size > capacity) {
    lastError = output_error::audioBufferOverflow;
    return false;
  }
  if (!admit(sample, data, count, bytes, bitsPerSample(), bitsPerByte)) {
    return false;
  }
  if (!reserveBuffer(capacity)) {
    lastError = common_error::notEnoughMemory;
    return false;
  }
  if (continuesBuffer(sample, count, bytes, key, capacity)) {
    std::memcpy(buffer + bufferBytes, data, static_cast<std::size_t>(bytes));
    bufferBytes += bytes;
    bufferLast = sample + count - 1;
    return true;
  }
  if (!flushAudio()) {
    return false;
  }
  bufferFirst = sample;
  bufferLast = sample + count - 1;
  bufferKey = key;
  std::memcpy(buffer, data, static_cast<std::size_t>(bytes));
  bufferBytes = bytes;
  return true;
}

bool OutputAVIFile::flushAudio() {
  if (!requireStream(false)) {
    return false;
  }
  if (buffer == nullptr || bufferBytes == 0) {
    return true;
  }
  const bool isWritten = writeSample(bufferFirst, buffer, bufferLast - bufferFirst + 1, bufferBytes, bufferKey);
  bufferFirst = bufferLast + 1;
  bufferBytes = 0;
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

bool OutputAVIFile::admit(long first, const unsigned char* data, long count, long& bytes, long long size, int parts) {
  constexpr long long most = std::numeric_limits<long>::max();
  const bool isRun = data != nullptr && count >= 0 && first <= most - count;
  // Asked without the product, which may be beyond any number.
  const bool isTooLarge = bytes < 0 && count > 0 && size > most * parts / count;
  if (!isRun || isTooLarge) {
    lastError = usesDirectShow() ? static_cast<int>(ds_error::writeError) : vfw_error::writeError;
    return false;
  }
  if (bytes < 0) {
    bytes = static_cast<long>(size * count / parts);
  }
  return true;
}

long long OutputAVIFile::bitsPerSample() const {
  return static_cast<long long>(audio->wBitsPerSample) * audio->nChannels;
}

/// Makes the buffer as large as `capacity` bytes; a change of the interleaving may have made it too small.
bool OutputAVIFile::reserveBuffer(long long capacity) {
  if (buffer != nullptr && bufferCapacity >= capacity) {
    return true;
  }
  if (capacity > std::numeric_limits<long>::max()) {
    return false;
  }
  auto* const larger = new (std::nothrow) unsigned char[static_cast<std::size_t>(capacity)];
  if (larger == nullptr) {
    return false;
  }
  if (buffer != nullptr) {
    std::memcpy(larger, buffer, static_cast<std::size_t>(bufferBytes));
    delete[] buffer;
  }
  buffer = larger;
  bufferCapacity = capacity;
  return true;
}

/// Whether samples go behind those in the buffer.
bool OutputAVIFile::continuesBuffer(long sample, long count, long long bytes, bool key, long long capacity) const {
  return sample == bufferLast + 1 &&
         static_cast<long long>(bufferFirst) + bufferSamples >= static_cast<long long>(sample) + count &&
         bufferBytes + bytes <= capacity && key == bufferKey;
}
