// Measures one way of doing a thing against another in one run.

#pragma once

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
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

/// Measures both ways in turn, so that whatever else the machine does falls on both, and prints the medians and their ratio.
///
/// @param name, otherName what the ways are called.
/// @param limit the ratio that must not be exceeded; infinite for none.
/// @param way, otherWay each returns the seconds that it took.
/// @return whether the limit was not exceeded.
template <class Way, class OtherWay>
bool compareTimes(const std::string& what, const char* name, const char* otherName, int rounds, double limit, Way way,
                  OtherWay otherWay) {
  std::vector<double> times;
  std::vector<double> otherTimes;
  for (int round = 0; round < rounds; ++round) {
    // Who goes first changes from round to round.
    if (round % 2 == 0) {
      times.push_back(way());
      otherTimes.push_back(otherWay());
    } else {
      otherTimes.push_back(otherWay());
      times.push_back(way());
    }
  }
  const double time = median(times);
  const double otherTime = median(otherTimes);
  const double ratio = time / otherTime;
  constexpr double msPerSecond = 1000.0;
  std::printf("%s: %s %.3f ms, %s %.3f ms, ratio %.3f", what.c_str(), name, time * msPerSecond, otherName,
              otherTime * msPerSecond, ratio);
  if (std::isfinite(limit)) {
    std::printf(" (at most %.2f)%s", limit, ratio <= limit ? "" : " EXCEEDED");
  }
  std::printf("\n");
  return ratio <= limit;
}

/// Compares what the library takes for some work with what the bare platform takes for the same; see compareTimes(). Each is
/// called once before the measurement.
template <class Library, class Bare>
bool compare(const char* what, int rounds, double limit, Library library, Bare bare) {
  const auto timeOf = [](auto& work) {
    return [&] {
      const double start = now();
      work();
      return now() - start;
    };
  };
  library();
  bare();
  return compareTimes(what, "library", "bare", rounds, limit, timeOf(library), timeOf(bare));
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
