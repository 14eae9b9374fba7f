// The modal dialog that shows how a long operation goes on, and the worker thread on which the operation runs meanwhile.

#pragma once

#include <functional>

#include <windows.h>

#include <quillet/notification.h>

namespace quillet {

enum class OperationKind { open, findFrame, getFrameBits, getSamples, getData, streamSampleToTime, streamTimeToSample };

/// What the dialog is to show.
struct ProgressDialogParameters {
  /// @param options a combination of dialog_option values.
  /// @param parent may be null.
  /// @param title null for the text of the top-most ancestor of `parent`; only needed for a dialog with a caption.
  ProgressDialogParameters(OperationKind kind, int options, HWND parent, const char* title);

  static constexpr int titleSize = 257;

  OperationKind kind;
  HWND parent;
  bool audio;
  bool raw;
  bool useDirectShow;
  bool automatic;
  bool startHidden;
  bool captioned;
  char title[titleSize] = {};
};

/// Runs an operation on a thread of its own while the dialog is shown, and answers once it is over.
/// @param operation is given the sink of its progress, which it must not use after its end. Must not throw.
/// @return whether the operation ran: false when the dialog or the thread could not be had.
bool runBehindProgressDialog(const ProgressDialogParameters& parameters,
                             const std::function<void(QuilletNotification& sink)>& operation);

}  // namespace quillet
