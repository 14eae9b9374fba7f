// Which module a thread has died or hangs in.

#pragma once

#include <string>

#include <windows.h>

namespace quillet::test {

/// @return module and offset of the code that `context` runs in or, where that is one of the modules that everybody calls
///     to wait, to allocate and to fail, of their caller. Empty when nobody can be found.
std::string culpritOf(const CONTEXT& context);

/// @return the same of whoever has called such a module, `servant` at first, on the stack from `stack` on.
std::string culpritAbove(const void* stack, std::string servant = {});

/// @return the same of a thread of this process that hangs: ours when it ever is in our code, which then has a loop.
std::string culpritOf(HANDLE thread);

}  // namespace quillet::test
