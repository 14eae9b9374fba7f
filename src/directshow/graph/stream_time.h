// The one place that knows of platforms whose sample grabber does not tell the stream time of a sample.

#pragma once

#include <limits>

#include <windows.h>

#include <strmif.h>

namespace quillet {

/// Whether the grabber's times have to be turned into stream times: true where Wine runs the program. Tests set it,
/// before they open a stream.
bool& correctsSampleTimes();

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
  /// @param framePeriod how long a sample lasts that was not cut short, in seconds; 0 when samples may have any
  ///     duration.
  /// @return the stream time of the sample, in seconds.
  double of(double sampleTime, IMediaSample* sample, double framePeriod);

 private:
  double lostStart(IMediaSample* sample, double framePeriod);

  // These stay as they are on Windows.
  const bool isCorrecting = correctsSampleTimes();
  double segmentStart = 0.0;
  bool mayBeCut = false;  // The next sample is the first since a seek that did not go to the start.
  double shortest = std::numeric_limits<double>::max();  // Of the whole samples seen, in seconds.
};

}  // namespace quillet
