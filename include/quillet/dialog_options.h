#pragma once

/// @file
/// The options of the operations that run behind a progress dialog.

/// Values of the options word, to be combined with `|`.
namespace quillet::dialog_option {

/// What an operation does, and what its dialog looks like.
enum Option : int {
  audio = 1,          ///< Opens the audio stream rather than the video stream.
  raw = 2,            ///< Opens the stream for its compressed samples (RawDataSourceStream).
  useDirectShow = 4,  ///< Opens the stream with DirectShow rather than Video for Windows.
  automatic = 8,  ///< Opens the stream with Video for Windows or, when that fails or cannot read it, with DirectShow.
  startHidden = 16,  ///< The dialog shows up at the operation's first report of progress, if there is one.
  captioned = 32     ///< The dialog has a caption with the title, a system menu and a minimise box.
};

}  // namespace quillet::dialog_option
