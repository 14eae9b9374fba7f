#pragma once

/// @file
/// The root of every stream and file object of the library, with the error model that they share.

#include <quillet/export.h>

namespace quillet {
struct Internals;
}

/// Base of every object that the library hands out.
///
/// Each operation leaves its outcome in #lastError (0 on success) and returns a failure value when it has no result:
/// NULL, -1, -1.0 or false. A code is either fatal (the object can only be deleted) or a warning (the result is usable,
/// perhaps approximate). Check the result, then #lastError, then Error_isFatal().
///
/// An object is used from one thread at a time. No exception leaves any operation.
class QUILLET_API AudioOrVideoStream {
 public:
  /// Objects are not copied.
  AudioOrVideoStream(const AudioOrVideoStream&) = delete;
  /// Nor assigned.
  AudioOrVideoStream& operator=(const AudioOrVideoStream&) = delete;

  /// @return the highest code that the backend itself defines: 74 for DirectShow, 40 for Video for Windows.
  virtual int maxLocalErrorCode() = 0;

  /// @return the id of the string resource that holds the message of code 0: 100 for DirectShow, 500 for Video for
  ///     Windows.
  virtual int errorMessages_resourceBase() = 0;

  /// @param code a code from 0 to maxLocalErrorCode().
  /// @return whether the backend holds `code` to be fatal.
  virtual bool local_ErrorIsFatal(int code) = 0;

  /// Closes what the object has open. None of its operations may be running.
  virtual ~AudioOrVideoStream();

  /// @return true for the DirectShow backend, false for Video for Windows.
  virtual bool usesDirectShow() = 0;

  /// @return whether the present #lastError leaves the object unusable.
  virtual bool lastErrorIsFatal();

  /// Looks up the message of the **present** #lastError.
  ///
  /// @param code only opens the way to the look-up, when it is from 0 to 208; the text is that of #lastError, whatever
  ///     `code` is. Call it as `ErrorMessage(lastError)`.
  /// @return the text (at most 127 characters), valid until the next call on this object; NULL when `code` is outside
  ///     0..208 or #lastError has no text.
  const char* ErrorMessage(int code);

  /// Sets #lastError to 0.
  /// @return true when the cleared error was not fatal; false when it had left the object unusable.
  bool resetLastError();

  /// @param code any code; those outside 0..208 and those that neither the backend nor the output files define are
  ///     fatal.
  /// @return whether `code` leaves this object unusable.
  bool Error_isFatal(int code);

 private:
  friend struct quillet::Internals;

  char message[128] = {};

 public:
  /// Code of the last operation's error, 0 on success. The codes are named in error_codes.h.
  int lastError = 0;

 protected:
  /// An object that is not open.
  AudioOrVideoStream();

  /// The first step of every operation: sets code 1 when the object was not successfully opened, and leaves the code
  /// alone otherwise.
  /// @return whether the object is open.
  bool requireOpened();

  /// The last step of a backend's `open` or `create`: keeps its code, and counts the object as open unless that is
  /// fatal.
  void finishOpening(int code);

  /// True until the backend's `open` or `create` succeeds, and again after the `close` of a written file.
  bool notOpened = true;
};
