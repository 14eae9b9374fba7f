#pragma once

/// @file
/// Compressed samples by number.

#include <quillet/source_stream.h>

/// A stream of compressed samples exactly as the file stores them, for copying into another file without recompression.
///
/// @code
/// QuilletThread();  // Once on each thread.
/// const std::unique_ptr<RawDataSourceStream> raw(RawDataSourceStream::open("clip.avi", true, 0, nullptr));
/// if (raw == nullptr || raw->lastErrorIsFatal()) {
///   return 1;
/// }
/// long sample = 42, samples = 0, bytes = 0;
/// bool key = true;  // The key sample at or before 42.
/// if (raw->getData(sample, samples, bytes, key) != nullptr) {
///   std::printf("sample %ld has %ld bytes\n", sample, bytes);
/// }
/// @endcode
class QUILLET_API RawDataSourceStream : public virtual SourceStream, public virtual AudioOrVideoStream {
 public:
  /// Opens the compressed samples of a stream with the backend that the caller names; see SourceStream::open().
  static RawDataSourceStream* open(const char* fileName, bool video, bool useDirectShow, int stream,
                                   QuilletNotification* notification);

  /// The form above with a name in UTF-16.
  static RawDataSourceStream* open(const wchar_t* fileName, bool video, bool useDirectShow, int stream,
                                   QuilletNotification* notification);

  /// Opens the compressed samples of a stream with Video for Windows or, when that fails or its first sample cannot be
  /// read, with DirectShow. A stream that cannot be read is returned when DirectShow has none.
  static RawDataSourceStream* open(const char* fileName, bool video, int stream, QuilletNotification* notification);

  /// The form above with a name in UTF-16.
  static RawDataSourceStream* open(const wchar_t* fileName, bool video, int stream, QuilletNotification* notification);

  /// Closes the stream.
  ~RawDataSourceStream() override;

  /// @return true.
  bool isRawData() override;

  /// Reads a compressed sample by number. Over Video for Windows numbers go in the order in which the file stores the
  /// samples, which with B-frames is not the order in which they are shown, and each sample has numbers of its own. For
  /// DirectShow's numbers see DSRawDataSourceStream.
  ///
  /// @param sample wanted sample; receives the number of the sample delivered.
  /// @param samples receives the number of stream samples that the data covers.
  /// @param bytes receives the size of the data.
  /// @param key true when only a key sample will do; receives whether the sample is one.
  /// @return the data, valid until the next call on this stream; NULL on failure.
  virtual unsigned char* getData(long& sample, long& samples, long& bytes, bool& key) = 0;

  /// getData(long&, long&, long&, bool&) with the progress dialog of SourceStream::StreamSampleToTime(int, void*,
  /// long&, const char*).
  unsigned char* getData(int options, void* parentWindow, long& sample, long& samples, long& bytes, bool& key,
                         const char* title);

  /// @return the media type of the samples, valid as long as the stream. When the stream is not open the type is empty
  ///     and the code 1.
  AM_MEDIA_TYPE* format();

  /// @return the number of the first key sample, -1 when none was found as the stream was opened. When the stream is not
  ///     open the code is 1 and the number stands for nothing.
  long firstKeySample();

 protected:
  /// A stream that is not open.
  RawDataSourceStream() = default;

  /// Media type of the samples, its format block owned; filled by the backend's `open`.
  AM_MEDIA_TYPE mediaType = {};

  /// Number of the first key sample; filled by the backend's `open`.
  long keySample = 0;
};
