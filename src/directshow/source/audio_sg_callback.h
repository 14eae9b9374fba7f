// The callback of the audio source: copies the blocks that overlap the wanted run into it, and keeps the last block.

#pragma once

#include <climits>
#include <cstddef>

#include "directshow/source/sg_callback.h"

namespace quillet {

/// Samples are numbered by their time; runs and blocks name their first and last sample.
class AudioSGCallback : public SampleGrabberCallback {
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
  /// @}

 private:
  void receive(double time, IMediaSample* sample) override;
  bool keepBlock(int first, IMediaSample* sample);
  void copyToRun(int from);

  int samplesPerSecond;
  int blockAlign;
  int bufferCapacity = 0;
};

}  // namespace quillet
