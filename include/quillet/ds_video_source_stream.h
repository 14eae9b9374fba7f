#pragma once

/// @file
/// Decoded video by frame number, through DirectShow.

#include <quillet/ds_source_stream.h>
#include <quillet/owned.h>
#include <quillet/video_source_stream.h>

/// Video frames decoded by DirectShow to 24-bit RGB.
///
/// Two frames are kept decoded, the one returned last and the one that follows it, so that reading frames in order costs
/// one decoded frame a call; and once somebody goes back, as many as setFrameBudget() allows.
class QUILLET_API DSVideoSourceStream : public VideoSourceStream, public DSSourceStream {
 public:
  using SourceStream::StreamSampleToTime;
  using SourceStream::StreamTimeToSample;
  using VideoSourceStream::findFrame;
  using VideoSourceStream::getFrameBits;

  /// Opens a video stream through a filter graph. A file whose streams tell no frame rate is played through once.
  ///
  /// @param fileName name of the file, in the system's ANSI code page.
  /// @param streamNumber number of the stream among the file's video streams, from 0.
  /// @param notification progress sink, told of phases 0 and 1 while the stream is played through and of phase 2 in
  ///     backward searches; may be NULL.
  /// @return the stream, to be deleted by the caller; #lastError is 0 when it is open, otherwise says which step
  ///     failed, or that the sink has stopped it (ds_error). NULL when no object could be made.
  static DSVideoSourceStream* open(const char* fileName, int streamNumber, QuilletNotification* notification);

  /// The form above with a name in UTF-16.
  static DSVideoSourceStream* open(const wchar_t* fileName, int streamNumber, QuilletNotification* notification);

  /// Ends the graph and its thread, and closes the stream.
  ~DSVideoSourceStream() override;

  /// Makes a frame the current one: the frame itself, or the nearest earlier one when the stream has none of that
  /// number, or the next one with the warning ds_error::nextFrameReturned when it has no earlier one either. Which frame
  /// it is does not depend on what was read before, unless the stream has two within half a frame of one number's time:
  /// then reading on finds the first of them, a seek the second.
  /// @param frame frame number, from 0 to duration() - 1.
  /// @return its number; -1 with code 1, ds_error::parameterOutOfRange, noFrameFound, dataNotFound,
  ///     stoppedByNotification or a code of the graph (cannotCreateThread, cannotRunGraph, cannotStopGraph,
  ///     getStateFailed, unseekableMedia).
  long findFrame(long frame) override;

  /// @param frame frame number; receives the number of the frame found, -1 when none was.
  /// @return the pixels: format()->biSizeImage bytes, 24-bit RGB in rows filled up to 32 bits, bottom row first unless
  ///     biHeight is negative; valid until the next findFrame() or getFrameBits(). NULL with one of findFrame()'s codes.
  unsigned char* getFrameBits(long& frame) override;

  /// Tunes the search for frames. Leaves #lastError alone, but for code 1 when the stream is not open.
  /// @param quickDecode frames that it is quicker to decode than to seek over; values below 1 count as 1. Until it is set,
  ///     what seeks and frames have cost so far decides (1 with a frame budget of 0).
  /// @param backtrackStep first step back, in frames, when a seek lands after the wanted frame; values below 1 count as
  ///     `quickDecode`.
  /// @param growthRatio factor by which the step grows; values below 1 count as 2.
  void config(int quickDecode, int backtrackStep, int growthRatio);

  /// Shows the values of config(), in its units, in a dialog and sets what the user makes of them; 0 is the default. The
  /// dialog's largest growth ratio is 7: OK turns a larger one into that.
  /// @param parentWindow the parent's HWND; may be NULL. #lastError is 0 after OK and Cancel, otherwise code 1,
  ///     ds_error::cannotDisplayDialog or cannotAddDialogProperty; but for OK nothing is changed.
  void configure(void* parentWindow) override;

  /// @return the time of frame `frame` at the stream's frame rate, in milliseconds, also beyond the stream; -1.0 with code
  ///     1, or with the warning ds_error::parameterOutOfRange for a negative number.
  double StreamSampleToTime(long& frame) override;

  /// @return the frame at `time` milliseconds at the stream's frame rate, halves up, also beyond the stream; -1 with code 1,
  ///     or with the warning ds_error::parameterOutOfRange when `time` is negative, no number or later than frames can be
  ///     counted.
  long StreamTimeToSample(double& time) override;

 private:
  DSVideoSourceStream() = default;
  int openSource(const wchar_t* fileName, int streamNumber);
  int parseFrameRate();
  bool mustSeek(long frame);
  long framesToPass(long frame) const;
  long long positionOf(long frame) const;
  bool readOn();
  bool seekFrame(long frame, long passed);
  long searchFrame(long frame);
  void searchBackward(long long position);

  struct Search;
  quillet::Owned<Search> search;
};
