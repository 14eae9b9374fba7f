// The dialog in which the user picks the format that an audio compressor writes.

#pragma once

#include <windows.h>

#include <strmif.h>

namespace quillet {

/// Shows the dialog and waits for its end. The user's choices are set at once; cancelling brings the format back that was
/// set before.
/// @param config of the compressor's output.
/// @return IDOK, IDCANCEL, dialogNotShown or a ds_error code.
INT_PTR showAudioCompressorDialog(HWND parent, IAMStreamConfig& config);

}  // namespace quillet
