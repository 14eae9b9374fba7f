// The dialog of a video compressor's settings.

#pragma once

#include <windows.h>

#include <strmif.h>

#include "ui/property_pages.h"

namespace quillet {

/// What the dialog works on. All of it stays the caller's.
struct VideoCompressorParameters {
  const PropertyPages& pages;         ///< Of the compressor; there may be none.
  IAMVfwCompressDialogs* vfwDialogs;  ///< Null when the codec has no dialog of its own.
  IAMVideoCompression* compression;   ///< Of the compressor's output.
  long capabilities;                  ///< Of CompressionCaps; CanCrunch says that the bit rate can be changed. The
                                      ///< dialog takes away what it cannot read.
  unsigned long bitRate;              ///< In bits per second; the dialog may change it.
};

/// Shows the dialog and waits for its end. What the user enters is set when the dialog is accepted; the bit rate is only
/// stored in `parameters`.
/// @return IDOK, IDCANCEL, ds_error::configurationPartlyFailed when some of it was refused, another ds_error code, or
///     dialogNotShown.
INT_PTR showVideoCompressorDialog(HWND parent, VideoCompressorParameters& parameters);

/// Shows the codec's own dialog or, when it has none, the compressor's property pages.
/// @return false when there is neither.
bool showFurtherConfiguration(HWND parent, const VideoCompressorParameters& parameters);

}  // namespace quillet
