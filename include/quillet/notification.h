#pragma once

/// @file
/// Progress of long operations, and how to stop them.

#include <quillet/export.h>

/// Receives the progress of a long operation (opening a stream, searching it). Derive from it and hand it to an `open`
/// or to SourceStream::notify(); it stays the client's and must outlive its use by the stream.
class QUILLET_API QuilletNotification {
 public:
  /// No stream may have the sink any more.
  virtual ~QuilletNotification();

  /// Called at each step of a long operation, on the thread that runs the operation or on one of the library's own; it
  /// must neither call back into the stream nor throw.
  ///
  /// @param phase the kind of step: 0 parsing the stream while it is opened, 1 opening it, 2 going back in search of
  ///     a sample, 3 any other long step.
  /// @return not used by the library.
  virtual int progress(int phase) = 0;

  /// Asked at each step, after progress() and on the same thread; it must neither call back into the stream nor throw.
  ///
  /// An open that was stopped leaves no open stream. A stream that was open stays usable, although the code counts as
  /// fatal: the next request works as if the stopped one had not been made. What tells of no steps cannot be stopped.
  ///
  /// @return true: the operation ends as soon as the backend lets it, with ds_error::stoppedByNotification. False
  ///     unless overridden.
  virtual bool stopRequested();
};
