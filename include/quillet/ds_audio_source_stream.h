#pragma once

/// @file
/// Decoded audio by sample number, through DirectShow.

#include <quillet/audio_source_stream.h>
#include <quillet/ds_source_stream.h>
#include <quillet/owned.h>

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

  /// The form above with a name in UTF-16.
  static DSAudioSourceStream* open(const wchar_t* fileName, int streamNumber, QuilletNotification* notification);

  /// Ends the graph and its thread, and closes the stream.
  ~DSAudioSourceStream() override;

  /// A run that begins in a gap of the stream, after a seek or because the last run has ended just before the gap, has
  /// the samples behind the gap at its start and silence behind those. Such a run is not kept for other requests. A run
  /// from farther back has both sides of the gap in their places.
  ///
  /// @return samples `first` to `last`, valid until the next call on this stream; NULL with code 1,
  ///     ds_error::parameterOutOfRange, notEnoughMemory, noFrameFound, dataNotFound, stoppedByNotification or
  ///     a code of the graph.
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
  int openSource(const wchar_t* fileName, int streamNumber);
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
  quillet::Owned<Search> search;
};
