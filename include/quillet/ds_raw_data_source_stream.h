#pragma once

/// @file
/// Compressed samples by number, through DirectShow.

#include <quillet/ds_source_stream.h>
#include <quillet/owned.h>
#include <quillet/raw_data_source_stream.h>

/// The samples of a stream as the file's splitter delivers them, not decoded.
///
/// Samples are numbered by their media times where they have them, otherwise by their times: audio in samples of the
/// format's rate, video in frames. A sample may cover several of these numbers, and duration() counts the numbers.
///
/// So a number names a time, not a sample. Two samples may begin at one number, or overlap: getData() then knows only
/// one of them. Where samples are stored in the order in which they are decoded, as with B-frames, some come behind
/// others that have higher numbers. Such a sample getData() does not find: it passes it over when it reads in order, or
/// fails with ds_error::dataNotFound. The conversions take the first sample in stored order that reaches a number or a
/// time. getNextData() delivers every sample once, whatever its number: use it to copy a stream.
///
/// Reading samples in order costs no seeks. The conversions between numbers and times play the file through graphs of
/// their own, one for each direction. A conversion goes on from where the one before has left its graph, or from the
/// start when its target lies before that. A stream that neither delivers a sample nor ends for 20 seconds counts as
/// broken off: ds_error::dataNotFound.
class QUILLET_API DSRawDataSourceStream : public RawDataSourceStream, public DSSourceStream {
 public:
  using RawDataSourceStream::getData;
  using SourceStream::StreamSampleToTime;
  using SourceStream::StreamTimeToSample;

  /// Opens the samples of a stream through a filter graph. Compressed audio, and video whose format tells no frame time,
  /// is played through once to be counted.
  ///
  /// @param fileName name of the file, in the system's ANSI code page.
  /// @param video true for a video stream, false for an audio stream.
  /// @param streamIndex number of the stream among the file's streams of that kind, from 0.
  /// @param notification progress sink, told of phases 0 and 1 while the stream is played through and of phase 2 in
  ///     backward searches; may be NULL.
  /// @return the stream, to be deleted by the caller; #lastError is 0 when it is open, otherwise says which step
  ///     failed, or that the sink has stopped it (ds_error). It is open, too, with the codes of _firstKeySample(). NULL
  ///     when no object could be made.
  static DSRawDataSourceStream* open(const char* fileName, bool video, int streamIndex,
                                     QuilletNotification* notification);

  /// The form above with a name in UTF-16.
  static DSRawDataSourceStream* open(const wchar_t* fileName, bool video, int streamIndex,
                                     QuilletNotification* notification);

  /// Ends the graph and its thread, and closes the stream.
  ~DSRawDataSourceStream() override;

  /// Describes a video stream as its media type does, as far as a VIDEOINFOHEADER can.
  /// @param info receives the description.
  /// @return `&info`; NULL with code 1 when the stream is not open, NULL with ds_error::cannotStoreVideoInfo when the
  ///     format is of another kind, and NULL with #lastError left alone for an audio stream.
  VIDEOINFOHEADER* videoInfo(VIDEOINFOHEADER& info) override;

  /// Tunes the search for samples.
  /// @param quickDecode samples that it is quicker to read than to seek over; values below 1 count as 1.
  /// @param stepBack first step back when a seek lands after the wanted sample. Of video in frames; values below 1
  ///     count as `quickDecode`. Of audio in bytes, used only while no sample has come that tells its size; values
  ///     below 1 count as 1024.
  /// @param growth factor by which the step of a video stream grows; values below 1 count as 2.
  void config(int quickDecode, int stepBack, int growth);

  /// Shows the values of config(), in its units, in the dialog of DSVideoSourceStream or DSAudioSourceStream, by the kind
  /// of stream, and sets what the user makes of them; 0 is the default. An audio stream's growth stays as it is.
  /// @param parentWindow the parent's HWND; may be NULL. #lastError is 0 after OK and Cancel, otherwise code 1,
  ///     ds_error::cannotDisplayDialog or cannotAddDialogProperty; but for OK nothing is changed.
  void configure(void* parentWindow) override;

  /// Reads the sample that covers `sample`. A sample that does not tell its end lasts until the next one begins.
  ///
  /// @param sample wanted sample, from 0 to duration() - 1; receives the number at which the sample returned starts.
  /// @param samples receives the number of stream samples that the data covers.
  /// @param bytes receives the size of the data.
  /// @param key true when only a key sample will do: the last one at or before `sample`; receives whether the sample
  ///     returned is one.
  /// @return the data, valid until the next call on this stream, also with the warning ds_error::sampleBeyondData: the
  ///     stream ends before `sample`, and its last sample is returned. NULL with code 1, ds_error::parameterOutOfRange,
  ///     dataNotFound, noPrecedingKeySample, notEnoughMemory, stoppedByNotification or a code of the graph.
  unsigned char* getData(long& sample, long& samples, long& bytes, bool& key) override;

  /// Reads the sample that is stored behind the one that this operation has read last: so each of them once, in stored
  /// order, and without a seek. The first call reads the stream's first sample. So does the first call after a failure,
  /// after the end of the stream, after getData() and after _firstKeySample().
  ///
  /// @param sample receives the number at which the sample starts: not always a higher one than before, and beyond
  ///     duration() where the stream is longer than it says.
  /// @param samples receives the number of stream samples that the data covers.
  /// @param bytes receives the size of the data.
  /// @param key receives whether the sample is a key sample.
  /// @param ms receives the sample's time in milliseconds; -1.0 when it carries none.
  /// @return the data, valid until the next call on this stream. NULL with the warning ds_error::sampleBeyondData at
  ///     the end of the stream; with code 1, ds_error::dataNotFound (the stream has broken off), notEnoughMemory or a
  ///     code of the graph on failure.
  unsigned char* getNextData(long& sample, long& samples, long& bytes, bool& key, double& ms);

  /// Plays a second graph up to `sample`.
  /// @param sample any number; one that the stream has no sample for is replaced by the next that there is, with the
  ///     warning ds_error::nextSampleTimeReturned.
  /// @return its time in milliseconds, the stream's duration when the stream ends before `sample`; with the warning
  ///     ds_error::roughConversion an estimate by the duration, when the samples have no times. -1.0 with code 1,
  ///     ds_error::parameterOutOfRange (no estimate is made for a negative number), dataNotFound or a code of the
  ///     graph.
  double StreamSampleToTime(long& sample) override;

  /// Plays a third graph up to `ms`.
  /// @param ms milliseconds; a time at which no sample begins is replaced by the next at which one does, with the
  ///     warning ds_error::laterSampleReturned.
  /// @return the sample that begins at that time, duration() when the stream ends before; with the warning
  ///     ds_error::roughConversion an estimate by the duration, when the samples have no times. -1 with code 1,
  ///     ds_error::parameterOutOfRange (`ms` is no number, or none that an estimate can be made of), dataNotFound or a
  ///     code of the graph.
  long StreamTimeToSample(double& ms) override;

  /// Plays the stream from its start up to the first key sample. open() has done so: firstKeySample() tells the result.
  /// @param audio not used: the stream knows.
  /// @return the sample's number; -1 with ds_error::cannotRewind, noKeySampleInStream or a code of the graph.
  long _firstKeySample(bool audio);

 private:
  DSRawDataSourceStream() = default;
  int openSource(const wchar_t* fileName, bool video, int streamIndex);
  int measureAudio(const AM_MEDIA_TYPE& type);
  int measureVideo(const AM_MEDIA_TYPE& type);
  void setSteps(int stepBack, int growth);

  class TimeGraph;
  struct Reader;
  quillet::Owned<Reader> reader;
};
