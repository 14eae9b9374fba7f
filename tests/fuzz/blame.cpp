#include "blame.h"

#include <algorithm>
#include <iterator>
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
  if (VirtualQuery(code, &memory, sizeof memory) == 0 || memory.Type != MEM_IMAGE ||
      (memory.Protect & executable) == 0 ||
      GetModuleFileNameA(static_cast<HMODULE>(memory.AllocationBase), path, sizeof path) == 0) {
    return "";
  }
  std::string name = path;
  name.erase(0, name.rfind('\\') + 1);
  std::ranges::transform(name, name.begin(),
                         [](char letter) { return letter >= 'A' && letter <= 'Z' ? letter + 32 : letter; });
  std::ostringstream site;
  site << name << '+' << std::hex << code - static_cast<const BYTE*>(memory.AllocationBase);
  return site.str();
}

bool isServant(const std::string& site) {
  return site.empty() || std::ranges::any_of(servants, [&](const char* name) { return site.starts_with(name); });
}

/// @return the code that an import stands for; null when there is none.
const BYTE* imported(const BYTE* operand) {
#ifdef _WIN64
  const BYTE* const entry = operand + 4 + *reinterpret_cast<const INT32*>(operand);
#else
  const BYTE* const entry = *reinterpret_cast<const BYTE* const*>(operand);
#endif
  return IsBadReadPtr(entry, sizeof(void*)) ? nullptr : *reinterpret_cast<const BYTE* const*>(entry);
}

/// @return "module+offset" of what the call before `code` leads to; empty when there is none, or a register knows.
std::string calleeBefore(const BYTE* code) {
  constexpr BYTE callNear = 0xE8;
  constexpr BYTE indirect = 0xFF;
  constexpr BYTE callImport = 0x15;
  constexpr BYTE jumpImport = 0x25;
  if (code[-6] == indirect && code[-5] == callImport) {
    return siteOf(imported(code - 4));
  }
  if (code[-5] != callNear) {
    return "";
  }
  const BYTE* const callee = code + *reinterpret_cast<const INT32*>(code - 4);
  const bool isImport = !siteOf(callee).empty() && callee[0] == indirect && callee[1] == jumpImport;
  return siteOf(isImport ? imported(callee + 2) : callee);
}

std::string moduleOf(const std::string& site) {
  return site.substr(0, site.find('+'));
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
    } else if (moduleOf(calleeBefore(*word)) == servant) {
      return caller;
    } else if (likely.empty() && (*word)[-2] == 0xFF && (*word)[-1] >= 0xD0) {
      likely = caller;
    }
  }
  return likely;
}

std::string culpritOf(const CONTEXT& context) {
#ifdef _WIN64
  const auto instruction = context.Rip;
  const auto stack = context.Rsp;
#else
  const auto instruction = context.Eip;
  const auto stack = context.Esp;
#endif
  const std::string site = siteOf(reinterpret_cast<const BYTE*>(instruction));
  const std::string caller = isServant(site) ? culpritAbove(reinterpret_cast<const void*>(stack), moduleOf(site)) : "";
  return caller.empty() ? site : caller;
}

std::string culpritOf(HANDLE thread) {
  constexpr int samples = 300;
  std::string culprit;
  for (int i = 0; i < samples && !culprit.starts_with("quillet.dll"); ++i) {
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
