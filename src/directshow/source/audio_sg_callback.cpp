#include "directshow/source/audio_sg_callback.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "core/time_units.h"

namespace quillet {
namespace {

/// `number`, or the last one that there can be.
int limited(long long number) {
  return static_cast<int>(std::min<long long>(number, INT_MAX));
}

}  // namespace

AudioSGCallback::AudioSGCallback(int samplesPerSecond, int blockAlign)
    : samplesPerSecond(samplesPerSecond), blockAlign(blockAlign) {}

void AudioSGCallback::seeked() {
  hasPrevious = false;
  numbersStand = false;
}

void AudioSGCallback::receive(double time, IMediaSample* sample) {
  if (stop) {
    return;
  }
  const int stamped = roundedHalfUp<int>(time * samplesPerSecond);
  const int first = numberOf(stamped, sample);
  lowestFirst = std::min(lowestFirst, first);
  if (!overlap && start < first) {
    firstAvailable = first;
    late = true;
    hold();
    return;
  }
  if (!keepBlock(first, sample)) {
    outOfMemory = true;
    hold();
    return;
  }
  hasPrevious = true;
  nextStamp = limited(static_cast<long long>(stamped) + blockBytes / blockAlign);
  if (blockFirst < start && blockLast < start) {
    before = true;
  } else if (blockFirst <= end) {
    copyToRun(std::max(blockFirst, start));
  }
  if (blockLast >= end) {
    hold();
  }
}

/// The number of a block's first sample, whose time tells `stamped`.
int AudioSGCallback::numberOf(int stamped, IMediaSample* sample) const {
  // Containers round times, to milliseconds for one: blocks that follow one another then overlap a little, or leave a
  // little out.
  constexpr int roundedTimesPerSecond = 1000;
  const int tolerance = (samplesPerSecond + roundedTimesPerSecond - 1) / roundedTimesPerSecond;
  const bool follows = hasPrevious && sample->IsDiscontinuity() != S_OK &&
                       std::abs(static_cast<long long>(stamped) - nextStamp) <= tolerance;
  // The first of the blocks that pass after a seek may have been cut, and been given any time. So the numbers stand
  // only from the first block on that the run wants. That one continues the block before, too, when by its own time the
  // run would lack its start.
  const bool continues = follows && (numbersStand || start < stamped);
  return continues ? limited(blockLast + 1LL) : stamped;
}

/// Copies the whole block into the buffer, which grows as needed.
bool AudioSGCallback::keepBlock(int first, IMediaSample* sample) {
  BYTE* data = nullptr;
  const bool hasData = SUCCEEDED(sample->GetPointer(&data));
  const int size = hasData ? static_cast<int>(std::max(sample->GetActualDataLength(), 0L)) : 0;
  if (buffer == nullptr || bufferCapacity < size) {
    bufferCapacity = 0;
    buffer.reset(new (std::nothrow) BYTE[size]);
    if (buffer == nullptr) {
      return false;
    }
    bufferCapacity = size;
  }
  if (size > 0) {
    std::memcpy(buffer.get(), data, size);
  }
  blockFirst = first;
  blockLast = limited(static_cast<long long>(first) + size / blockAlign - 1);
  blockBytes = size;
  return true;
}

/// Copies the block's samples from `from` on to their place in the run.
void AudioSGCallback::copyToRun(int from) {
  overlap = true;
  numbersStand = true;
  filledUpTo = std::min(blockLast, end);
  std::memcpy(destination + static_cast<std::size_t>(from - start) * blockAlign, blockFrom(from),
              static_cast<std::size_t>(filledUpTo - from + 1) * blockAlign);
}

}  // namespace quillet
