// Conversions between the library's counts: samples, milliseconds, units of 100 ns.

#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace quillet {

/// Units of 100 ns in a second.
inline constexpr std::int64_t unitsPerSecond = 10'000'000;

/// Milliseconds in a second.
inline constexpr int msPerSecond = 1000;

/// `value` without its fraction; the nearest end of Integer's range when it lies outside, 0 for no number.
template <class Integer>
Integer truncated(double value) {
  using Limits = std::numeric_limits<Integer>;
  if (std::isnan(value)) {
    return 0;
  }
  // Both ends, and the upper one plus 1, are exact in a double or rounded outwards, so the comparisons are safe.
  if (value >= static_cast<double>(Limits::max())) {
    return Limits::max();
  }
  if (value <= static_cast<double>(Limits::min())) {
    return Limits::min();
  }
  return static_cast<Integer>(value);
}

/// `value` without its fraction, plus 1 when the fraction is at least a half.
template <class Integer>
Integer roundedHalfUp(double value) {
  const auto whole = truncated<Integer>(value);
  const bool roundUp = value - static_cast<double>(whole) >= 0.5 && whole < std::numeric_limits<Integer>::max();
  return roundUp ? whole + 1 : whole;
}

/// Whether samples, or milliseconds, can be so many from the start of a stream on: a number that is not negative, and that a
/// long can hold.
inline bool isWithinStreams(double count) {
  return count >= 0.0 && count <= static_cast<double>(std::numeric_limits<long>::max());
}

/// The number of the sample (or frame) at `ms` milliseconds, halves up; -1 when no stream has one.
inline long sampleAtMs(double ms, double samplesPerSecond) {
  const double sample = ms * samplesPerSecond / msPerSecond;
  return isWithinStreams(sample) ? roundedHalfUp<long>(sample) : -1;
}

/// Whole samples in a period of units of 100 ns, at most what a long can count.
inline long samplesInPeriod(std::int64_t period, std::int64_t samplesPerSecond) {
  constexpr std::int64_t most = std::numeric_limits<long>::max();
  // A longer period would not fit the product.
  const std::int64_t countable = std::min(period, most * unitsPerSecond / samplesPerSecond);
  return static_cast<long>(std::min(countable * samplesPerSecond / unitsPerSecond, most));
}

}  // namespace quillet
