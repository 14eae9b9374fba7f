// Finds damaged heaps and what an operation, run many times, leaves behind.

#pragma once

#include <cstddef>
#include <functional>

#include <gtest/gtest.h>

namespace quillet::test {

/// Whether no heap of the process has been written beyond its blocks or after they were freed.
testing::AssertionResult heapsAreValid();

/// What the process holds.
struct Holdings {
  std::size_t handles;
  std::size_t blocks;  // Heap blocks in use.
  std::size_t bytes;   // Their sizes, summed up.
};
Holdings currentHoldings();

/// Runs `round` 20 times, so that what is only made once exists, then 200 times more.
/// @return failure when the process then holds more handles, or heap blocks by one for every ten rounds.
testing::AssertionResult leavesNothingBehind(const std::function<void()>& round);

}  // namespace quillet::test
