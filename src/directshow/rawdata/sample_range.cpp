#include "directshow/rawdata/sample_range.h"

#include <mmreg.h>
#include <uuids.h>

#include "core/time_units.h"
#include "formats/video_format.h"

namespace quillet {

long long roundedQuotient(long long value, long long unit) {
  return value / unit + (value % unit > unit / 2 ? 1 : 0);
}

long long SampleRange::timeOf(long long number) const {
  const long long count = last() - start + 1;
  constexpr long long most = std::numeric_limits<long>::max();  // No splitter means more.
  if (count <= 1 || count > most || endTime <= startTime) {
    return startTime;
  }
  return startTime + (2 * (number - start) * (endTime - startTime) + count) / (2 * count);
}

long long SampleRange::sampleAt(long long time) const {
  if (time <= startTime || endTime <= startTime) {
    return start;
  }
  const long long number = start + (time - startTime) * (last() - start + 1) / (endTime - startTime);
  return timeOf(number) < time ? number + 1 : number;
}

SampleNumbering::SampleNumbering(const AM_MEDIA_TYPE& type) {
  if (type.formattype == FORMAT_WaveFormatEx) {
    samplesPerSecond = reinterpret_cast<const WAVEFORMATEX*>(type.pbFormat)->nSamplesPerSec;
  } else {
    timePerFrame = quillet::timePerFrame(type);
  }
}

SampleRange SampleNumbering::rangeOf(double time, IMediaSample* sample) const {
  REFERENCE_TIME first = 0;
  REFERENCE_TIME last = 0;
  const HRESULT timed = sample->GetTime(&first, &last);
  SampleRange range;
  range.hasTime = SUCCEEDED(timed);
  // The sample's own times count from the start of its segment, the grabber's from that of the stream.
  range.startTime = roundedHalfUp<long long>(time * unitsPerSecond);
  if (timed == S_OK) {
    range.endTime = range.startTime + (last - first);
  }
  const bool hasMediaTime = SUCCEEDED(sample->GetMediaTime(&range.start, &range.end));
  // Some splitters, Wine's for one, give the times again as media times.
  const bool repeatsTimes = timed == S_OK ? range.end == last : range.hasTime && first != 0 && range.start == first;
  if (!hasMediaTime || repeatsTimes) {
    range.start = numberAt(range.startTime);
    range.end = timed == S_OK ? numberAt(range.endTime) : SampleRange::unknown;
  }
  if (range.end != SampleRange::unknown && range.end <= range.start) {
    range.end = range.start + 1;
  }
  return range;
}

long long SampleNumbering::timeOf(long sample) const {
  return isAudio() ? roundedQuotient(sample * unitsPerSecond, samplesPerSecond) : sample * timePerFrame;
}

long long SampleNumbering::numberAt(long long time) const {
  if (isAudio()) {
    return roundedHalfUp<long long>(samplesPerSecond * static_cast<double>(time) / unitsPerSecond);
  }
  return roundedQuotient(time, timePerFrame);
}

}  // namespace quillet
