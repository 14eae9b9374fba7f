// Measures one way of doing a thing against another in one run.

#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <windows.h>

#include <quillet/quillet.h>

namespace quillet::bench {

/// Ends the program when what a measurement stands on has failed.
inline void require(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "%s failed\n", what);
    std::exit(EXIT_FAILURE);
  }
}

/// Seconds since some moment.
inline double now() {
  LARGE_INTEGER ticks;
  LARGE_INTEGER ticksPerSecond;
  QueryPerformanceCounter(&ticks);
  QueryPerformanceFrequency(&ticksPerSecond);
  return static_cast<double>(ticks.QuadPart) / static_cast<double>(ticksPerSecond.QuadPart);
}

inline double median(std::vector<double> values) {
  std::ranges::nth_element(values, values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2));
  return values[values.size() / 2];
}

/// Runs both ways in turn, so that whatever else the machine does falls on both, and prints the medians and their ratio.
///
/// @param library, bare do the same work; each is called once before the measurement.
/// @param limit the ratio that must not be exceeded.
/// @return whether it was not.
template <class Library, class Bare>
bool compare(const char* what, int rounds, double limit, Library library, Bare bare) {
  std::vector<double> libraryTimes;
  std::vector<double> bareTimes;
  const auto measure = [](auto& work, std::vector<double>& times) {
    const double start = now();
    work();
    times.push_back(now() - start);
  };
  library();
  bare();
  for (int round = 0; round < rounds; ++round) {
    // Who goes first changes from round to round.
    if (round % 2 == 0) {
      measure(library, libraryTimes);
      measure(bare, bareTimes);
    } else {
      measure(bare, bareTimes);
      measure(library, libraryTimes);
    }
  }
  const double libraryTime = median(libraryTimes);
  const double bareTime = median(bareTimes);
  const double ratio = libraryTime / bareTime;
  constexpr double msPerSecond = 1000.0;
  std::printf("%s: library %.3f ms, bare %.3f ms, ratio %.3f (at most %.2f)%s\n", what, libraryTime * msPerSecond,
              bareTime * msPerSecond, ratio, limit, ratio <= limit ? "" : " EXCEEDED");
  return ratio <= limit;
}

/// Reads all compressed samples in order, each by its number.
/// @return a checksum.
inline unsigned long readAll(RawDataSourceStream& stream) {
  unsigned long checksum = 0;
  for (long i = 0, length = stream.duration(); i < length; ++i) {
    long sample = i;
    long count = 0;
    long bytes = 0;
    bool key = false;
    const unsigned char* const data = stream.getData(sample, count, bytes, key);
    require(data != nullptr && sample == i, "getData");
    checksum += data[0];
  }
  return checksum;
}

}  // namespace quillet::bench
