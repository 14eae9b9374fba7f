#include "vfw/video_compression.h"

#include <utility>

#include <quillet/error_codes.h>

#include "platform/handles.h"

namespace quillet {
namespace {

/// What a compressor answers: 32 bits in both widths. Many have functions that answer a DWORD, so that in 64 bits their
/// error codes arrive without a sign.
LONG answerOf(HIC compressor, UINT message, const void* first, DWORD second) {
  return static_cast<LONG>(ICSendMessage(compressor, message, reinterpret_cast<DWORD_PTR>(first), second));
}

}  // namespace

VideoCompression::~VideoCompression() {
  reset();
}

void VideoCompression::set(const AVICOMPRESSOPTIONS& chosen) {
  if (&chosen != &chosenOptions) {
    reset();
    chosenOptions = chosen;
  }
  hasCompressor = true;
}

int VideoCompression::choose(HWND parent, PAVISTREAM stream) {
  reset();
  chosenOptions = {};
  LPAVICOMPRESSOPTIONS options = &chosenOptions;
  switch (AVISaveOptions(parent, ICMF_CHOOSE_KEYFRAME | ICMF_CHOOSE_DATARATE, 1, &stream, &options)) {
    case TRUE:
      isFromDialog = true;
      return vfw_error::success;
    case FALSE:
      return output_error::dialogCancelled;
    default:
      return vfw_error::compressionDialogError;
  }
}

int VideoCompression::configure(HWND parent) {
  const CompressorHandle compressor(ICOpen(ICTYPE_VIDEO, chosenOptions.fccHandler, ICMODE_COMPRESS));
  if (!compressor) {
    return vfw_error::cannotOpenCodec;
  }
  const LONG taken = answerOf(compressor.get(), ICM_SETSTATE, chosenOptions.lpParms, chosenOptions.cbParms);
  if (taken != static_cast<LONG>(chosenOptions.cbParms)) {
    return vfw_error::corruptCompressorParameters;
  }
  constexpr LONG noDialog = -1;
  if (answerOf(compressor.get(), ICM_CONFIGURE, parent, 0) == noDialog) {
    return vfw_error::noConfigurationDialog;
  }
  return storeState(compressor.get());
}

/// Replaces the state in the options by the compressor's present one.
int VideoCompression::storeState(HIC compressor) {
  const LONG size = answerOf(compressor, ICM_GETSTATE, nullptr, 0);
  if (size < 0) {
    return vfw_error::cannotAccessCodecParameters;
  }
  auto state = std::make_unique<BYTE[]>(static_cast<std::size_t>(size));
  const LONG result = answerOf(compressor, ICM_GETSTATE, state.get(), static_cast<DWORD>(size));
  if (result != 0 && result != size) {
    return vfw_error::cannotAccessCodecParameters;
  }
  if (configuredState == nullptr) {
    savedParms = chosenOptions.lpParms;
    savedParmsSize = chosenOptions.cbParms;
  }
  configuredState = std::move(state);
  chosenOptions.lpParms = configuredState.get();
  chosenOptions.cbParms = static_cast<DWORD>(size);
  return vfw_error::success;
}

void VideoCompression::reset() {
  restoreState();
  if (std::exchange(isFromDialog, false)) {
    LPAVICOMPRESSOPTIONS options = &chosenOptions;
    AVISaveOptionsFree(1, &options);
  }
  hasCompressor = false;
}

/// Gives the options back the state that they came with, so that whoever allocated it can free it.
void VideoCompression::restoreState() {
  if (configuredState == nullptr) {
    return;
  }
  chosenOptions.lpParms = savedParms;
  chosenOptions.cbParms = savedParmsSize;
  configuredState.reset();
}

}  // namespace quillet
