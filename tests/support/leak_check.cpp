#include "support/leak_check.h"

#include <algorithm>

#include "support/process_state.h"

namespace quillet::test {

testing::AssertionResult leavesNothingBehind(const std::function<void()>& round, long platformBlocks,
                                             long platformHandles, long rounds) {
  for (long i = 0; i < std::max(rounds / 10, 1L); ++i) {
    round();
  }
  const Holdings before = currentHoldings();
  for (long i = 0; i < rounds; ++i) {
    round();
  }
  awaitThreads(before.threads + 1);
  const Holdings after = currentHoldings();
  const long handles = after.handles - before.handles - rounds * platformHandles;
  const long blocks = after.blocks - before.blocks - rounds * platformBlocks;
  const long threads = after.threads - before.threads;
  // The platform's own caches may change a little; a leak grows with every round.
  constexpr long tolerance = 20;
  constexpr long handleTolerance = 2;  // A thread of the pool has its own.
  // What the platform leaves behind and no longer does is missing once a round; a thread of the pool that ends meanwhile
  // takes a dozen blocks along.
  constexpr long blocksOfAThread = 12;
  const long closedGap = -std::max(tolerance, rounds / 2) - blocksOfAThread * std::max(-threads, 0L);
  const bool isMore = handles > handleTolerance || blocks > tolerance || threads > 1;
  const bool isLess = (platformHandles > 0 && handles < closedGap) || (platformBlocks > 0 && blocks < closedGap);
  return testing::AssertionResult(!isMore && !isLess) << rounds << " rounds left " << handles << " handles, " << blocks
                                                      << " heap blocks and " << threads << " threads";
}

}  // namespace quillet::test
