#include "directshow/graph/stream_time.h"

#include <wrl/client.h>

#include "core/time_units.h"
#include "directshow/graph/pins.h"

using Microsoft::WRL::ComPtr;

namespace quillet {
namespace {

bool isWine() {
  static const bool wine = [] {
    const HMODULE ntdll = GetModuleHandleA("ntdll.dll");
    return ntdll != nullptr && GetProcAddress(ntdll, "wine_get_version") != nullptr;
  }();
  return wine;
}

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

void StreamTime::seeked(IPin* grabberInput, long long position) {
  if (isWine()) {
    segmentStart = static_cast<double>(landing(grabberInput, position)) / unitsPerSecond;
    mayBeCut = true;
  }
}

double StreamTime::of(double sampleTime, IMediaSample* sample, double framePeriod) {
  if (mayBeCut) {
    mayBeCut = false;
    REFERENCE_TIME start = 0;
    REFERENCE_TIME end = 0;
    if (sample->GetTime(&start, &end) == S_OK) {
      const double missing = framePeriod - static_cast<double>(end - start) / unitsPerSecond;
      constexpr double rounding = 1e-6;
      sampleTime -= missing > rounding ? missing : 0.0;
    }
  }
  return segmentStart + sampleTime;
}

}  // namespace quillet
