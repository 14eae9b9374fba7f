#pragma once

/// @file
/// What every readable stream of a media file has.

#include <quillet/audio_or_video_stream.h>
#include <quillet/dialog_options.h>
#include <quillet/notification.h>
#include <quillet/platform_formats.h>

/// A readable stream: a length, a progress sink, and conversion between sample numbers and stream time.
///
/// Samples (frames, for video) are numbered from 0. Stream time is in milliseconds.
class QUILLET_API SourceStream : public virtual AudioOrVideoStream {
 public:
  /// Opens a decoded stream with the backend that the caller names.
  ///
  /// The calling thread must have called QuilletThread().
  ///
  /// @param fileName name of the media file, in the system's ANSI code page. That may lack letters of the name: the
  ///     forms with a name in UTF-16 open every file.
  /// @param video true for a video stream, false for an audio stream.
  /// @param useDirectShow true for DirectShow, false for Video for Windows.
  /// @param stream number of the stream among the file's streams of that kind, from 0.
  /// @param notification progress sink; may be NULL.
  /// @return the stream, to be deleted by the caller, also when opening failed: then #lastError says why. NULL when no
  ///     object could be made.
  static SourceStream* open(const char* fileName, bool video, bool useDirectShow, int stream,
                            QuilletNotification* notification);

  /// The form above with a name in UTF-16.
  static SourceStream* open(const wchar_t* fileName, bool video, bool useDirectShow, int stream,
                            QuilletNotification* notification);

  /// Opens a decoded stream with Video for Windows or, when that fails or cannot read the first sample of a sound, with
  /// DirectShow; otherwise as the form above.
  static SourceStream* open(const char* fileName, bool video, int stream, QuilletNotification* notification);

  /// The form above with a name in UTF-16.
  static SourceStream* open(const wchar_t* fileName, bool video, int stream, QuilletNotification* notification);

  /// Opens a stream on a thread of its own, behind a modal dialog that shows how that goes on: for long files, or files
  /// of which it is not known.
  ///
  /// The calling thread must have called QuilletThread(). It runs the dialog, which ends with the operation only.
  ///
  /// @param options a combination of quillet::dialog_option values; without any the video stream is opened, decoded, with
  ///     Video for Windows, behind a dialog without a caption.
  /// @param parentWindow the parent's HWND; may be NULL.
  /// @param fileName see the forms above.
  /// @param stream see the forms above.
  /// @param title the dialog's caption with dialog_option::captioned, at most 256 characters; NULL for the text of the
  ///     top-most ancestor of `parentWindow`.
  /// @return what the form above returns that the options choose, or that of RawDataSourceStream. NULL also when the
  ///     dialog could not be shown: nothing was opened then, and the forms above, which show none, still can.
  static SourceStream* open(int options, void* parentWindow, const char* fileName, int stream, const char* title);

  /// The form above with a name in UTF-16.
  static SourceStream* open(int options, void* parentWindow, const wchar_t* fileName, int stream, const char* title);

  /// Closes the stream.
  ~SourceStream() override;

  /// @return whether the stream delivers compressed samples (RawDataSourceStream) rather than decoded ones.
  virtual bool isRawData() = 0;

  /// Shows the backend's tuning dialog for this stream. The outcome is in #lastError: 0 after OK or Cancel, and when the
  /// dialog was closed with its parent; ds_error::cannotDisplayDialog, after which the stream is as usable as before,
  /// although the code counts as fatal.
  /// Video for Windows streams have nothing to tune: vfw_error::noConfigurationDialog, a warning.
  /// @param parentWindow the parent's HWND; may be NULL.
  virtual void configure(void* parentWindow) = 0;

  /// @param sample a sample number; a backend may move it to the sample that it found, with a warning code.
  /// @return the time of that sample in milliseconds, -1.0 on failure.
  virtual double StreamSampleToTime(long& sample) = 0;

  /// @param time a stream time in milliseconds; a backend may move it to the time of the sample that it found, with a
  ///     warning code.
  /// @return the number of the sample at that time, -1 on failure.
  virtual long StreamTimeToSample(double& time) = 0;

  /// @return the stream's duration in milliseconds, -1.0 on failure.
  virtual double msDuration() = 0;

  /// The same as StreamSampleToTime(long&) with the progress dialog of open(int, void*, const char*, int, const char*).
  ///
  /// So are all operations that take these arguments: on a DirectShow stream they run on a thread of their own behind the
  /// dialog, and nothing else may use the stream meanwhile; the stream keeps its progress sink, which is told nothing
  /// meanwhile. On a Video for Windows stream they run at once, without a dialog.
  ///
  /// @param options a combination of dialog_option::startHidden and captioned; the others tell nothing of an open stream.
  /// @param parentWindow the parent's HWND; may be NULL.
  /// @param sample see StreamSampleToTime(long&).
  /// @param title the dialog's caption.
  /// @return see StreamSampleToTime(long&); the failure value, with ds_error::cannotDisplayDialog, also when the dialog
  ///     could not be shown. That code counts as fatal, but nothing was done: the stream is as usable as before, and the
  ///     operation can be had without the dialog.
  double StreamSampleToTime(int options, void* parentWindow, long& sample, const char* title);

  /// StreamTimeToSample(double&) with the progress dialog of StreamSampleToTime(int, void*, long&, const char*).
  long StreamTimeToSample(int options, void* parentWindow, double& time, const char* title);

  /// Describes the stream as a DirectShow video format.
  /// @param info receives the description.
  /// @return `&info`, or NULL when the stream is not open or is not a video stream.
  virtual VIDEOINFOHEADER* videoInfo(VIDEOINFOHEADER& info) = 0;

  /// @return the stream's length in samples (frames, for video); -1 with code 1 when it is not open.
  long duration();

  /// Replaces the progress sink. Does not touch #lastError.
  /// @param sink the new sink, not owned; may be NULL.
  /// @return the sink that it replaces.
  QuilletNotification* notify(QuilletNotification* sink);

  /// @return the present progress sink. Does not touch #lastError.
  QuilletNotification* notify();

 protected:
  /// A stream that is not open.
  SourceStream() = default;

  /// Length in samples (frames, for video); filled by the backend's `open`.
  long length = 0;

  /// Progress sink; not owned.
  QuilletNotification* notification = nullptr;
};
