#include "directshow/source/video_sg_callback.h"

#include <algorithm>
#include <cstring>

namespace quillet {

VideoSGCallback::VideoSGCallback(std::size_t frameSize)
    : frameSize(frameSize), bufferA(std::make_unique<BYTE[]>(frameSize)) {
  buffer = std::make_unique<BYTE[]>(frameSize);
}

void VideoSGCallback::copyLaterFrame() {
  std::memcpy(bufferA.get(), buffer.get(), frameSize);
}

void VideoSGCallback::receive(double time, IMediaSample* sample) {
  if (parseMode) {
    countSample(time);
    return;
  }
  if (stop) {
    return;
  }
  BYTE* data = nullptr;
  if (FAILED(sample->GetPointer(&data))) {
    return;
  }
  const auto size = std::min(static_cast<std::size_t>(std::max(sample->GetActualDataLength(), 0L)), frameSize);

  const bool early = time < target + tolerance;
  const bool reached = time >= target - tolerance;
  if (early) {
    std::memcpy(bufferA.get(), data, size);
    found = true;
    timeA = time;
  }
  if (reached) {
    // A sample within half a frame of the target is both: it is in buffer A, and buffer B is left alone.
    if (!early) {
      std::memcpy(buffer.get(), data, size);
    }
    later = true;
    timeB = time;
    hold();
  }
}

}  // namespace quillet
