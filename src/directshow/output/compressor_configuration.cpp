#include "directshow/output/compressor_configuration.h"

#include <uuids.h>
#include <wrl/client.h>

// Need strmif.h and uuids.h.
#include <amvideo.h>
#include <dvdmedia.h>

#include <quillet/error_codes.h>

#include "directshow/graph/pins.h"
#include "formats/media_type.h"
#include "ui/audio_compressor_dialog.h"
#include "ui/property_pages.h"
#include "ui/run_dialog.h"
#include "ui/video_compressor_dialog.h"

using Microsoft::WRL::ComPtr;

namespace quillet {
namespace {

/// Finds the pin that a compressor writes to.
int findOutput(IBaseFilter* compressor, ComPtr<IPin>& output) {
  if (compressor == nullptr) {
    return output_error::noCompressorSelected;
  }
  output = firstPin(compressor, PINDIR_OUTPUT);
  return output != nullptr ? ds_error::success : ds_error::noOutputPin;
}

/// The bit rate in the format that a pin gives to its output.
class OutputBitRate {
 public:
  /// @param output null when the compressor cannot have its bit rate changed.
  explicit OutputBitRate(const ComPtr<IPin>& output) {
    AM_MEDIA_TYPE* type = nullptr;
    if (output != nullptr && SUCCEEDED(output.As(&config)) && SUCCEEDED(config->GetFormat(&type))) {
      format.reset(type);
    }
    field = format != nullptr ? fieldOf(*format) : nullptr;
  }

  /// Whether there is one to change.
  bool isKnown() const { return field != nullptr; }
  unsigned long value() const { return *field; }

  /// @return whether the pin has taken the format with this bit rate.
  bool set(unsigned long rate) {
    *field = rate;
    return SUCCEEDED(config->SetFormat(format.get()));
  }

 private:
  static DWORD* fieldOf(AM_MEDIA_TYPE& type) {
    if (type.pbFormat == nullptr) {
      return nullptr;
    }
    if (type.formattype == FORMAT_VideoInfo && type.cbFormat >= sizeof(VIDEOINFOHEADER)) {
      return &reinterpret_cast<VIDEOINFOHEADER*>(type.pbFormat)->dwBitRate;
    }
    if (type.formattype == FORMAT_VideoInfo2 && type.cbFormat >= sizeof(VIDEOINFOHEADER2)) {
      return &reinterpret_cast<VIDEOINFOHEADER2*>(type.pbFormat)->dwBitRate;
    }
    return nullptr;
  }

  ComPtr<IAMStreamConfig> config;
  MediaTypeHandle format;
  DWORD* field = nullptr;
};

/// @return null when the codec has no dialog for its configuration.
ComPtr<IAMVfwCompressDialogs> findCodecDialogs(HWND parent, IBaseFilter& compressor) {
  ComPtr<IAMVfwCompressDialogs> dialogs;
  const HRESULT found =
      compressor.QueryInterface(IID_IAMVfwCompressDialogs, reinterpret_cast<void**>(dialogs.GetAddressOf()));
  const bool isThere = SUCCEEDED(found) && dialogs->ShowDialog(VfwCompressDialog_QueryConfig, parent) != S_FALSE;
  return isThere ? dialogs : nullptr;
}

HRESULT readCapabilities(IAMVideoCompression& compression, long& capabilities) {
  long keyFrameRate = 0;
  long pFrames = 0;
  double quality = 0;
  return compression.GetInfo(nullptr, nullptr, nullptr, nullptr, &keyFrameRate, &pFrames, &quality, &capabilities);
}

int showSettings(HWND parent, const ComPtr<IPin>& output, VideoCompressorParameters& parameters) {
  if (FAILED(readCapabilities(*parameters.compression, parameters.capabilities))) {
    return ds_error::cannotRetrieveCompressionInfo;
  }
  const bool canCrunch = (parameters.capabilities & CompressionCaps_CanCrunch) != 0;
  OutputBitRate bitRate(canCrunch ? output : nullptr);
  if (bitRate.isKnown()) {
    parameters.bitRate = bitRate.value();
  } else {
    parameters.capabilities &= ~CompressionCaps_CanCrunch;
  }
  const INT_PTR result = showVideoCompressorDialog(parent, parameters);
  const bool isAccepted = result == IDOK || result == ds_error::configurationPartlyFailed;
  // Kept for clients (see CONTRIBUTING.md): the format is written also with the bit rate that it had.
  if (isAccepted && bitRate.isKnown() && !bitRate.set(parameters.bitRate)) {
    return ds_error::cannotChangeDataRate;
  }
  return codeOf(result, output_error::dialogCancelled, ds_error::cannotDisplayDialog);
}

}  // namespace

int configureAudioCompressor(HWND parent, IBaseFilter* compressor) {
  ComPtr<IPin> output;
  if (const int error = findOutput(compressor, output)) {
    return error;
  }
  ComPtr<IAMStreamConfig> config;
  if (FAILED(output.As(&config))) {
    return ds_error::notConfigurableFilter;
  }
  return codeOf(showAudioCompressorDialog(parent, *config.Get()), output_error::dialogCancelled,
                ds_error::cannotDisplayDialog);
}

int configureVideoCompressor(HWND parent, IBaseFilter* compressor) {
  ComPtr<IPin> output;
  if (const int error = findOutput(compressor, output)) {
    return error;
  }
  ComPtr<IAMVideoCompression> compression;
  const bool hasSettings = SUCCEEDED(output.As(&compression));
  const PropertyPages pages(*compressor);
  const ComPtr<IAMVfwCompressDialogs> codecDialogs = findCodecDialogs(parent, *compressor);
  VideoCompressorParameters parameters = {pages, codecDialogs.Get(), compression.Get(), 0, 0};
  if (hasSettings) {
    return showSettings(parent, output, parameters);
  }
  return showFurtherConfiguration(parent, parameters) ? ds_error::success : ds_error::notConfigurableFilter;
}

}  // namespace quillet
