#include "support/leak_check.h"

#include <algorithm>
#include <vector>

#include <windows.h>

// Need windows.h.
#include <tlhelp32.h>
#include <winternl.h>

#include "core/handles.h"

namespace quillet::test {
namespace {

std::vector<HANDLE> processHeaps() {
  std::vector<HANDLE> heaps(GetProcessHeaps(0, nullptr));
  heaps.resize(GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data()));
  return heaps;
}

/// How many handles the process has open. GetProcessHandleCount would tell, but Wine 8 answers 0; the system's list of
/// all handles is there on both.
long openHandles() {
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
  return static_cast<long>(std::count_if(list->handles, list->handles + list->count,
                                         [](const Handle& handle) { return handle.process == GetCurrentProcessId(); }));
}

long openThreads() {
  const KernelHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
  THREADENTRY32 entry = {};
  entry.dwSize = sizeof entry;
  long count = 0;
  for (BOOL more = Thread32First(snapshot.get(), &entry); more; more = Thread32Next(snapshot.get(), &entry)) {
    count += entry.th32OwnerProcessID == GetCurrentProcessId();
  }
  return count;
}

/// What the process holds.
struct Holdings {
  long handles;
  long blocks;  // Heap blocks in use.
  long threads;
};

Holdings currentHoldings() {
  Holdings holdings = {openHandles(), 0, openThreads()};
  for (HANDLE heap : processHeaps()) {
    HeapLock(heap);
    PROCESS_HEAP_ENTRY entry = {};
    while (HeapWalk(heap, &entry)) {
      holdings.blocks += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0;
    }
    HeapUnlock(heap);
  }
  return holdings;
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

testing::AssertionResult leavesNothingBehind(const std::function<void()>& round, long platformBlocks,
                                             long platformHandles, long rounds) {
  for (long i = 0; i < std::max(rounds / 10, 1L); ++i) {
    round();
  }
  const Holdings before = currentHoldings();
  for (long i = 0; i < rounds; ++i) {
    round();
  }
  // The platform's pool keeps threads, with their blocks, until they have been idle for some seconds.
  const ULONGLONG end = GetTickCount64() + 15000;
  while (openThreads() > before.threads + 1 && GetTickCount64() < end) {
    Sleep(50);
  }
  const Holdings after = currentHoldings();
  const long handles = after.handles - before.handles - rounds * platformHandles;
  const long blocks = after.blocks - before.blocks - rounds * platformBlocks;
  const long threads = after.threads - before.threads;
  // The platform's own caches may change a little; a leak grows with every round.
  constexpr long tolerance = 20;
  constexpr long handleTolerance = 2;  // A thread of the pool has its own.
  // What the platform leaves behind and no longer does is missing once a round; a thread of the pool that ends meanwhile
  // takes a dozen blocks along.
  const long closedGap = -std::max(tolerance, rounds / 2);
  if (handles > handleTolerance || (platformHandles > 0 && handles < closedGap) || threads > 1 || blocks > tolerance ||
      (platformBlocks > 0 && blocks < closedGap)) {
    return testing::AssertionFailure() << rounds << " rounds left " << handles << " handles, " << blocks
                                       << " heap blocks and " << threads << " threads";
  }
  return testing::AssertionSuccess();
}

}  // namespace quillet::test
