#include "directshow/source/video_sg_callback.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace quillet {

VideoSGCallback::VideoSGCallback(std::size_t frameSize)
    : frameSize(frameSize), bufferA(std::make_unique<BYTE[]>(frameSize)) {
  buffer = std::make_unique<BYTE[]>(frameSize);
}

void VideoSGCallback::advance() {
  keepA(timeB);
  bufferA.swap(buffer);
  timeA = timeB;
  hasA = std::exchange(hasB, false);
}

void VideoSGCallback::copyLaterFrame() {
  std::memcpy(bufferA.get(), buffer.get(), frameSize);
  hasA = false;
}

void VideoSGCallback::keepBoth() {
  keepA(hasB ? timeB : timeA);
  if (keeper != nullptr && hasB) {
    keeper->keep(numberAt(timeB), numberAt(timeB), buffer);
  }
  forgetBoth();
}

/// @param nextTime of the frame behind it; its own time when that is not known.
void VideoSGCallback::keepA(double nextTime) {
  if (keeper != nullptr && hasA) {
    keeper->keep(numberAt(timeA), numberAt(nextTime), bufferA);
  }
}

void VideoSGCallback::receive(double time, IMediaSample* sample) {
  if (parseMode) {
    countSample(time);
    return;
  }
  if (stop) {
    return;
  }
  if (arrived++ == 0) {
    firstArrival = Clock::now();
  }
  BYTE* data = nullptr;
  if (FAILED(sample->GetPointer(&data))) {
    return;
  }
  const auto size = std::min(static_cast<std::size_t>(std::max(sample->GetActualDataLength(), 0L)), frameSize);

  // What a sample lacks is black.
  const auto copyTo = [&](BYTE* bits) { std::memset(std::copy_n(data, size, bits), 0, frameSize - size); };

  const bool early = time < target + tolerance;
  const bool reached = time >= target - tolerance;
  if (early) {
    keepA(time);
    copyTo(bufferA.get());
    found = hasA = true;
    timeA = time;
  }
  if (reached) {
    // A sample within half a frame of the target is both: it is in buffer A, and buffer B is left alone.
    if (!early) {
      copyTo(buffer.get());
    }
    hasB = !early;
    later = true;
    timeB = time;
    hold();
  }
}

}  // namespace quillet
