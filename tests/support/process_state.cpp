#include "support/process_state.h"

#include <algorithm>
#include <cstdint>
#include <vector>

// Need windows.h.
#include <tlhelp32.h>
#include <winternl.h>

#include "platform/handles.h"
#include "support/wine_gaps.h"

namespace quillet::test {
namespace {

/// How many handles the process has open. Wine 8 knows them from the system's list of all handles only.
long openHandles() {
  if (DWORD count = 0; !wine_gap::handlesAreNotCounted) {
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return static_cast<long>(count);
  }
  constexpr auto systemHandleInformation = static_cast<SYSTEM_INFORMATION_CLASS>(16);
  std::vector<BYTE> buffer(1 << 16);
  ULONG size = 0;
  while (NtQuerySystemInformation(systemHandleInformation, buffer.data(), static_cast<ULONG>(buffer.size()), &size) ==
         static_cast<NTSTATUS>(0xC0000004)) {  // STATUS_INFO_LENGTH_MISMATCH
    buffer.resize(buffer.size() * 2);
  }
  const auto& list = *reinterpret_cast<const SYSTEM_HANDLE_INFORMATION*>(buffer.data());
  return static_cast<long>(
      std::ranges::count(list.Handle, list.Handle + list.Count, GetCurrentProcessId(), &SYSTEM_HANDLE_ENTRY::OwnerPid));
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

std::vector<HANDLE> processHeaps() {
  std::vector<HANDLE> heaps(GetProcessHeaps(0, nullptr));
  heaps.resize(GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data()));
  return heaps;
}

/// Calls `see` with each heap block in use.
template <class See>
void walkHeaps(See see) {
  for (HANDLE heap : processHeaps()) {
    HeapLock(heap);
    PROCESS_HEAP_ENTRY entry = {};
    while (HeapWalk(heap, &entry)) {
      if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) {
        see(entry);
      }
    }
    HeapUnlock(heap);
  }
}

/// How many blocks in use the walk tells of as one. Those of a group would be seen in every 31st round only.
long blocksIn(const PROCESS_HEAP_ENTRY& entry) {
  constexpr DWORD first = 2 * sizeof(void*) + 8, length = 31;
  const DWORD size = wine_gap::heapWalkTellsGroups && entry.cbData > first ? (entry.cbData - first) / length : 0;
  long used = 0;
  for (DWORD i = 0; i < length; ++i) {
    // Before each: its size in units of the alignment, something else, its number, and flags with that of a free one.
    const WORD* const header = reinterpret_cast<WORD*>(static_cast<BYTE*>(entry.lpData) + first + i * size);
    if (size < 8 || header[0] * DWORD{MEMORY_ALLOCATION_ALIGNMENT} != size || header[2] != i) {
      return 1;  // No group.
    }
    used += (header[3] & 0x100) == 0;
  }
  return used;
}

}  // namespace

HANDLE damagedHeap() {
  const std::vector<HANDLE> heaps = processHeaps();
  const auto damaged = std::ranges::find_if(heaps, [](HANDLE heap) { return !HeapValidate(heap, 0, nullptr); });
  return damaged != heaps.end() ? *damaged : nullptr;
}

void awaitThreads(long before) {
  const ULONGLONG end = GetTickCount64() + 15000;
  while (openThreads() > before && GetTickCount64() < end) {
    Sleep(50);
  }
}

Holdings currentHoldings() {
  Holdings holdings = {openHandles(), 0, openThreads()};
  walkHeaps([&](const PROCESS_HEAP_ENTRY& entry) { holdings.blocks += blocksIn(entry); });
  return holdings;
}

long long bytesInBlock(const void* data) {
  long long bytes = -1;
  walkHeaps([&](const PROCESS_HEAP_ENTRY& block) {
    const auto offset = reinterpret_cast<std::uintptr_t>(data) - reinterpret_cast<std::uintptr_t>(block.lpData);
    // Unsigned: what lies before the block is far beyond it.
    bytes = offset < block.cbData ? static_cast<long long>(block.cbData - offset) : bytes;
  });
  return bytes;
}

}  // namespace quillet::test
