// The one place that knows of platforms whose sample grabber does not tell the stream time of a sample.

#pragma once

#include <windows.h>

#include <strmif.h>

namespace quillet {

/// Turns the times that the sample grabber reports into stream times.
///
/// Samples are stamped relative to the start of their segment, which is where the last seek has landed. Windows' grabber
/// adds that start before it calls back, and this class changes nothing. Wine's does not add it; and of a frame that began
/// before the position of the seek, Wine's splitter moves the start to that position, but leaves its end.
class StreamTime {
 public:
  /// To be called after each seek, before the graph runs again.
  /// @param grabberInput the grabber's connected input pin.
  /// @param position where the seek was to go, in units of 100 ns: taken for the start of the segment when the filters
  ///     upstream do not tell where it went.
  void seeked(IPin* grabberInput, long long position);

  /// @param sampleTime what the grabber reports, in seconds.
  /// @param framePeriod the least duration of a whole sample, in seconds; 0 when samples may have any duration.
  /// @return the stream time of the sample, in seconds.
  double of(double sampleTime, IMediaSample* sample, double framePeriod);

 private:
  // Both stay as they are on Windows.
  double segmentStart = 0.0;
  bool mayBeCut = false;  // The next sample is the first since a seek.
};

}  // namespace quillet
