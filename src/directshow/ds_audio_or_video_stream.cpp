#include <quillet/ds_audio_or_video_stream.h>

#include <quillet/error_codes.h>

#include "resources/resource_ids.h"

namespace ds_error = quillet::ds_error;

int DSAudioOrVideoStream::maxLocalErrorCode() {
  return ds_error::stoppedByNotification;
}

int DSAudioOrVideoStream::errorMessages_resourceBase() {
  return IDS_DIRECTSHOW_ERRORS;
}

bool DSAudioOrVideoStream::local_ErrorIsFatal(int code) {
  switch (code) {
    case ds_error::success:
    case ds_error::sampleBeyondData:
    case ds_error::parameterOutOfRange:
    case ds_error::cannotChangeReferenceClock:
    case ds_error::nextFrameReturned:
    case ds_error::graphNotFullyConfigured:
    case ds_error::graphNotStarted:
    case ds_error::cannotFetchCompressor:
    case ds_error::cannotAddDialogProperty:
    case ds_error::cannotGetPresentFormat:
    case ds_error::cannotGetExposedFormats:
    case ds_error::cannotRestoreFormat:
    case ds_error::unused:
    case ds_error::notConfigurableFilter:
    case ds_error::cannotChangeDataRate:
    case ds_error::configurationPartlyFailed:
    case ds_error::nextSampleTimeReturned:
    case ds_error::roughConversion:
    case ds_error::laterSampleReturned:
    case ds_error::cannotStoreVideoInfo:
      return false;
    default:
      return true;
  }
}

DSAudioOrVideoStream::~DSAudioOrVideoStream() = default;

bool DSAudioOrVideoStream::usesDirectShow() {
  return true;
}
