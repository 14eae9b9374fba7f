#pragma once

/// @file
/// Decoded audio by sample number.

#include <quillet/source_stream.h>

/// An audio stream decoded to PCM, each run of samples reachable by number. A sample is one sample frame: one value for
/// each channel.
///
/// @code
/// QuilletThread();  // Once on each thread.
/// const std::unique_ptr<AudioSourceStream> audio(AudioSourceStream::open("sound.wav", 0, nullptr));
/// if (audio == nullptr || audio->lastErrorIsFatal()) {
///   return 1;
/// }
/// const unsigned char* const second = audio->getSamples(0, audio->format()->nSamplesPerSec - 1);  // Both ends included.
/// std::puts(second != nullptr ? "decoded" : audio->ErrorMessage(audio->lastError));
/// @endcode
class QUILLET_API AudioSourceStream : public virtual SourceStream, public virtual AudioOrVideoStream {
 public:
  /// Opens an audio stream with the backend that the caller names; see SourceStream::open().
  static AudioSourceStream* open(const char* fileName, bool useDirectShow, int stream,
                                 QuilletNotification* notification);

  /// The form above with a name in UTF-16.
  static AudioSourceStream* open(const wchar_t* fileName, bool useDirectShow, int stream,
                                 QuilletNotification* notification);

  /// Opens an audio stream with Video for Windows or, when that fails or its first sample cannot be read, with
  /// DirectShow; see SourceStream::open(). A stream that cannot be read is returned when DirectShow has none.
  static AudioSourceStream* open(const char* fileName, int stream, QuilletNotification* notification);

  /// The form above with a name in UTF-16.
  static AudioSourceStream* open(const wchar_t* fileName, int stream, QuilletNotification* notification);

  /// Closes the stream.
  ~AudioSourceStream() override;

  /// @return false: samples come decoded.
  bool isRawData() override;

  /// @return NULL: not a video stream. Leaves #lastError alone.
  VIDEOINFOHEADER* videoInfo(VIDEOINFOHEADER& info) override;

  /// Decodes a run of samples.
  ///
  /// @param first number of the first sample, from 0.
  /// @param last number of the last sample, from `first` to duration() - 1.
  /// @return `last` - `first` + 1 samples of format()->nBlockAlign bytes each, valid until the next call on this
  ///     stream; NULL on failure (vfw_error::parameterOutOfRange or ds_error::parameterOutOfRange for a run outside the
  ///     stream).
  virtual unsigned char* getSamples(long first, long last) = 0;

  /// getSamples(long, long) with the progress dialog of SourceStream::StreamSampleToTime(int, void*, long&, const char*).
  unsigned char* getSamples(int options, void* parentWindow, long first, long last, const char* title);

  /// The record is whole: its tag is WAVE_FORMAT_PCM and its cbSize 0, also for more than two channels, which then come in
  /// the order of their speakers.
  ///
  /// @return the format of the decoded samples, valid as long as the stream. When the stream is not open the format is
  ///     empty and the code 1.
  WAVEFORMATEX* format();

 protected:
  /// A stream that is not open.
  AudioSourceStream() = default;

  /// Format of the decoded samples; filled by the backend's `open`.
  WAVEFORMATEX waveFormat = {};
};
