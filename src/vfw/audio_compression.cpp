#include "vfw/audio_compression.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include <quillet/error_codes.h>

namespace quillet {

int AudioCompression::set(const AVICOMPRESSOPTIONS& chosen, const WAVEFORMATEX& source) {
  chosenOptions = chosen;
  HACMSTREAM opened = nullptr;
  const bool isOpen = chosenOptions.lpFormat != nullptr && format().nBlockAlign != 0 &&
                      acmStreamOpen(&opened, nullptr, const_cast<WAVEFORMATEX*>(&source),
                                    static_cast<WAVEFORMATEX*>(chosenOptions.lpFormat), nullptr, 0, 0,
                                    ACM_STREAMOPENF_NONREALTIME) == 0;
  if (!isOpen) {
    chosenFormat = {};
    return vfw_error::cannotSetCompressor;
  }
  acmStream.reset(opened);
  return vfw_error::success;
}

int AudioCompression::choose(HWND parent, const WAVEFORMATEX& source) {
  DWORD size = 0;
  if (acmMetrics(nullptr, ACM_METRIC_MAX_SIZE_FORMAT, &size) != 0) {
    return vfw_error::unknownMaximumFormatSize;
  }
  std::vector<BYTE> format(size);
  ACMFORMATCHOOSEA dialog = {};
  dialog.cbStruct = sizeof dialog;
  dialog.hwndOwner = parent;
  dialog.pwfx = reinterpret_cast<WAVEFORMATEX*>(format.data());
  dialog.cbwfx = size;
  dialog.fdwEnum = ACM_FORMATENUMF_CONVERT;
  dialog.pwfxEnum = const_cast<WAVEFORMATEX*>(&source);
  switch (acmFormatChooseA(&dialog)) {
    case 0:
      break;
    case MMSYSERR_NODRIVER:
      return vfw_error::noAudioCompressor;
    case ACMERR_CANCELED:
      return output_error::dialogCancelled;
    default:
      return vfw_error::compressionDialogError;
  }
  chosenFormat = std::move(format);
  chosenOptions = {};
  chosenOptions.fccType = streamtypeAUDIO;
  chosenOptions.lpFormat = chosenFormat.data();
  chosenOptions.cbFormat = size;
  return vfw_error::success;
}

int AudioCompression::start(long long mostBytes) {
  if (mostBytes > std::numeric_limits<long>::max()) {
    return vfw_error::notEnoughMemory;
  }
  conversion.unprepare();
  const auto capacity = static_cast<DWORD>(mostBytes);
  samples.resize(capacity);
  DWORD compressedSize = 0;
  if (acmStreamSize(acmStream.get(), capacity, &compressedSize, ACM_STREAMSIZEF_SOURCE) != 0) {
    return vfw_error::cannotInitializeAudioCompressor;
  }
  compressed.resize(compressedSize);
  if (!conversion.prepare(acmStream.get(), samples.data(), capacity, compressed.data(), compressedSize)) {
    return vfw_error::cannotInitializeAudioCompressor;
  }
  conversion->cbSrcLength = 0;
  isStarted = false;
  return vfw_error::success;
}

int AudioCompression::convert(const unsigned char* data, DWORD size) {
  if (size > samples.size() - conversion->cbSrcLength) {
    return vfw_error::audioCompressionOverflow;
  }
  if (!isStarted) {
    nextBlock = 0;
  }
  std::memcpy(samples.data() + conversion->cbSrcLength, data, size);
  conversion->cbSrcLength += size;
  const DWORD start = isStarted ? 0 : ACM_STREAMCONVERTF_START;
  if (acmStreamConvert(acmStream.get(), conversion.get(), ACM_STREAMCONVERTF_BLOCKALIGN | start) != 0) {
    return vfw_error::audioCompressionFailure;
  }
  isStarted = true;
  const DWORD converted = std::min(conversion->cbSrcLengthUsed, conversion->cbSrcLength);
  conversion->cbSrcLength -= converted;
  std::memmove(samples.data(), samples.data() + converted, conversion->cbSrcLength);
  return vfw_error::success;
}

bool AudioCompression::finish() {
  return conversion.isPrepared() && acmStreamConvert(acmStream.get(), conversion.get(), ACM_STREAMCONVERTF_END) == 0 &&
         outputSize() > 0;
}

void AudioCompression::close() {
  conversion.unprepare();
  acmStream.reset();
}

}  // namespace quillet
