// What must hold of every stream, whatever file it was opened from.

#pragma once

#include <string>

namespace quillet::test {

/// Told of each operation before it begins.
void enter(const std::string& operation);

/// Told of an answer that cannot be. Ends the process.
[[noreturn]] void reportBroken(const std::string& what, const std::string& detail);

/// Opens a stream and asks it for everything.
void checkStream(const char* fileName, bool video, bool raw, bool directShow);

}  // namespace quillet::test
