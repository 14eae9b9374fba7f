// The numbers of compressed samples: DirectShow's samples carry media times or times, from which they follow.

#pragma once

#include <limits>

#include <windows.h>

#include <strmif.h>

namespace quillet {

/// The samples of the stream that one sample of the graph covers, and when. Times are stream times in units of 100 ns.
struct SampleRange {
  static constexpr long long unknown = std::numeric_limits<long long>::min();

  long long start = unknown;
  long long end = unknown;  ///< Exclusive.
  long long startTime = 0;
  long long endTime = unknown;
  bool hasTime = false;

  /// The number of the last sample of the range; the only one that is known while the end is not.
  long long last() const { return end > start ? end - 1 : start; }

  /// When sample `number` of the range begins: evenly spread, where the range has several.
  long long timeOf(long long number) const;

  /// The first sample of the range that does not begin before `time`. The last one must not begin before it.
  long long sampleAt(long long time) const;
};

/// How the samples of a stream are numbered.
class SampleNumbering {
 public:
  SampleNumbering() = default;

  /// @param type of an audio stream whose format was found usable, or of a video stream that tells its time per frame.
  explicit SampleNumbering(const AM_MEDIA_TYPE& type);

  bool isAudio() const { return samplesPerSecond != 0; }

  /// @param time the sample's stream time, in seconds.
  SampleRange rangeOf(double time, IMediaSample* sample) const;

  /// The time of a sample, halves up, in units of 100 ns.
  long long timeOf(long sample) const;

  /// Units of 100 ns; of video only.
  long long frameTime() const { return timePerFrame; }

 private:
  long long numberAt(long long time) const;

  // One of them is 0: the other counts.
  unsigned long samplesPerSecond = 0;
  long long timePerFrame = 0;
};

/// `value` / `unit`, plus 1 when the remainder exceeds the half of `unit`.
long long roundedQuotient(long long value, long long unit);

}  // namespace quillet
