// Orders in which frames are asked for. Knows nothing of Windows: whom the library is compared with does not either.

#pragma once

#include <chrono>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

namespace quillet::bench {

using Frames = std::vector<long>;

/// Every frame whose number is `step` from the one before; a negative step leads backwards.
inline Frames inSteps(long first, long step, int count) {
  Frames frames;
  for (int i = 0; i < count; ++i) {
    frames.push_back(first + i * step);
  }
  return frames;
}

/// Some neighbours, from `first` on, again and again.
inline Frames inTurn(long first, int neighbours, int count) {
  Frames frames;
  for (int i = 0; i < count; ++i) {
    frames.push_back(first + i % neighbours);
  }
  return frames;
}

/// From `first` to `last` and back to it, turning as often as it takes for `passes`.
inline Frames toAndFro(long first, long last, int passes) {
  Frames frames = {first};
  for (int pass = 0; pass < passes; ++pass) {
    const long step = pass % 2 == 0 ? 1 : -1;
    while (frames.back() != (step > 0 ? last : first)) {
      frames.push_back(frames.back() + step);
    }
  }
  return frames;
}

inline Frames atRandom(long length, int count) {
  constexpr unsigned seed = 20;
  std::mt19937 random(seed);
  Frames frames;
  for (int i = 0; i < count; ++i) {
    frames.push_back(static_cast<long>(random() % static_cast<unsigned long>(length)));
  }
  return frames;
}

/// A frame in the middle between two key frames, in the streams of this benchmark, so that seeking to it costs as much as
/// on the average.
inline long amidst(long length) {
  return length * 5 / 8;
}

/// Prints frames a second: a line for each pattern, a column for each stream, from tabulator to tabulator. Every figure has
/// a stream of its own; opening it is not counted, its first frame is.
///
/// @param open opens the file of a name, and returns what reads a frame of a number.
template <class Open>
void printSpeeds(Open open) {
  struct Medium {
    const char* file;
    long length;
  };
  struct Pattern {
    const char* name;
    Frames (*frames)(long length);
  };
  for (const auto& [name, frames] : {
           Pattern{"in order", [](long) { return inSteps(0, 1, 120); }},
           Pattern{"backwards", [](long length) { return inSteps(amidst(length), -1, 30); }},
           Pattern{"two neighbours in turn", [](long length) { return inTurn(amidst(length), 2, 20); }},
           Pattern{"three in turn", [](long length) { return inTurn(amidst(length), 3, 20); }},
           Pattern{"every seventh", [](long length) { return inSteps(amidst(length), 7, 20); }},
           Pattern{"at random", [](long length) { return atRandom(length, 20); }},
       }) {
    std::printf("%s", name);
    for (const auto& [file, length] :
         {Medium{"bench_mpeg4.avi", 400}, Medium{"bench_mjpeg_360p.avi", 400}, Medium{"bench_h264.mp4", 600}}) {
      const Frames wanted = frames(length);
      auto read = open(file);
      const auto start = std::chrono::steady_clock::now();
      for (const long frame : wanted) {
        read(frame);
      }
      const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
      const double speed = static_cast<double>(wanted.size()) / seconds.count();
      std::printf("\t%.*f", speed < 10.0 ? 1 : 0, speed);
    }
    std::printf("\n");
  }
}

}  // namespace quillet::bench
