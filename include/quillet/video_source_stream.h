#pragma once

/// @file
/// Decoded video by frame number.

#include <quillet/owned.h>
#include <quillet/source_stream.h>

namespace quillet {
class FrameStore;
}

/// A video stream decoded to 24-bit RGB frames, each reachable by its number.
///
/// @code
/// QuilletThread();  // Once on each thread.
/// const std::unique_ptr<VideoSourceStream> video(VideoSourceStream::open("clip.avi", 0, nullptr));
/// if (video == nullptr || video->lastErrorIsFatal()) {
///   return 1;
/// }
/// long frame = 42;
/// const unsigned char* const bits = video->getFrameBits(frame);  // Laid out as *video->format() says.
/// std::puts(bits != nullptr ? "decoded" : video->ErrorMessage(video->lastError));
/// @endcode
class QUILLET_API VideoSourceStream : public virtual SourceStream, public virtual AudioOrVideoStream {
 public:
  /// Opens a video stream with the backend that the caller names; see SourceStream::open().
  static VideoSourceStream* open(const char* fileName, bool useDirectShow, int stream,
                                 QuilletNotification* notification);

  /// The form above with a name in UTF-16.
  static VideoSourceStream* open(const wchar_t* fileName, bool useDirectShow, int stream,
                                 QuilletNotification* notification);

  /// Opens a video stream with Video for Windows or, when that fails, with DirectShow; see SourceStream::open().
  static VideoSourceStream* open(const char* fileName, int stream, QuilletNotification* notification);

  /// The form above with a name in UTF-16.
  static VideoSourceStream* open(const wchar_t* fileName, int stream, QuilletNotification* notification);

  /// Closes the stream.
  ~VideoSourceStream() override;

  /// @return false: frames come decoded.
  bool isRawData() override;

  /// Fills `info` with the format of the decoded frames, the time of a frame (100 ns units) and the bit rate of the
  /// decoded stream (bits per second).
  /// @return `&info`; NULL with code 1 when the stream is not open.
  VIDEOINFOHEADER* videoInfo(VIDEOINFOHEADER& info) override;

  /// Positions the stream on a frame.
  ///
  /// When the stream has no frame of that number, the nearest earlier one is found; when there is none, the next one,
  /// with the warning vfw_error::nextFrameReturned or ds_error::nextFrameReturned.
  ///
  /// @param frame frame number, from 0 to duration() - 1.
  /// @return the number of the frame found, -1 on failure (vfw_error::parameterOutOfRange or
  ///     ds_error::parameterOutOfRange for a number outside the stream).
  virtual long findFrame(long frame) = 0;

  /// Decodes a frame, found as findFrame() finds it.
  ///
  /// @param frame frame number; receives the number of the frame found, -1 when none was.
  /// @return the pixels in the layout of format(), valid until the next call on this stream; NULL on failure.
  virtual unsigned char* getFrameBits(long& frame) = 0;

  /// findFrame(long) with the progress dialog of SourceStream::StreamSampleToTime(int, void*, long&, const char*).
  long findFrame(int options, void* parentWindow, long frame, const char* title);

  /// getFrameBits(long&) with the progress dialog of SourceStream::StreamSampleToTime(int, void*, long&, const char*).
  unsigned char* getFrameBits(int options, void* parentWindow, long& frame, const char* title);

  /// Bounds the memory for decoded frames that are kept once somebody has gone back, so that the next steps back, and those
  /// to and fro, are quick. Which frame a number gives does not depend on it. What is kept now is forgotten.
  ///
  /// @param bytes most bytes of the stream's frames, beside the two that are always there; 0 to keep none. Negative for the
  ///     default: 192 MiB, of which there are 256 MiB for all streams of the process together. Code 1 when the stream is not
  ///     open.
  void setFrameBudget(long long bytes);

  /// @return frames per second; -1.0 with code 1 when the stream is not open.
  double frameRate();

  /// @return the format of the decoded frames, valid as long as the stream. When the stream is not open the format is
  ///     empty and the code 1.
  BITMAPINFOHEADER* format();

 protected:
  /// A stream that is not open.
  VideoSourceStream();

  /// Frames per second; filled by the backend's `open`.
  double rate = 0.0;

  /// Format of the decoded frames; filled by the backend's `open`.
  BITMAPINFOHEADER bitmapFormat = {};

  /// The frames that are kept; made by the backend's `open`.
  quillet::Owned<quillet::FrameStore> frames;
};
