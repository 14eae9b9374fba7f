#include "directshow/graph/stream_time.h"

#include <algorithm>
#include <utility>

#include <wrl/client.h>

#include "core/time_units.h"
#include "directshow/graph/pins.h"

using Microsoft::WRL::ComPtr;

namespace quillet {
namespace {

/// Where the filters upstream say that the last seek has landed, in units of 100 ns.
LONGLONG landing(IPin* grabberInput, LONGLONG position) {
  const ComPtr<IPin> upstream = peerOf(grabberInput);
  ComPtr<IMediaSeeking> seeking;
  LONGLONG start = 0;
  LONGLONG stop = 0;
  const bool isKnown =
      upstream != nullptr && SUCCEEDED(upstream.As(&seeking)) && SUCCEEDED(seeking->GetPositions(&start, &stop));
  return isKnown ? start : position;
}

}  // namespace

bool& correctsSampleTimes() {
  static bool corrects = [] {
    const HMODULE ntdll = GetModuleHandleA("ntdll.dll");
    return ntdll != nullptr && GetProcAddress(ntdll, "wine_get_version") != nullptr;
  }();
  return corrects;
}

void StreamTime::seeked(IPin* grabberInput, long long position) {
  if (isCorrecting) {
    const LONGLONG start = landing(grabberInput, position);
    segmentStart = static_cast<double>(start) / unitsPerSecond;
    mayBeCut = start > 0;
  }
}

double StreamTime::of(double sampleTime, IMediaSample* sample, double framePeriod) {
  return isCorrecting ? segmentStart + sampleTime - lostStart(sample, framePeriod) : sampleTime;
}

/// What was cut off the start of the sample, in seconds. Only the first sample of a segment can have been cut, and one
/// that begins before the segment was not. The other samples tell how long it was.
double StreamTime::lostStart(IMediaSample* sample, double framePeriod) {
  const bool isFirst = std::exchange(mayBeCut, false);
  REFERENCE_TIME start = 0;
  REFERENCE_TIME end = 0;
  if (sample->GetTime(&start, &end) != S_OK || end <= start) {
    return 0.0;
  }
  const double duration = static_cast<double>(end - start) / unitsPerSecond;
  if (!isFirst || start < 0) {
    shortest = std::min(shortest, duration);
    return 0.0;
  }
  constexpr double rounding = 1e-6;
  const double missing = std::min(framePeriod, shortest) - duration;
  return missing > rounding ? missing : 0.0;
}

}  // namespace quillet
