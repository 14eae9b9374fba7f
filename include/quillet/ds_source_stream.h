#pragma once

/// @file
/// The sources of the DirectShow backend, on private filter graphs.

#include <quillet/audio_source_stream.h>
#include <quillet/ds_audio_or_video_stream.h>
#include <quillet/video_source_stream.h>

/// A stream of a file that DirectShow can decode, read through a filter graph of its own: source, sample grabber, null
/// renderer. The graph runs on a worker thread and is held at the sample that was asked for.
///
/// The thread that calls must have called QuilletThread(). Every operation fails with code 1 while the stream is not
/// open. Reads return when the sample has come, when the stream has ended, and when the graph has aborted or has
/// delivered nothing for 20 seconds: these last two fail with ds_error::dataNotFound, since nobody knows whether the
/// stream has more. Reads do not wait for a clock, neither for audio nor for video, unless the graph refuses to go
/// without one.
///
/// Graph viewers find the graph. One that somebody has paused is run on by the next read, in half a second; when somebody
/// has stopped it the read fails with ds_error::cannotRunGraph. The reads after a failure seek.
class QUILLET_API DSSourceStream : public DSAudioOrVideoStream, public virtual SourceStream {
 public:
  ~DSSourceStream() override;

  /// @return the stream's duration in milliseconds, -1.0 when it is not open.
  double msDuration() override;

  /// Tunes the choice between decoding on and seeking; the subclasses' own forms tune more. Leaves #lastError alone, but for
  /// code 1 when the stream is not open.
  /// @param quickDecodeThreshold number of samples (video: frames, audio: blocks) that it is quicker to decode than to
  ///     seek over; values below 1 count as 1.
  void config(int quickDecodeThreshold);

 protected:
  DSSourceStream() = default;

  struct Graph;

  /// Lets the graph deliver until it holds a sample, or the stream has ended or aborted.
  /// @return whether #lastError is 0.
  bool run();

  /// Stops the graph and positions it.
  /// @param position stream time in units of 100 ns.
  /// @param toKeyFrame whether the nearest key frame before will do.
  /// @return whether #lastError is 0.
  bool seek(long long position, bool toKeyFrame);

  /// Plays the whole stream once, for its samples to be counted, then rewinds it. Reports phase 0 for each sample and
  /// phase 1 at the end.
  /// @param flag handed to the callback that counts.
  /// @return whether the stream was played to its end and rewound.
  bool parseStream(bool flag);

  /// Takes the code of something that the graph was to do, unless that is 0.
  /// @return whether #lastError is 0.
  bool settle(int code);

  /// Ends all activity of the graph, for good: the first step of every subclass's destructor.
  void shutDown();

  /// The filter graph and the thread that runs it; owned.
  Graph* graph = nullptr;
};

/// Video frames decoded by DirectShow to 24-bit RGB.
///
/// Two frames are kept decoded, the one returned last and the one that follows it, so that reading frames in order costs
/// one decoded frame a call.
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
  ///     failed (ds_error). NULL when no object could be made.
  static DSVideoSourceStream* open(const char* fileName, int streamNumber, QuilletNotification* notification);

  ~DSVideoSourceStream() override;

  /// Makes a frame the current one: the frame itself, or the nearest earlier one when the stream has none of that
  /// number, or the next one with the warning ds_error::nextFrameReturned when it has no earlier one either. Which frame
  /// it is does not depend on what was read before, unless the stream has two within half a frame of one number's time:
  /// then reading on finds the first of them, a seek the second.
  /// @param frame frame number, from 0 to duration() - 1.
  /// @return its number; -1 with code 1, ds_error::parameterOutOfRange, noFrameFound, dataNotFound or a code of the graph
  ///     (cannotCreateThread, cannotRunGraph, cannotStopGraph, getStateFailed, unseekableMedia).
  long findFrame(long frame) override;

  /// @param frame frame number; receives the number of the frame found, -1 when none was.
  /// @return the pixels: format()->biSizeImage bytes, 24-bit RGB in rows filled up to 32 bits, bottom row first unless
  ///     biHeight is negative; valid until the next findFrame() or getFrameBits(). NULL with one of findFrame()'s codes.
  unsigned char* getFrameBits(long& frame) override;

  /// Tunes the search for frames. Leaves #lastError alone, but for code 1 when the stream is not open.
  /// @param quickDecode frames that it is quicker to decode than to seek over; values below 1 count as 1.
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
  int openSource(const char* fileName, int streamNumber);
  int parseFrameRate();
  long searchFrame(long frame);
  void searchBackward(long long position);

  struct Search;
  Search* search = nullptr;
};

/// Audio samples decoded by DirectShow to PCM. What the stream lacks (gaps, a late start, an early end) reads as silence.
///
/// After a seek samples are numbered by the time that the file gives their block. From there on blocks that follow one
/// another are numbered in a row, up to 1 ms off their times; a larger difference, and one that the decoder marks, is a gap
/// or an overlap. So a stream without gaps that is read in order, from its start and in runs of any length, gives each
/// decoded sample once. How far the samples of a run elsewhere are from those depends on how the file tells times:
/// - WAV, PCM in AVI, MP3: not at all; decoded MP3 differs by the decoder's rounding (1 of 32,768).
/// - Matroska, which rounds times to milliseconds: PCM, FLAC and Vorbis up to 0.5 ms (22 samples at 44,100 Hz) early or
///   late, AAC up to 0.8 ms; the same samples otherwise, but for the decoder's rounding. AAC whose encoder replaced noise by
///   its loudness is decoded with another noise each time. At the end of the stream up to 1 ms can be silence.
/// - MS ADPCM in AVI, with the average data rate that ffmpeg writes: 2 samples for each block of 1,012 before it (0.2 % of
///   the time) when it has two channels; with one the length and all times are half the true ones. Read such files in order,
///   or through Video for Windows, where each sample is exact.
class QUILLET_API DSAudioSourceStream : public AudioSourceStream, public DSSourceStream {
 public:
  using AudioSourceStream::getSamples;
  using SourceStream::StreamSampleToTime;
  using SourceStream::StreamTimeToSample;

  /// Opens an audio stream through a filter graph.
  ///
  /// @param fileName name of the file, in the system's ANSI code page.
  /// @param streamNumber number of the stream among the file's audio streams, from 0.
  /// @param notification progress sink, told of phase 2 in backward searches; may be NULL.
  /// @return the stream, to be deleted by the caller; #lastError says whether it is open (ds_error). The warning
  ///     ds_error::cannotChangeReferenceClock leaves it open. NULL when no object could be made.
  static DSAudioSourceStream* open(const char* fileName, int streamNumber, QuilletNotification* notification);

  ~DSAudioSourceStream() override;

  /// A run that begins in a gap of the stream, after a seek or because the last run has ended just before the gap, has
  /// the samples behind the gap at its start and silence behind those. Such a run is not kept for other requests. A run
  /// from farther back has both sides of the gap in their places.
  ///
  /// @return samples `first` to `last`, valid until the next call on this stream; NULL with code 1,
  ///     ds_error::parameterOutOfRange, notEnoughMemory, noFrameFound, dataNotFound or a code of the
  ///     graph.
  unsigned char* getSamples(long first, long last) override;

  /// Tunes the search for samples. Leaves #lastError alone, but for code 1 when the stream is not open.
  /// @param quickDecode blocks that it is quicker to decode than to seek over; values below 1 count as 1.
  /// @param stepBack samples to step back when a seek lands too late and no block was seen yet; values below 1 count as
  ///     1024. Where the stream may be compressed 8 times as many pass after each seek, for the decoder to warm up.
  void config(int quickDecode, int stepBack);

  /// Shows the values of config(), in its units, in a dialog and sets what the user makes of them; 0 is the default.
  /// @param parentWindow the parent's HWND; may be NULL. #lastError is 0 after OK and Cancel, otherwise code 1,
  ///     ds_error::cannotDisplayDialog or cannotAddDialogProperty; but for OK nothing is changed.
  void configure(void* parentWindow) override;

  /// @return the time of a sample in milliseconds, also beyond the stream; -1.0 with code 1, or with the warning
  ///     ds_error::parameterOutOfRange for a negative number.
  double StreamSampleToTime(long& sample) override;

  /// @return the sample at `time` milliseconds, halves up, also beyond the stream; -1 with code 1, or with the warning
  ///     ds_error::parameterOutOfRange when `time` is negative, no number or later than samples can be counted.
  long StreamTimeToSample(double& time) override;

 private:
  DSAudioSourceStream() = default;
  int openSource(const char* fileName, int streamNumber);
  int reserveRun(long count);
  unsigned char* silentRun(long last);
  enum class Reading;
  Reading readRun(long first, long last);
  bool fetchRun();
  bool seekBlocks(long long position);
  bool runToBlock();
  long long stepBackUnits() const;
  Reading concludeRun(long last);
  void learnEnd(long filledUpTo);

  struct Search;
  Search* search = nullptr;
};
