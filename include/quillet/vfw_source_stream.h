#pragma once

/// @file
/// What the sources of the Video for Windows backend share: streams of AVIFile.

#include <quillet/owned.h>
#include <quillet/source_stream.h>
#include <quillet/vfw_audio_or_video_stream.h>

namespace quillet {
class AviSource;
}

/// A stream of a file that AVIFile can open. Times are AVIFile's: whole milliseconds, so that a frame's number seldom
/// comes back from its time where a frame does not last whole milliseconds. A client that needs that computes the time
/// from VideoSourceStream::frameRate() or the rate of AudioSourceStream::format().
///
/// AVIFile may have room for 127 characters of the system's ANSI code page only. A file with any other name is opened by
/// the short one that the file system has for it; without one it may be vfw_error::cannotOpenSourceFile.
///
/// The thread that calls must have called QuilletThread(). Every operation fails with code 1 while the stream is not
/// open.
class QUILLET_API VfWSourceStream : public VfWAudioOrVideoStream, public virtual SourceStream {
 public:
  using SourceStream::StreamSampleToTime;
  using SourceStream::StreamTimeToSample;

  /// Closes the stream.
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
  /// A stream that is not open.
  VfWSourceStream();

  /// The AVIFile stream.
  quillet::Owned<quillet::AviSource> source;
};
