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
/// @param platformBlocks heap blocks that every round is known to leave behind in the platform (see wine_gaps.h).
/// @return failure when the process then holds more handles, or heap blocks by one for every ten rounds; also when
///     the platform does not leave its blocks any more.
testing::AssertionResult leavesNothingBehind(const std::function<void()>& round, long platformBlocks = 0);

}  // namespace quillet::test
