#pragma once

/// @file
/// Decoded audio by sample number, through Video for Windows.

#include <quillet/audio_source_stream.h>
#include <quillet/owned.h>
#include <quillet/vfw_source_stream.h>

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

  /// The form above with a name in UTF-16.
  static VfWAudioSourceStream* open(const wchar_t* fileName, int streamIndex, QuilletNotification* notification);

  /// Closes the stream.
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
  int openSource(const wchar_t* fileName, int streamIndex);

  struct Reader;
  quillet::Owned<Reader> reader;
};
