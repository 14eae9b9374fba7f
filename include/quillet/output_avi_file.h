#pragma once

/// @file
/// Writing AVI files.

#include <quillet/audio_or_video_stream.h>
#include <quillet/owned.h>
#include <quillet/platform_formats.h>

/// The writer of an AVI file with at most one video and one audio stream.
///
/// Create it, set or choose compressors for the streams that are to be compressed, start(), write frames and samples by
/// number, flushAudio() if bufferedWriteSample() was used, close(), delete. Not to be used from two threads at once; an
/// AutomaticInterleaveEngine lets two threads write in turns. Nothing keeps two writers from writing one file: what the
/// one leaves that is closed last is in it, and neither is told. A file must not be written while it is being read.
///
/// @code
/// QuilletThread();  // Once on each thread.
/// VIDEOINFOHEADER format = {};
/// format.bmiHeader = {sizeof(BITMAPINFOHEADER), 320, 240, 1, 24, BI_RGB, 320 * 3 * 240};
/// format.AvgTimePerFrame = 400'000;  // 25 frames a second.
/// const std::unique_ptr<OutputAVIFile> file(OutputAVIFile::create("black.avi", &format, false, nullptr, false));
/// std::vector<unsigned char> frame(format.bmiHeader.biSizeImage);
/// if (file == nullptr || !file->start() || !file->writeFrame(0, frame.data(), 1, -1, true) || !file->close()) {
///   std::puts(file != nullptr ? file->ErrorMessage(file->lastError) : "not enough memory");
/// }
/// @endcode
class QUILLET_API OutputAVIFile : public virtual AudioOrVideoStream {
 public:
  /// Creates a file with the backend that the caller names.
  ///
  /// The calling thread must have called QuilletThread(). The formats are not copied: they must outlive the object.
  ///
  /// @param file name of the file, in the system's ANSI code page; an existing file is overwritten.
  /// @param video format of the frames that will be written; NULL for no video stream. What belongs to the header must
  ///     stand behind it, and goes into the file, whether or not `biSize` counts it: the three masks of BI_BITFIELDS, or
  ///     the palette of up to 8 bits, of `biClrUsed` colours (0: of all that the bits can tell apart, unless the frames
  ///     are a codec's).
  /// @param compressVideo whether the library is to compress the video stream.
  /// @param audio format of the samples that will be written; NULL for no audio stream.
  /// @param compressAudio whether the library is to compress the audio stream.
  /// @param useDirectShow true for DirectShow, false for Video for Windows.
  /// @return the writer, to be deleted by the caller, also when creating it failed: then #lastError says why. NULL when no
  ///     object could be made.
  static OutputAVIFile* create(const char* file, const VIDEOINFOHEADER* video, bool compressVideo,
                               const WAVEFORMATEX* audio, bool compressAudio, bool useDirectShow);

  /// The form above with a name in UTF-16.
  static OutputAVIFile* create(const wchar_t* file, const VIDEOINFOHEADER* video, bool compressVideo,
                               const WAVEFORMATEX* audio, bool compressAudio, bool useDirectShow);

  /// Creates a file with Video for Windows or, when that fails, with DirectShow; otherwise as the form above.
  static OutputAVIFile* create(const char* file, const VIDEOINFOHEADER* video, bool compressVideo,
                               const WAVEFORMATEX* audio, bool compressAudio);

  /// The form above with a name in UTF-16.
  static OutputAVIFile* create(const wchar_t* file, const VIDEOINFOHEADER* video, bool compressVideo,
                               const WAVEFORMATEX* audio, bool compressAudio);

  /// Frees the object and the audio still buffered, which is lost.
  ~OutputAVIFile() override;

  /// Shows the dialog for the file's interleaving. The outcome is in #lastError.
  /// @param parentWindow the parent's HWND; may be NULL.
  virtual void configureAVI(void* parentWindow) = 0;

  /// @return whether the backend interleaves the streams by itself.
  virtual bool isAutomaticallyInterleaved() = 0;

  /// @return the interleaving period in units of 100 ns.
  virtual long long interleavingPeriod() = 0;

  /// @return whether automatic interleaving could be switched on or off.
  virtual bool setAutomaticInterleaving(bool on) = 0;

  /// @param video the video stream (true) or the audio stream (false).
  /// @return whether a compressor can, and has still to, be set for the stream.
  virtual bool canSetCompressor(bool video) = 0;

  /// @param video the video stream (true) or the audio stream (false).
  /// @param compressor what the backend takes for a compressor; NULL makes a direct copy of the stream.
  /// @return whether it was set.
  virtual bool setCompressor(bool video, void* compressor) = 0;

  /// @return whether a compressor was set or chosen for the stream.
  virtual bool isCompressorSet(bool video) = 0;

  /// Lets the user choose a compressor for the stream.
  /// @return whether one was chosen and set.
  virtual bool chooseCompressor(void* parentWindow, bool video) = 0;

  /// Shows the settings of the stream's compressor. The outcome is in #lastError.
  virtual void configureCompressor(void* parentWindow, bool video) = 0;

  /// @return whether the file and its streams are configured enough to start; false with code 1 while it is not open.
  virtual bool canRun() = 0;

  /// Readies the file for writing.
  virtual bool start() = 0;

  /// Writes frames.
  /// @param frame number of the first frame.
  /// @param data the frames; needed only during the call.
  /// @param count number of frames.
  /// @param bytes size of `data`.
  /// @param key whether the frames are key frames.
  virtual bool writeFrame(long frame, unsigned char* data, long count, long bytes, bool key) = 0;

  /// Writes audio samples.
  /// @param sample number of the first sample.
  /// @param data the samples; needed only during the call.
  /// @param count number of samples.
  /// @param bytes size of `data`.
  /// @param key whether the samples are key samples.
  virtual bool writeSample(long sample, unsigned char* data, long count, long bytes, bool key) = 0;

  /// Completes the file. Audio that is still buffered is not written: call flushAudio() before.
  /// @return false with the backend's writeError also when the file is not there after that, or shorter than what was
  ///     written into it, as on a full disk.
  virtual bool close() = 0;

  /// Sets the interleaving period without a dialog; before start().
  /// @param period in units of 100 ns; shorter ones than the backend can have are lengthened.
  /// @return whether it was set; false, with #lastError left alone, when the backend has no such setting.
  virtual bool setInterleavingPeriod(long long period);

  /// @return the format given to create(), NULL for no video stream; with code 1 when the object is not open.
  const VIDEOINFOHEADER* videoFormat();

  /// @return the format given to create(), NULL for no audio stream; with code 1 when the object is not open.
  const WAVEFORMATEX* audioFormat();

  /// @return whether the library compresses the video stream; with code 1, or output_error::noVideoStream.
  bool compressedVideo();

  /// @return whether the library compresses the audio stream; with code 1, or output_error::noAudioStream.
  bool compressedAudio();

  /// @return the number of the next frame to write; -1 with code 1, or with output_error::noAudioStream for a file
  ///     without audio, even though it has video.
  long nextFrame_number();

  /// @return the number of the next sample to write; -1 with code 1 or output_error::noAudioStream.
  long nextSample_number();

  /// @return the number with which the next bufferedWriteSample() continues; -1 with code 1 or
  ///     output_error::noAudioStream.
  long nextSample_number_inBuffer();

  /// @return whether the formats can be written: false with output_error::noStreamDefined when there is neither, and with
  ///     output_error::unacceptableVideoFormat for frames that the library cannot compress.
  bool acceptableFormats();

  /// Writes audio samples through a buffer, which is written as a whole when it is full, and when samples do not continue
  /// those in it or differ in `key`.
  /// @param sample number of the first sample.
  /// @param data the samples; needed only during the call.
  /// @param count number of samples.
  /// @param bytes size of `data`; when negative it is computed from `count` and the audio format.
  /// @param key whether the samples are key samples.
  /// @return false with code 1, 2, output_error::noAudioStream, audioBufferOverflow (more than the buffer can ever take), the
  ///     backend's writeError (no data, or less than no samples) or the code of a failed flushAudio(). Success leaves
  ///     #lastError alone, or 0 when the buffer was written.
  bool bufferedWriteSample(long sample, unsigned char* data, long count, long bytes, bool key);

  /// Writes the buffered audio, and empties the buffer even when that fails.
  /// @return the result of writeSample(); true when nothing is buffered; false with code 1 or output_error::noAudioStream.
  bool flushAudio();

 protected:
  /// A file that is not open.
  OutputAVIFile();

  /// The first step of an operation on one stream: sets code 1, output_error::noVideoStream or noAudioStream unless the
  /// object is open and has it.
  bool requireStream(bool isVideo);

  /// The same, and clears the code when it does not set one.
  bool beginOnStream(bool isVideo);

  /// The same as requireStream() for setting a compressor: also output_error::directCopyRequired and compressorAlreadySet.
  /// @param isVideo the stream.
  /// @param isSet whether it has its compressor.
  bool requireUnsetCompressor(bool isVideo, bool isSet);

  /// Number of the next frame to write; kept by the backend.
  long nextFrame = 0;
  /// Number of the next sample to write; kept by the backend.
  long nextSample = 0;
  /// The formats given to create(); not owned.
  const VIDEOINFOHEADER* video = nullptr;
  /// @copydoc video
  const WAVEFORMATEX* audio = nullptr;
  /// Whether the library compresses the streams.
  bool compressVideo = false;
  /// @copydoc compressVideo
  bool compressAudio = false;
  /// Capacity of the audio buffer in samples; set by the backend before the first buffered write.
  long bufferSamples = 0;

 private:
  struct AudioBuffer;
  quillet::Owned<AudioBuffer> buffer;
};
