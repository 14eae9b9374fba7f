#include "vfw/video_compression.h"

#include <utility>

#include <quillet/error_codes.h>

#include "platform/handles.h"

namespace quillet {

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
  const LRESULT taken = ICSendMessage(compressor.get(), ICM_SETSTATE,
                                      reinterpret_cast<DWORD_PTR>(chosenOptions.lpParms), chosenOptions.cbParms);
  if (taken != static_cast<LRESULT>(chosenOptions.cbParms)) {
    return vfw_error::corruptCompressorParameters;
  }
  constexpr LRESULT noDialog = -1;
  if (ICSendMessage(compressor.get(), ICM_CONFIGURE, reinterpret_cast<DWORD_PTR>(parent), 0) == noDialog) {
    return vfw_error::noConfigurationDialog;
  }
  return storeState(compressor.get());
}

/// Replaces the state in the options by the compressor's present one.
int VideoCompression::storeState(HIC compressor) {
  const LRESULT size = ICSendMessage(compressor, ICM_GETSTATE, 0, 0);
  if (size < 0) {
    return vfw_error::cannotAccessCodecParameters;
  }
  auto state = std::make_unique<BYTE[]>(static_cast<std::size_t>(size));
  const LRESULT result = ICSendMessage(compressor, ICM_GETSTATE, reinterpret_cast<DWORD_PTR>(state.get()), size);
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
