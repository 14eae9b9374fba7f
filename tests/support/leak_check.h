// Finds what an operation, run many times, leaves behind.

#pragma once

#include <functional>

#include <gtest/gtest.h>

namespace quillet::test {

/// Runs `round` some times, so that what is only made once exists, then `rounds` times more.
/// @param platformBlocks heap blocks that every round is known to leave behind in the platform (see wine_gaps.h).
/// @param platformHandles handles, likewise.
/// @return failure when the process then holds more than 2 handles, a thread or 20 heap blocks more; also when the platform
///     does not leave its own any more.
testing::AssertionResult leavesNothingBehind(const std::function<void()>& round, long platformBlocks = 0,
                                             long platformHandles = 0, long rounds = 200);

}  // namespace quillet::test
