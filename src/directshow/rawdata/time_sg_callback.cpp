#include "directshow/rawdata/time_sg_callback.h"

#include <algorithm>

namespace quillet {

void TimeSGCallback::restart() {
  reachedBefore = nothing;
  counted = false;
}

void TimeSGCallback::receive(double time, IMediaSample* sample) {
  if (stop) {
    return;
  }
  const SampleRange next = numbering.rangeOf(time, sample);
  if (!next.hasTime) {
    rough = true;
    hold();
    return;
  }
  if (counted) {
    reachedBefore = std::max(reachedBefore, reachOf(range));
  }
  range = next;
  counted = true;
  if (reachOf(range) >= target) {
    hold();
  }
}

}  // namespace quillet
