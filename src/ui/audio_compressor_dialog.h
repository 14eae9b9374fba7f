// The dialog in which the user picks the format that an audio compressor writes.

#pragma once

#include <windows.h>

#include <strmif.h>

namespace quillet {

/// Shows the dialog and waits for its end. The user's choices are set at once; cancelling brings the format back that was
/// set before.
/// @param config of the compressor's output.
/// @return IDOK, IDCANCEL, a ds_error code, or -1 or 0 when the dialog cannot be shown.
INT_PTR showAudioCompressorDialog(HWND parent, IAMStreamConfig& config);

}  // namespace quillet
