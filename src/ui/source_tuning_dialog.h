// The dialogs in which a user tunes how a DirectShow source chooses between decoding on and seeking.

#pragma once

#include <windows.h>

namespace quillet {

/// What the dialog of audio streams shows and changes. 0 asks for the default.
struct SearchTuning {
  int quickDecode = 0;  ///< What it is quicker to decode than to seek over, in the units of the stream's config().
  int stepBack = 0;     ///< How far to go back when a seek lands too late, in those units.
};

/// The same of the dialog of video streams.
struct FrameSearchTuning : SearchTuning {
  int growthRatio = 0;  ///< By which the step back grows; the dialog offers up to 7, and shows a larger one as 7.
};

/// Shows the dialog and waits for its end.
/// @param parent may be null.
/// @param tuning changed only when the result is IDOK; the values are as the user has entered them, 0 where that was no
///     number.
/// @return IDOK, IDCANCEL, dialogNotShown or a ds_error code.
INT_PTR showSourceTuningDialog(HWND parent, SearchTuning& tuning);
INT_PTR showSourceTuningDialog(HWND parent, FrameSearchTuning& tuning);

}  // namespace quillet
