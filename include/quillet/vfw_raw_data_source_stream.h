#pragma once

/// @file
/// Compressed samples by number, through Video for Windows.

#include <quillet/owned.h>
#include <quillet/raw_data_source_stream.h>
#include <quillet/vfw_source_stream.h>

namespace quillet {
class ReadBuffer;
}

/// The samples of an AVIFile stream as the file stores them, one AVIFile read each.
class QUILLET_API VfWRawDataSourceStream : public RawDataSourceStream, public VfWSourceStream {
 public:
  using RawDataSourceStream::getData;

  /// Opens the samples of a stream through AVIFile.
  ///
  /// @param fileName name of the file, in the system's ANSI code page.
  /// @param video true for a video stream, false for an audio stream.
  /// @param streamIndex number of the stream among the file's streams of that kind, from 0.
  /// @param notification progress sink, kept in the stream but not called; may be NULL.
  /// @return the stream, to be deleted by the caller; #lastError is 0 when it is open, otherwise vfw_error::
  ///     notEnoughMemory, cannotOpenSourceFile (also for AVI and WAVE files of 2 GB and more), cannotRetrieveStreamInfo,
  ///     cannotRetrieveFormat, undefinedStreamLength or unusableRawFormat (also for one that can be no stream's). It is
  ///     open, too, with the codes of _firstKeySample(). NULL when no object could be made.
  static VfWRawDataSourceStream* open(const char* fileName, bool video, int streamIndex,
                                      QuilletNotification* notification);

  /// The form above with a name in UTF-16.
  static VfWRawDataSourceStream* open(const wchar_t* fileName, bool video, int streamIndex,
                                      QuilletNotification* notification);

  /// Closes the stream.
  ~VfWRawDataSourceStream() override;

  /// Describes a video stream as its media type does.
  /// @param info receives the description.
  /// @return `&info`; NULL with code 1 when the stream is not open, and NULL with #lastError left alone for an audio
  ///     stream.
  VIDEOINFOHEADER* videoInfo(VIDEOINFOHEADER& info) override;

  /// Reads the nearest non-empty sample at or before `sample`; when there is none, the next one with the warning
  /// vfw_error::nextFrameReturned.
  ///
  /// @param sample wanted sample, from 0 to duration() - 1; receives the number of the sample read.
  /// @param samples receives the number of stream samples that the data covers: 1 for video, as many as AVIFile finds
  ///     convenient for audio.
  /// @param bytes receives the size of the data.
  /// @param key true for the nearest key sample at or before `sample`, which leaves #lastError alone when it succeeds;
  ///     receives whether the sample read is a key sample.
  /// @return the data, valid until the next call on this stream; NULL with vfw_error::parameterOutOfRange, dataNotFound
  ///     (`sample` lies before the first key sample), noPrecedingKeySample, noFrameFound, errorReadingSamples or
  ///     notEnoughMemory; after any of them another sample can be read.
  unsigned char* getData(long& sample, long& samples, long& bytes, bool& key) override;

  /// Searches for the first key sample that is not empty; where all samples have one size, it is the first. open() has
  /// done so: firstKeySample() tells the result.
  /// @param audio not used.
  /// @return its number; -1 with vfw_error::errorReadingSamples or noNonEmptyKeySample.
  long _firstKeySample(bool audio);

 private:
  VfWRawDataSourceStream() = default;
  int openSource(const wchar_t* fileName, bool video, int streamIndex);
  int readAt(long first, long& samples, long& bytes);

  /// The data returned last.
  quillet::Owned<quillet::ReadBuffer> readBuffer;
};
