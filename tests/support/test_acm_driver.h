// An audio codec of the tests' own, known to the Audio Compression Manager while it lives.

#pragma once

#include <vector>

#include <windows.h>

#include <mmreg.h>
#include <msacm.h>

#include "support/temp_file.h"

namespace quillet::test {

/// Converts between 16-bit PCM and blocks of a format tag of its own. Each block says how many samples it holds and where
/// they start; they count upwards from there, the same in all channels.
class TestAcmDriver {
 public:
  static constexpr WORD formatTag = 0x7A51;
  static constexpr WORD blockSize = 4;
  static constexpr WORD mostSamplesPerBlock = 1000;
  static constexpr WORD compressedSamplesPerBlock = 100;  // In the blocks that it makes, but for the last.
  static constexpr WORD bad = 0xFFFF;                     // A block of so many samples cannot be decompressed.

  TestAcmDriver();
  TestAcmDriver(const TestAcmDriver&) = delete;
  TestAcmDriver& operator=(const TestAcmDriver&) = delete;
  ~TestAcmDriver();

  /// The WAVEFORMATEX of a stream of such blocks.
  static Bytes format(DWORD samplesPerSecond, WORD channels, DWORD averageBytesPerSecond);

  /// A block of `samples` samples that count up from `firstValue`; none at all for a block that decodes to nothing.
  static Bytes block(WORD samples, WORD firstValue);

  /// What was converted: the first values of the blocks, and how many of the conversions started afresh.
  std::vector<WORD> converted;
  int starts = 0;

  int openStreams = 0;
  int preparedHeaders = 0;

 private:
  static LRESULT CALLBACK driver(DWORD_PTR id, HDRVR handle, UINT message, LPARAM first, LPARAM second);

  HACMDRIVERID id = nullptr;
};

}  // namespace quillet::test
