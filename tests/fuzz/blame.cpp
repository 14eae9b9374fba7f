#include "fuzz.h"

#include <algorithm>
#include <sstream>

namespace quillet::test {
namespace {

constexpr const char* servants[] = {"ntdll.dll",  "kernel32.dll", "kernelbase.dll", "msvcrt.dll",  "ucrtbase.dll",
                                    "user32.dll", "win32u.dll",   "ole32.dll",      "combase.dll", "quillet_fuzz.exe"};

/// @return "module+offset" of code; empty when there is no code.
std::string siteOf(const BYTE* code) {
  MEMORY_BASIC_INFORMATION memory = {};
  constexpr DWORD executable = PAGE_EXECUTE | PAGE_EXECUTE_READ | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
  char path[MAX_PATH] = {};
  VirtualQuery(code, &memory, sizeof memory);
  if (memory.Type != MEM_IMAGE || (memory.Protect & executable) == 0 ||
      GetModuleFileNameA(static_cast<HMODULE>(memory.AllocationBase), path, sizeof path) == 0) {
    return "";
  }
  std::ostringstream site;
  site << std::string(CharLowerA(path)).substr(std::string(path).rfind('\\') + 1) << '+' << std::hex
       << code - static_cast<const BYTE*>(memory.AllocationBase);
  return site.str();
}

bool isServant(const std::string& site) {
  return site.empty() || std::ranges::any_of(servants, [&](const char* name) { return site.starts_with(name); });
}

std::string moduleOf(const std::string& site) {
  return site.substr(0, site.find('+'));
}

/// @return the module that the call before `code` leads to, through an import where it is one; that of `code` itself when a
///     register knows.
std::string calleeBefore(const BYTE* code) {
  constexpr BYTE callNear = 0xE8;
  const BYTE* callee = code[-5] == callNear ? code + *reinterpret_cast<const INT32*>(code - 4) : code - 6;
  const bool isCode = !siteOf(callee).empty();
  if (isCode && callee[0] == 0xFF && (callee[1] == 0x15 || callee[1] == 0x25)) {  // A call or a jump by an import.
    const INT_PTR base = sizeof(void*) == 8 ? reinterpret_cast<INT_PTR>(callee + 6) : 0;
    const auto* const entry = reinterpret_cast<const BYTE* const*>(base + *reinterpret_cast<const INT32*>(callee + 2));
    callee = IsBadReadPtr(entry, sizeof(void*)) ? nullptr : *entry;
  }
  return moduleOf(siteOf(callee));
}

}  // namespace

std::string culpritAbove(const void* stack, std::string servant) {
  MEMORY_BASIC_INFORMATION memory = {};
  VirtualQuery(stack, &memory, sizeof memory);
  const auto* const end =
      reinterpret_cast<const BYTE* const*>(static_cast<BYTE*>(memory.BaseAddress) + memory.RegionSize);
  std::string likely;  // A call through a register, which does not tell whom it called.
  for (auto* word = static_cast<const BYTE* const*>(stack); word < end; ++word) {
    const std::string caller = siteOf(*word);
    if (caller.empty()) {
      continue;
    }
    // The stack also holds where calls once returned to that have ended: the caller has called the servant below it.
    if (isServant(caller)) {
      servant = moduleOf(caller);
    } else if (calleeBefore(*word) == servant) {
      return caller;
    } else if (likely.empty() && (*word)[-2] == 0xFF && (*word)[-1] >= 0xD0) {
      likely = caller;
    }
  }
  return likely;
}

std::string culpritOf(const CONTEXT& context) {
#ifdef _WIN64
  const auto instruction = context.Rip, stack = context.Rsp;
#else
  const auto instruction = context.Eip, stack = context.Esp;
#endif
  const std::string site = siteOf(reinterpret_cast<const BYTE*>(instruction));
  const std::string caller = isServant(site) ? culpritAbove(reinterpret_cast<const void*>(stack), moduleOf(site)) : "";
  return caller.empty() ? site : caller;
}

std::string culpritOf(HANDLE thread) {
  std::string culprit;
  for (int samples = 0; samples < 300 && !culprit.starts_with("quillet.dll"); ++samples) {
    SuspendThread(thread);
    CONTEXT context = {};
    context.ContextFlags = CONTEXT_FULL;
    if (GetThreadContext(thread, &context)) {
      culprit = culpritOf(context);
    }
    ResumeThread(thread);
    Sleep(1);  // A loop comes round meanwhile.
  }
  return culprit;
}

}  // namespace quillet::test
