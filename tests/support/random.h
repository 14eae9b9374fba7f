// Random numbers that can be had again.

#pragma once

#include <cstdlib>
#include <iostream>
#include <random>

namespace quillet::test {

/// A generator whose seed is written to the log; QUILLET_TEST_SEED repeats the run that wrote it.
inline std::mt19937 loggedRandom() {
  const char* const wanted = std::getenv("QUILLET_TEST_SEED");
  const unsigned seed = wanted != nullptr ? std::strtoul(wanted, nullptr, 10) : std::random_device()();
  std::cout << "QUILLET_TEST_SEED=" << seed << '\n';
  return std::mt19937(seed);
}

/// A number from `first` to `last`.
inline long between(long first, long last, std::mt19937& random) {
  return std::uniform_int_distribution<long>(first, last)(random);
}

}  // namespace quillet::test
