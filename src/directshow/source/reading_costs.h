// What seeks and frames have cost a source so far, from which it chooses the cheaper way to a frame.

#pragma once

#include <algorithm>
#include <chrono>

namespace quillet {

class ReadingCosts {
 public:
  using Seconds = std::chrono::duration<double>;

  /// A seek has come to its goal, by way of frames that were asked for as well.
  void sought(Seconds time, long passed) {
    // The first one sets up the decoder, too.
    if (isSetUp) {
      add(seek, std::max(time.count() - static_cast<double>(passed) * frame, 0.0));
    }
    isSetUp = true;
  }

  /// The graph has gone on by so many frames.
  void decoded(Seconds time, int frames) {
    if (frames > 0) {
      add(frame, time.count() / frames);
    }
  }

  /// Whether decoding on for `frames` is quicker than a seek. Now and then it says no where it could say yes, since what a
  /// seek costs changes from place to place, and only seeks tell: a small part of all effort goes there.
  bool isQuickerToDecode(long frames) {
    constexpr double share = 32.0;
    constexpr long fewFrames = 50;
    if (seek == unknown) {
      return false;
    }
    if (frame == unknown) {
      return frames <= fewFrames;  // To learn it.
    }
    const double decoding = static_cast<double>(frames) * frame;
    if (decoding > seek) {
      return false;
    }
    spent += decoding;
    if (spent <= share * seek) {
      return true;
    }
    spent = 0.0;
    return false;
  }

  /// @return how many frames a seek is to pass on its way when the ones before its goal will be wanted, too: as many as make
  ///     the seek itself a quarter of the whole.
  long worthPassing() const {
    constexpr double ratio = 4.0;
    constexpr double byDefault = 16.0;
    constexpr double most = 10000.0;
    return static_cast<long>(seek == unknown || frame == unknown ? byDefault : std::min(ratio * seek / frame, most));
  }

 private:
  static constexpr double unknown = 0.0;

  /// The latest weighs as much as all before it.
  static void add(double& cost, double seconds) { cost = cost == unknown ? seconds : (cost + seconds) / 2; }

  // In seconds.
  double seek = unknown;
  double frame = unknown;
  double spent = 0.0;  // On decoding on since the last seek that was made instead.
  bool isSetUp = false;
};

}  // namespace quillet
