// The parts of the fuzzer: its files, what must hold of them, and whom to blame for what goes wrong.

#pragma once

#include <windows.h>

#include "support/temp_file.h"

namespace quillet::test {

/// A damaged media file.
struct Mutant {
  Bytes content;
  const char* extension;
  bool hasVideo, hasAudio;  ///< The file that it was made from.
  std::string recipe;       ///< What was done to which file.
};

/// The same one of a seed and a number each time.
Mutant makeMutant(unsigned seed, long number);

/// Opens a stream and asks it for everything.
void checkStream(const char* fileName, bool video, bool raw, bool directShow);

/// Told of each operation on a stream before it begins.
void enter(const std::string& operation);

/// Told of an answer that cannot be. Ends the process.
[[noreturn]] void reportBroken(const std::string& what, const std::string& detail);

/// @return module and offset of the code that `context` runs in or, where that is one of the modules that everybody calls
///     to wait, to allocate and to fail, of their caller. Empty when nobody can be found.
std::string culpritOf(const CONTEXT& context);

/// @return the same of whoever has called such a module, `servant` at first, on the stack from `stack` on.
std::string culpritAbove(const void* stack, std::string servant = {});

/// @return the same of a thread of this process that hangs: ours when it ever is in our code, which then has a loop.
std::string culpritOf(HANDLE thread);

}  // namespace quillet::test
