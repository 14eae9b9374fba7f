// The callback of the video source: keeps the frame at or before the target, and the one after it.

#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>

#include "core/frame_store.h"
#include "core/time_units.h"
#include "directshow/source/sg_callback.h"

namespace quillet {

class VideoSGCallback : public SGCallback {
 public:
  /// @param frameSize bytes of a frame.
  /// @throws std::bad_alloc
  explicit VideoSGCallback(std::size_t frameSize);

  /// Makes the frame after the target the frame at the target.
  void advance();

  /// Copies the frame after the target over the frame at the target, which it is not.
  void copyLaterFrame();

  /// To be called before both frames are given up: they go where frames are kept.
  void keepBoth();

  /// To be called when nobody knows what the frames are.
  void forgetBoth() { hasA = hasB = false; }

  /// The number of the frame at `time` seconds.
  long numberAt(double time) const { return std::max(roundedHalfUp<long>(time * rate), 0L); }

  BYTE* frameA() const { return bufferA.get(); }
  BYTE* frameB() const { return buffer.get(); }

  using Clock = std::chrono::steady_clock;

  /// @name The request
  /// @{

  /// Frames per second.
  double rate = 0.0;

  /// Half a frame period, in seconds.
  double tolerance = 0.0;

  /// Time of the wanted frame, in seconds.
  double target = 0.0;

  /// Where frames are kept that give way to the next ones; null for nowhere.
  FrameStore* keeper = nullptr;
  /// @}

  /// @name The results, which the reader clears before it asks
  /// @{

  /// Time of the frame in buffer A, in seconds.
  double timeA = 0.0;

  /// Time of the sample held, in seconds.
  double timeB = 0.0;

  /// A frame at or before the target is in buffer A.
  bool found = false;

  /// A sample at or after the target was reached; it is in buffer B unless it is in A.
  bool later = false;

  /// How many samples have come, and when the first of them did.
  int arrived = 0;
  Clock::time_point firstArrival;
  /// @}

 private:
  void receive(double time, IMediaSample* sample) override;
  void keepA(double nextTime);

  std::size_t frameSize;
  std::unique_ptr<BYTE[]> bufferA;

  /// Whether the buffers hold frames of the stream, of the times told.
  bool hasA = false;
  bool hasB = false;
};

}  // namespace quillet
