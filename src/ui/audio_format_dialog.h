// The dialog in which the user fixes what an audio format leaves open.

#pragma once

#include <windows.h>

#include <strmif.h>

namespace quillet {

/// Shows the dialog and waits for its end.
/// @param capabilities what can be chosen; after IDOK its minimums are what the user has chosen.
/// @return IDOK, IDCANCEL, dialogNotShown or a ds_error code.
INT_PTR showAudioFormatDialog(HWND parent, AUDIO_STREAM_CONFIG_CAPS& capabilities);

}  // namespace quillet
