#pragma once

/// @file
/// The AVI writer of the Video for Windows backend.

#include <quillet/output_avi_file.h>
#include <quillet/owned.h>
#include <quillet/vfw_audio_or_video_stream.h>

/// Writes an AVI file through AVIFile. Video is written as it is or through a compressor of the Video Compression Manager,
/// audio as it is or through a conversion of the Audio Compression Manager, block by block.
///
/// The frame rate of the file is a whole number of frames per second. While the file is not open, and again after close(),
/// every operation that tells how it went fails with code 1. The threads that call must have called QuilletThread().
///
/// Names are limited as those of VfWSourceStream, with vfw_error::cannotCreateFile.
///
/// A file cannot have more than 2^31-1 bytes. A write that might make it larger fails; the file stays as it is, and can
/// be closed. What counts is the data, of frames to be compressed twice their size before that; 25 bytes for each
/// frame, left out ones included, and for each piece of audio; and 1 MB for the headers.
class QUILLET_API VfWOutputAVIFile : public VfWAudioOrVideoStream, public OutputAVIFile {
 public:
  /// Creates a file; the arguments are those of OutputAVIFile::create().
  ///
  /// @param fileName name of the file, in the system's ANSI code page; an existing file is overwritten.
  /// @param video format of the frames, NULL for no video stream; not copied.
  /// @param compressVideo whether the video stream is to be compressed.
  /// @param audio format of the samples, NULL for no audio stream; not copied. WAVE_FORMAT_EXTENSIBLE without its
  ///     extension is refused with vfw_error::cannotSetFormat.
  /// @param compressAudio whether the audio stream is to be compressed.
  /// @return the writer, to be deleted by the caller; #lastError is 0 when it is open, otherwise vfw_error::notEnoughMemory,
  ///     cannotCreateFile, cannotCreateVideoStream (also for a frame duration that makes no whole number of frames per
  ///     second), cannotCreateAudioStream (also for a format without a rate), output_error::noStreamDefined or
  ///     unacceptableVideoFormat. NULL when no object could be made.
  static VfWOutputAVIFile* create(const char* fileName, const VIDEOINFOHEADER* video, bool compressVideo,
                                  const WAVEFORMATEX* audio, bool compressAudio);

  /// The form above with a name in UTF-16.
  static VfWOutputAVIFile* create(const wchar_t* fileName, const VIDEOINFOHEADER* video, bool compressVideo,
                                  const WAVEFORMATEX* audio, bool compressAudio);

  /// Closes the file as it is: the end of the audio that is still being compressed is lost without close().
  ~VfWOutputAVIFile() override;

  /// Shows the dialog of the interleaving period.
  /// @param parentWindow the parent's HWND; may be NULL. #lastError is 0 also after Cancel, and when the dialog was closed
  ///     with its parent; otherwise vfw_error::notInterleaved (not both streams), cannotDisplayDialog or
  ///     cannotAddDialogProperty.
  void configureAVI(void* parentWindow) override;

  /// @return false: AVIFile writes in the order in which it is called.
  bool isAutomaticallyInterleaved() override;

  /// @return the interleaving period in units of 100 ns, 0.75 s at first. Compressed audio whose options ask for it (the
  ///     flag AVICOMPRESSF_INTERLEAVE and dwInterleaveEvery) has that many frames.
  long long interleavingPeriod() override;

  /// Does nothing.
  /// @return false.
  bool setAutomaticInterleaving(bool on) override;

  bool canSetCompressor(bool video) override;

  /// @param video the video stream (true) or the audio stream (false).
  /// @param compressor the AVICOMPRESSOPTIONS of the compression, copied; what it points at (the audio's target format in
  ///     `lpFormat`, the video compressor's state in `lpParms`) is not, and must outlive the file. NULL makes a direct
  ///     copy of the stream.
  /// @return false with output_error::noVideoStream, noAudioStream, directCopyRequired or compressorAlreadySet, or, for
  ///     audio, vfw_error::cannotSetCompressor.
  bool setCompressor(bool video, void* compressor) override;

  /// @return whether a compressor is set; #lastError is 0.
  bool isCompressorSet(bool video) override;

  /// Shows the system's dialog of video compressors or audio formats.
  /// @param parentWindow the parent's HWND; may be NULL.
  /// @param video the video stream (true) or the audio stream (false).
  /// @return false with the codes of setCompressor(), output_error::dialogCancelled, vfw_error::notEnoughMemory,
  ///     compressionDialogError, unknownMaximumFormatSize or noAudioCompressor.
  bool chooseCompressor(void* parentWindow, bool video) override;

  /// Shows the video compressor's own dialog and keeps the settings; does nothing for audio.
  /// @param parentWindow the parent's HWND; may be NULL.
  /// @param video the video stream (true) or the audio stream (false). #lastError is 0 or output_error::
  ///     noCompressorSelected, vfw_error::notEnoughMemory, cannotOpenCodec, cannotAccessCodecParameters,
  ///     noConfigurationDialog or corruptCompressorParameters.
  void configureCompressor(void* parentWindow, bool video) override;

  /// @return whether every stream that is to be compressed has its compressor. Leaves #lastError alone while the file
  ///     is open.
  bool canRun() override;

  /// Sets the streams' formats and starts the compressors.
  /// @return false with vfw_error::notFullyConfigured, cannotSetFormat, cannotSetCompressor (another video compressor can be
  ///     set then), cannotInitializeAudioCompressor (also when an interleaving period does not make a block) or
  ///     notEnoughMemory.
  bool start() override;

  /// @param frame number of the first frame.
  /// @param data the frames, as the format given to create() says; needed only during the call. Not NULL, even for 0 bytes.
  /// @param frames number of frames; AVIFile takes more than one at once from few compressors.
  /// @param bytes size of `data`; when negative it is computed from the format. 0 makes a dropped frame.
  /// @param keyFrame whether the first frame is a key frame.
  /// @return false with output_error::noVideoStream, vfw_error::notFullyConfigured (also before start()) or writeError (also
  ///     when the file would become too large).
  bool writeFrame(long frame, unsigned char* data, long frames, long bytes, bool keyFrame) override;

  /// Audio that is compressed is gathered until it makes whole blocks of the target format. One call can take the
  /// samples of an interleaving period, less what the call before has left unconverted, which is less than a block. The
  /// same holds for a flush of the audio buffer: buffered pieces of somewhat more than half a period always fit.
  ///
  /// @param sample number of the first sample; compressed audio always continues.
  /// @param data the samples, in the format given to create(); needed only during the call.
  /// @param samples number of samples.
  /// @param bytes size of `data`; when negative it is computed from the format.
  /// @param keyFrame whether the first sample is a key sample.
  /// @return false with output_error::noAudioStream, vfw_error::notFullyConfigured (also before start()), writeError (also
  ///     when the file would become too large), audioCompressionFailure or audioCompressionOverflow, which takes nothing of
  ///     `data`.
  bool writeSample(long sample, unsigned char* data, long samples, long bytes, bool keyFrame) override;

  /// Writes the end of compressed audio and completes the file, which is closed in any case.
  /// @return false with vfw_error::writeError when that end could not be written, the file is not there, or it is shorter
  ///     than what was written: AVIFile does not tell of a disk that is full.
  bool close() override;

  /// @param period in units of 100 ns; at least a frame. Kept in the audio's compression options when they ask for it.
  /// @return false with vfw_error::notInterleaved when the file has not both streams.
  bool setInterleavingPeriod(long long period) override;

 protected:
  /// A file that is not open: createFile().
  VfWOutputAVIFile();

  /// What create() does with the new object; for subclasses, once, after construction.
  void createFile(const wchar_t* fileName, const VIDEOINFOHEADER* videoFormat, bool isVideoCompressed,
                  const WAVEFORMATEX* audioFormat, bool isAudioCompressed);

 private:
  struct State;
  quillet::Owned<State> state;
};
