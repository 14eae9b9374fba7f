#include <quillet/vfw_audio_or_video_stream.h>

#include <quillet/error_codes.h>

#include "resources/resource_ids.h"

namespace vfw_error = quillet::vfw_error;

int VfWAudioOrVideoStream::maxLocalErrorCode() {
  return vfw_error::audioCompressionOverflow;
}

int VfWAudioOrVideoStream::errorMessages_resourceBase() {
  return IDS_VFW_ERRORS;
}

bool VfWAudioOrVideoStream::local_ErrorIsFatal(int code) {
  switch (code) {
    case vfw_error::success:
    case vfw_error::parameterOutOfRange:
    case vfw_error::nextFrameReturned:
    case vfw_error::cannotConvertTime:
    case vfw_error::dataNotFound:
    case vfw_error::cannotSetCompressor:
    case vfw_error::noConfigurationDialog:
    case vfw_error::notFullyConfigured:
    case vfw_error::notInterleaved:
      return false;
    default:
      return true;
  }
}

VfWAudioOrVideoStream::~VfWAudioOrVideoStream() = default;

bool VfWAudioOrVideoStream::usesDirectShow() {
  return false;
}
