// What the process holds, and whether its heaps are whole.

#pragma once

#include <windows.h>

namespace quillet::test {

struct Holdings {
  long handles;
  long blocks;  ///< Heap blocks in use.
  long threads;
};

Holdings currentHoldings();

/// Waits until the threads are no more than `before`, or up to 15 seconds: the platform's pool keeps threads, with their
/// blocks, until they have been idle for some seconds.
void awaitThreads(long before);

/// @return a heap that has been written beyond its blocks or after they were freed; null when there is none.
HANDLE damagedHeap();

/// @return how many bytes there are from `data` to the end of its heap block; -1 when it lies in none.
long long bytesInBlock(const void* data);

}  // namespace quillet::test
