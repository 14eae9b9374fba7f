#include <quillet/audio_or_video_stream.h>

#include <quillet/error_codes.h>

#include <windows.h>

#include "platform/module.h"

namespace {

constexpr int firstOutputCode = quillet::output_error::noVideoStream;
constexpr int lastCode = quillet::output_error::audioBufferOverflow;

bool isCode(int code) {
  return code >= 0 && code <= lastCode;
}

bool isFatalOutputCode(int code) {
  return code == quillet::output_error::noStreamDefined || code == quillet::output_error::unacceptableVideoFormat ||
         code == quillet::output_error::audioBufferOverflow;
}

}  // namespace

AudioOrVideoStream::AudioOrVideoStream() = default;

AudioOrVideoStream::~AudioOrVideoStream() = default;

bool AudioOrVideoStream::lastErrorIsFatal() {
  return Error_isFatal(lastError);
}

const char* AudioOrVideoStream::ErrorMessage(int code) {
  if (!isCode(code)) {
    return nullptr;
  }
  // Kept for clients (see CONTRIBUTING.md): the text is that of the last error, the argument only gates the call.
  const UINT id = static_cast<UINT>(errorMessages_resourceBase()) + static_cast<UINT>(lastError);
  return quillet::loadMessage(id, message);
}

bool AudioOrVideoStream::resetLastError() {
  const bool wasFatal = lastErrorIsFatal();
  lastError = quillet::common_error::success;
  return !wasFatal;
}

bool AudioOrVideoStream::Error_isFatal(int code) {
  if (!isCode(code)) {
    return true;
  }
  if (code >= firstOutputCode) {
    return isFatalOutputCode(code);
  }
  return code > maxLocalErrorCode() || local_ErrorIsFatal(code);
}

bool AudioOrVideoStream::requireOpened() {
  if (notOpened) {
    lastError = quillet::common_error::notOpened;
  }
  return !notOpened;
}

void AudioOrVideoStream::finishOpening(int code) {
  lastError = code;
  notOpened = Error_isFatal(code);
}
