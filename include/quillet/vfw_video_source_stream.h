#pragma once

/// @file
/// Decoded video by frame number, through Video for Windows.

#include <quillet/owned.h>
#include <quillet/vfw_source_stream.h>
#include <quillet/video_source_stream.h>

/// Video frames decoded by AVIFile's frame decompressor to 24-bit RGB.
class QUILLET_API VfWVideoSourceStream : public VideoSourceStream, public VfWSourceStream {
 public:
  using VideoSourceStream::findFrame;
  using VideoSourceStream::getFrameBits;

  /// Opens a video stream through AVIFile.
  ///
  /// @param fileName name of the file, in the system's ANSI code page.
  /// @param streamIndex number of the stream among the file's video streams, from 0.
  /// @param notification progress sink, kept in the stream but not called; may be NULL.
  /// @return the stream, to be deleted by the caller; #lastError is 0 when it is open, otherwise vfw_error::
  ///     notEnoughMemory, cannotOpenSourceFile (also for AVI and WAVE files of 2 GB and more), cannotRetrieveStreamInfo,
  ///     cannotRetrieveFormat (also for one that no frames can have), undefinedStreamLength or noDecompressor. NULL when no
  ///     object could be made.
  static VfWVideoSourceStream* open(const char* fileName, int streamIndex, QuilletNotification* notification);

  /// The form above with a name in UTF-16.
  static VfWVideoSourceStream* open(const wchar_t* fileName, int streamIndex, QuilletNotification* notification);

  /// Closes the stream.
  ~VfWVideoSourceStream() override;

  /// Finds the nearest non-empty frame at or before `frame`; when there is none, the next one with the warning
  /// vfw_error::nextFrameReturned.
  /// @return its number; -1 with vfw_error::parameterOutOfRange or noFrameFound.
  long findFrame(long frame) override;

  /// Decodes the frame that findFrame() finds. The pixels are in 24 bits, in rows from bottom to top, or from top to bottom
  /// where the height of format() is negative; its biClrUsed is that of the file and means nothing for them.
  /// @param frame frame number; receives the number of the frame found, -1 when none was.
  /// @return the pixels, in a buffer of the stream's, valid until the next call on this stream; NULL with one of
  ///     findFrame()'s codes or vfw_error::cannotDecompress, also when the frame is not of the size that format() says.
  unsigned char* getFrameBits(long& frame) override;

 private:
  VfWVideoSourceStream() = default;
  int openSource(const wchar_t* fileName, int streamIndex);
  unsigned char* keptFrame(long frame);
  unsigned char* decode(long frame);
  void keepFramesBefore(long frame);

  struct Decompressor;
  quillet::Owned<Decompressor> decompressor;
};
