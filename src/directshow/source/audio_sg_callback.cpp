#include "directshow/source/audio_sg_callback.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "core/time_units.h"

namespace quillet {

AudioSGCallback::AudioSGCallback(int samplesPerSecond, int blockAlign)
    : samplesPerSecond(samplesPerSecond), blockAlign(blockAlign) {}

void AudioSGCallback::receive(double time, IMediaSample* sample) {
  if (stop) {
    return;
  }
  const int first = roundedHalfUp<int>(time * samplesPerSecond);
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
  if (blockFirst < start && blockLast < start) {
    before = true;
  } else if (blockFirst <= end) {
    copyToRun(std::max(blockFirst, start));
  }
  if (blockLast >= end) {
    hold();
  }
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
  const long long last = static_cast<long long>(first) + size / blockAlign - 1;
  blockLast = static_cast<int>(std::min<long long>(last, INT_MAX));
  blockBytes = size;
  return true;
}

/// Copies the block's samples from `from` on to their place in the run.
void AudioSGCallback::copyToRun(int from) {
  overlap = true;
  filledUpTo = std::min(blockLast, end);
  std::memcpy(destination + static_cast<std::size_t>(from - start) * blockAlign, blockFrom(from),
              static_cast<std::size_t>(filledUpTo - from + 1) * blockAlign);
}

}  // namespace quillet
