#include "support/leak_check.h"

#include <algorithm>
#include <vector>

#include <windows.h>

#include <winternl.h>

namespace quillet::test {
namespace {

std::vector<HANDLE> processHeaps() {
  std::vector<HANDLE> heaps(GetProcessHeaps(0, nullptr));
  heaps.resize(GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data()));
  return heaps;
}

/// How many handles the process has open. GetProcessHandleCount would tell, but Wine 8 answers 0; the system's list of
/// all handles is there on both.
std::size_t openHandles() {
  struct Handle {
    ULONG process;
    BYTE type, flags;
    USHORT value;
    void* object;
    ACCESS_MASK access;
  };
  struct HandleList {
    ULONG count;
    Handle handles[1];
  };
  constexpr auto systemHandleInformation = static_cast<SYSTEM_INFORMATION_CLASS>(16);
  std::vector<BYTE> buffer(1 << 16);
  ULONG size = 0;
  while (NtQuerySystemInformation(systemHandleInformation, buffer.data(), static_cast<ULONG>(buffer.size()), &size) ==
         static_cast<NTSTATUS>(0xC0000004)) {  // STATUS_INFO_LENGTH_MISMATCH
    buffer.resize(buffer.size() * 2);
  }
  const auto* const list = reinterpret_cast<const HandleList*>(buffer.data());
  return std::count_if(list->handles, list->handles + list->count,
                       [](const Handle& handle) { return handle.process == GetCurrentProcessId(); });
}

}  // namespace

testing::AssertionResult heapsAreValid() {
  for (HANDLE heap : processHeaps()) {
    if (!HeapValidate(heap, 0, nullptr)) {
      return testing::AssertionFailure() << "heap " << heap << " is damaged";
    }
  }
  return testing::AssertionSuccess();
}

Holdings currentHoldings() {
  Holdings holdings = {};
  holdings.handles = openHandles();
  for (HANDLE heap : processHeaps()) {
    HeapLock(heap);
    PROCESS_HEAP_ENTRY entry = {};
    while (HeapWalk(heap, &entry)) {
      if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) {
        ++holdings.blocks;
        holdings.bytes += entry.cbData;
      }
    }
    HeapUnlock(heap);
  }
  return holdings;
}

testing::AssertionResult leavesNothingBehind(const std::function<void()>& round, long platformBlocks) {
  constexpr long firstRounds = 20;
  constexpr long rounds = 200;
  for (long i = 0; i < firstRounds; ++i) {
    round();
  }
  const Holdings before = currentHoldings();
  for (long i = 0; i < rounds; ++i) {
    round();
  }
  const Holdings after = currentHoldings();
  const long handles = static_cast<long>(after.handles - before.handles);
  const long blocks = static_cast<long>(after.blocks - before.blocks);
  const long bytes = static_cast<long>(after.bytes - before.bytes);
  // The platform's own caches may change a little; a leak grows with every round.
  constexpr long tolerance = rounds / 10;
  const long unexplained = blocks - rounds * platformBlocks;
  if (handles > 0 || unexplained > tolerance || (platformBlocks > 0 && unexplained < -tolerance)) {
    return testing::AssertionFailure() << rounds << " rounds left " << handles << " handles, " << blocks
                                       << " heap blocks and " << bytes << " bytes";
  }
  return testing::AssertionSuccess();
}

}  // namespace quillet::test
