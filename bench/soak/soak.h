// What the library does for hours, and the bare platform beside it.

#pragma once

namespace quillet::bench {

/// Opens, reads, writes and deletes in rounds, with the library and as often without it.
/// @return whether the library has left behind no more than the platform leaves by itself.
bool leavesNoMoreThanThePlatform(bool directShow, long rounds);

/// Reads at random on some threads, each with streams of its own.
/// @param bare without the library.
/// @return whether all that was read is what one thread reads.
bool readsRightOnThreads(bool directShow, bool bare, unsigned threads, unsigned seconds, unsigned seed);

}  // namespace quillet::bench
