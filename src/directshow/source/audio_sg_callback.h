// The callback of the audio source: copies the blocks that overlap the wanted run into it, and keeps the last block.

#pragma once

#include <climits>
#include <cstddef>

#include "directshow/source/sg_callback.h"

namespace quillet {

/// Runs and blocks name their first and last sample. A block is numbered by its time, or continues the block before where
/// it follows it.
class AudioSGCallback : public SGCallback {
 public:
  /// @param blockAlign bytes of a sample.
  AudioSGCallback(int samplesPerSecond, int blockAlign);

  /// Whether the last block holds `sample`.
  bool blockHolds(int sample) const { return buffer != nullptr && blockFirst <= sample && sample <= blockLast; }

  /// The last block's data from sample `sample` on.
  const BYTE* blockFrom(int sample) const {
    return buffer.get() + static_cast<std::size_t>(sample - blockFirst) * blockAlign;
  }

  bool hasReceivedBlock() const { return buffer != nullptr; }

  /// Has the next block numbered by its time alone. To be called after each seek.
  void seeked();

  /// @name The request
  /// @{
  BYTE* destination = nullptr;  ///< Where sample `start` goes; not owned.
  int start = 0;
  int end = 0;
  /// @}

  /// @name The results
  /// @{
  int filledUpTo = -1;        ///< Last sample written to the destination.
  bool late = false;          ///< The first block began after `start`; nothing was copied.
  int firstAvailable = 0;     ///< First sample of that late block.
  bool overlap = false;       ///< A block that overlaps the run was received.
  bool before = false;        ///< A block wholly before `start` was received.
  int lowestFirst = INT_MAX;  ///< Lowest first sample of any block seen.
  bool outOfMemory = false;   ///< A block could not be kept.
  /// @}

  /// @name The last block, all of which is kept
  /// @{
  int blockFirst = 0;
  int blockLast = -1;
  int blockBytes = 0;
  int nextStamp = 0;  ///< The number that the time of a block tells which begins where this one ends.
                      /// @}

 private:
  void receive(double time, IMediaSample* sample) override;
  int numberOf(int stamped, IMediaSample* sample) const;
  bool keepBlock(int first, IMediaSample* sample);
  void copyToRun(int from);

  int samplesPerSecond;
  int blockAlign;
  int bufferCapacity = 0;
  bool hasPrevious = false;   // The last block has come since the last seek.
  bool numbersStand = false;  // A block that overlaps a run has come since then.
};

}  // namespace quillet
