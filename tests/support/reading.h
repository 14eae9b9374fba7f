// What the tests of all sources share: reading frames and runs of samples, and comparing them, also at random.

#pragma once

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <random>
#include <set>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <quillet/quillet.h>

#include "support/avi_builder.h"
#include "support/temp_file.h"

namespace quillet::test {

/// A generator whose seed is written to the log; QUILLET_TEST_SEED repeats the run that wrote it.
inline std::mt19937 loggedRandom() {
  const char* const wanted = std::getenv("QUILLET_TEST_SEED");
  const unsigned seed = wanted != nullptr ? std::strtoul(wanted, nullptr, 10) : std::random_device()();
  std::cout << "QUILLET_TEST_SEED=" << seed << '\n';
  return std::mt19937(seed);
}

/// A number from `first` to `last`.
inline long between(long first, long last, std::mt19937& random) {
  return std::uniform_int_distribution<long>(first, last)(random);
}

/// Whether an operation has failed with this code, with the failure value of its type.
template <class Result>
testing::AssertionResult failed(Result result, const AudioOrVideoStream& stream, int code) {
  bool hasFailed = false;
  if constexpr (std::is_same_v<Result, bool> || std::is_pointer_v<Result>) {
    hasFailed = !result;
  } else {
    hasFailed = result == -1;
  }
  return (hasFailed && stream.lastError == code ? testing::AssertionSuccess() : testing::AssertionFailure())
         << (hasFailed ? "failure" : "success") << ", code " << stream.lastError;
}

/// Expects numbers and times that no stream has to be refused, with a warning.
inline void expectNoPlaceOutside(SourceStream& stream, int code) {
  long sample = -1;
  EXPECT_TRUE(failed(stream.StreamSampleToTime(sample), stream, code));
  for (double time : {-1.0, -1e300, 1e300, std::nan("")}) {
    EXPECT_TRUE(failed(stream.StreamTimeToSample(time), stream, code)) << time;
  }
}

/// A picture of so many rows with the last one first.
inline Bytes turnedOver(const Bytes& picture, long rows) {
  const std::ptrdiff_t size = std::ssize(picture) / rows;
  Bytes turned;
  for (auto row = picture.end(); row != picture.begin(); row -= size) {
    turned.insert(turned.end(), row - size, row);
  }
  return turned;
}

/// A picture with its bottom row first, whichever comes first in `format`.
inline Bytes bottomUp(const Bytes& picture, const BITMAPINFOHEADER& format) {
  return format.biHeight < 0 ? turnedOver(picture, -format.biHeight) : picture;
}

/// The picture for `frame`, which becomes the number found: bottom-up, and nothing when it cannot be had.
inline Bytes pictureOf(VideoSourceStream& stream, long& frame) {
  const BITMAPINFOHEADER format = *stream.format();  // Asked first: the code is to be that of the reading.
  const unsigned char* const bits = stream.getFrameBits(frame);
  return bits != nullptr ? bottomUp(Bytes(bits, bits + format.biSizeImage), format) : Bytes();
}

/// The picture of the frame returned for `frame`, whose number must be that or, with a warning or a hollow stream,
/// `returned`.
inline Bytes frameOf(VideoSourceStream& stream, long frame, long returned) {
  long found = frame;
  const Bytes picture = pictureOf(stream, found);
  EXPECT_EQ(found, returned) << "asked for frame " << frame << ", code " << stream.lastError;
  return picture;
}

inline Bytes frameOf(VideoSourceStream& stream, long frame) {
  return frameOf(stream, frame, frame);
}

/// The pictures of all frames, read in order, most of which must differ.
inline std::vector<Bytes> framesOf(VideoSourceStream& stream) {
  std::vector<Bytes> frames;
  for (long frame = 0; frame < stream.duration(); ++frame) {
    long found = frame;
    frames.push_back(pictureOf(stream, found));
  }
  EXPECT_GE(std::set<Bytes>(frames.begin(), frames.end()).size(), frames.size() * 9 / 10);
  return frames;
}

/// Numbers of frames as people ask for them: at random, back and forth, a few in turn, in steps.
inline std::vector<long> wanderings(long frames, int requests, std::mt19937& random) {
  std::vector<long> numbers;
  while (std::ssize(numbers) < requests) {
    const long start = between(0, frames - 1, random);
    const long step = std::vector{-1L, -1L, 1L, 7L, -3L}.at(random() % 5);
    const long turn = random() % 3 == 0 ? between(2, 25, random) : 1000;  // Where it begins anew.
    for (long i = 0, count = between(1, 60, random); i < count; ++i) {
      numbers.push_back(std::clamp(start + i % turn * step, 0L, frames - 1));
    }
  }
  return numbers;
}

/// Counts the frames, read back and forth, that differ from `frames`.
inline int differingFrames(VideoSourceStream& stream, const std::vector<Bytes>& frames, int reads) {
  if (frames.empty()) {
    return reads;  // Nothing here decodes the file.
  }
  std::mt19937 random = loggedRandom();
  int differing = 0;
  for (long frame : wanderings(std::ssize(frames), reads, random)) {
    const Bytes& expected = frames[frame];
    differing += pictureOf(stream, frame) != expected;
  }
  return differing;
}

/// Samples `first` to `last`, nothing when they cannot be had.
inline Bytes runOf(AudioSourceStream& stream, long first, long last) {
  const WORD size = stream.format()->nBlockAlign;
  const unsigned char* const samples = stream.getSamples(first, last);
  return samples != nullptr ? Bytes(samples, samples + (last - first + 1) * size) : Bytes();
}

/// Samples `first` to `last` of the whole of a stream.
inline Bytes partOf(const Bytes& whole, long first, long last, long sampleSize) {
  return Bytes(whole.begin() + first * sampleSize, whole.begin() + (last + 1) * sampleSize);
}

/// Reads runs at random places, some of them in a row, and expects those of `whole`.
inline void expectRandomRuns(AudioSourceStream& stream, const Bytes& whole, int runs, long longest = 3000) {
  std::mt19937 random = loggedRandom();
  const long end = stream.duration() - 1;
  long next = 0;
  for (int i = 0; i < runs; ++i) {
    const long first = next <= end && random() % 3 == 0 ? next : between(0, end, random);
    const long last = between(first, std::min(first + longest, end), random);
    ASSERT_TRUE(runOf(stream, first, last) == partOf(whole, first, last, stream.format()->nBlockAlign))
        << first << " to " << last << " at run " << i;
    ASSERT_EQ(stream.lastError, 0);
    next = last + 1;
  }
}

}  // namespace quillet::test
