#pragma once

/// @file
/// The sources of the Video for Windows backend, on AVIFile and the Audio Compression Manager.

#include <quillet/audio_source_stream.h>
#include <quillet/vfw_audio_or_video_stream.h>
#include <quillet/video_source_stream.h>

namespace quillet {
class AviSource;
}

/// A stream of a file that AVIFile can open. Times are AVIFile's: whole milliseconds, so that a frame's number seldom
/// comes back from its time where a frame does not last whole milliseconds. A client that needs that computes the time
/// from VideoSourceStream::frameRate() or the rate of AudioSourceStream::format().
///
/// The thread that calls must have called QuilletThread(). Every operation fails with code 1 while the stream is not
/// open.
class QUILLET_API VfWSourceStream : public VfWAudioOrVideoStream, public virtual SourceStream {
 public:
  using SourceStream::StreamSampleToTime;
  using SourceStream::StreamTimeToSample;

  ~VfWSourceStream() override;

  /// There is nothing to tune: sets the warning vfw_error::noConfigurationDialog.
  void configure(void* parentWindow) override;

  /// @return the time of `sample` in milliseconds; -1.0 with the warning vfw_error::cannotConvertTime when `sample` is
  ///     negative, and when AVIFile has none.
  double StreamSampleToTime(long& sample) override;

  /// @param time milliseconds, rounded to whole ones (halves up).
  /// @return the sample at `time`; -1 with the warning vfw_error::cannotConvertTime when `time` is negative, no number or
  ///     more than a long can count, and when AVIFile has none.
  long StreamTimeToSample(double& time) override;

  /// @return the time of the end of the stream in milliseconds; -1.0 with vfw_error::undefinedStreamLength when
  ///     AVIFile has none.
  double msDuration() override;

 protected:
  VfWSourceStream() = default;

  /// The AVIFile stream; owned.
  quillet::AviSource* source = nullptr;
};

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

  ~VfWVideoSourceStream() override;

  /// Finds the nearest non-empty frame at or before `frame`; when there is none, the next one with the warning
  /// vfw_error::nextFrameReturned.
  /// @return its number; -1 with vfw_error::parameterOutOfRange or noFrameFound.
  long findFrame(long frame) override;

  /// Decodes the frame that findFrame() finds. The pixels are in 24 bits, in rows from bottom to top, or from top to bottom
  /// where the height of format() is negative; its biClrUsed is that of the file and means nothing for them.
  /// @param frame frame number; receives the number of the frame found, -1 when none was.
  /// @return the pixels, in the decompressor's own buffer, valid until the next call on this stream; NULL with one of
  ///     findFrame()'s codes or vfw_error::cannotDecompress, also when the frame is not of the size that format() says.
  unsigned char* getFrameBits(long& frame) override;

 private:
  VfWVideoSourceStream() = default;
  int openSource(const char* fileName, int streamIndex);

  struct Decompressor;
  Decompressor* decompressor = nullptr;
};

/// Audio samples in PCM: read as they are when the file holds PCM, else decompressed block by block by the Audio
/// Compression Manager.
///
/// Compressed runs that follow one another are decoded without a seek; a run that starts neither in the block decoded last
/// nor right after it seeks to its own. What that leaves between a run read after a seek and the same run read in order:
/// - PCM, A-law, mu-law, IMA and MS ADPCM: nothing, whatever the header says of times. duration() is exact, too: all that
///   the blocks hold.
/// - GSM: the decoder remembers what it has decoded, so that 5.1 s are decoded before the run and thrown away. Noise,
///   voices and single tones are then the same to the bit; of steady chords samples were off by up to 80 of 32768.
/// - MP3 of a constant data rate, in WAV: the same sample numbers, and values that differ by up to 4 of 32768, as the
///   decoder does by itself. duration() counts whole frames. Where the data rate varies, numbers after a seek are those of
///   the average rate, and can be off by as much as the rate is.
/// - Other formats: numbers after a seek are those of AVIFile's times, so that they are as exact as the header.
///
/// The samples of a stream that starts late are silent up to its start.
class QUILLET_API VfWAudioSourceStream : public AudioSourceStream, public VfWSourceStream {
 public:
  using AudioSourceStream::getSamples;
  using SourceStream::StreamSampleToTime;
  using SourceStream::StreamTimeToSample;

  /// Opens an audio stream through AVIFile.
  ///
  /// @param fileName name of the file, in the system's ANSI code page.
  /// @param streamIndex number of the stream among the file's audio streams, from 0.
  /// @param notification progress sink, kept in the stream but not called; may be NULL.
  /// @return the stream, to be deleted by the caller; #lastError is 0 when it is open, otherwise vfw_error::
  ///     notEnoughMemory, cannotOpenSourceFile (also for AVI and WAVE files of 2 GB and more), cannotRetrieveFormat (also
  ///     for one that no samples can have),
  ///     undefinedStreamLength, noPcmFormat or cannotInitializeDecompressor. NULL when no object could be made.
  static VfWAudioSourceStream* open(const char* fileName, int streamIndex, QuilletNotification* notification);

  ~VfWAudioSourceStream() override;

  /// @return samples `first` to `last`, in the stream's own buffer, valid until the next call on this stream; NULL with
  ///     vfw_error::parameterOutOfRange, notEnoughMemory, cannotSeek, errorReadingSamples or cannotDecompress. Samples
  ///     that a compressed stream promises but does not hold repeat what was decoded last; of formats whose blocks are all
  ///     alike, those that a damaged block fails to hold are silent.
  unsigned char* getSamples(long first, long last) override;

  /// Compressed audio: the exact time of a decoded sample in milliseconds, also of one beyond the stream, and #lastError is
  /// left alone; -1.0 when the stream is not open and, with the warning vfw_error::cannotConvertTime, for a negative number.
  /// PCM: as VfWSourceStream.
  double StreamSampleToTime(long& sample) override;

  /// Compressed audio: the decoded sample at `time` milliseconds, rounded down, also beyond the stream, and #lastError is
  /// left alone; -1 when the stream is not open and, with the warning vfw_error::cannotConvertTime, when `time` is negative,
  /// no number or later than samples can be counted. PCM: as VfWSourceStream.
  long StreamTimeToSample(double& time) override;

  /// Compressed audio whose blocks are known: the exact time of the stream's end in milliseconds, whatever the header says
  /// of it. Other audio: as VfWSourceStream.
  double msDuration() override;

 private:
  VfWAudioSourceStream() = default;
  int openSource(const char* fileName, int streamIndex);

  struct Reader;
  Reader* reader = nullptr;
};
