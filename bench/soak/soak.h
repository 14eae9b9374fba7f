// What the library does for hours, and the bare platform beside it.

#pragma once

#include <string>

namespace quillet::bench {

/// Opens, reads, writes and deletes in rounds, with the library and as often without it.
/// @return whether the library has left behind no more than the platform leaves by itself.
bool leavesNoMoreThanThePlatform(bool directShow, long rounds);

/// Reads at random on some threads, each with streams of its own.
/// @param what "vfw", "codecs" for what the platform's codecs decode there, "ds".
/// @param bare without the library.
/// @return whether all that was read is what one thread reads.
bool readsRightOnThreads(const std::string& what, bool bare, unsigned threads, unsigned seconds, unsigned seed);

}  // namespace quillet::bench
