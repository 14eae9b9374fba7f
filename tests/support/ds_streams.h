// What the tests of the DirectShow sources share: reading, and limits of time.

#pragma once

#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include <windows.h>

#include <gtest/gtest.h>

#include <quillet/quillet.h>

#include "support/scripted_source.h"

namespace quillet::test {

using DSVideo = std::unique_ptr<DSVideoSourceStream>;
using DSAudio = std::unique_ptr<DSAudioSourceStream>;

inline DSVideo openVideo(const char* name, int stream = 0, QuilletNotification* sink = nullptr) {
  return DSVideo(DSVideoSourceStream::open(name, stream, sink));
}

inline DSAudio openAudio(const char* name, int stream = 0, QuilletNotification* sink = nullptr) {
  return DSAudio(DSAudioSourceStream::open(name, stream, sink));
}

/// Ends the program when a test is still at work after `seconds`: what hangs cannot be unwound.
class TimeLimit {
 public:
  explicit TimeLimit(DWORD seconds = 20) {
    CreateTimerQueueTimer(&timer, nullptr, expire, nullptr, seconds * 1000, 0, WT_EXECUTEONLYONCE);
  }
  TimeLimit(const TimeLimit&) = delete;
  TimeLimit& operator=(const TimeLimit&) = delete;
  ~TimeLimit() { DeleteTimerQueueTimer(nullptr, timer, INVALID_HANDLE_VALUE); }

 private:
  static void CALLBACK expire(void*, BOOLEAN) {
    std::puts("the test hangs");
    TerminateProcess(GetCurrentProcess(), 1);
  }

  HANDLE timer = nullptr;
};

/// Counts the phases that it is told of.
class Phases : public QuilletNotification {
 public:
  int progress(int phase) override { return ++counts.at(phase); }
  std::vector<int> counts = std::vector<int>(4);
};

inline std::shared_ptr<Script> scriptOf(ScriptedStream stream) {
  const auto script = std::make_shared<Script>();
  script->streams.push_back(std::move(stream));
  return script;
}

/// The frame returned for `frame`, whose number must be that or, with a warning or a hollow stream, `returned`.
inline Bytes frameOf(VideoSourceStream& stream, long frame, long returned) {
  const DWORD size = stream.format()->biSizeImage;  // Asked first: the code is to be that of the reading.
  long found = frame;
  const unsigned char* const bits = stream.getFrameBits(found);
  EXPECT_EQ(found, returned) << "asked for frame " << frame << ", code " << stream.lastError;
  return bits != nullptr ? Bytes(bits, bits + size) : Bytes();
}

inline Bytes frameOf(VideoSourceStream& stream, long frame) {
  return frameOf(stream, frame, frame);
}

/// Samples `first` to `last`, nothing when they cannot be had.
inline Bytes runOf(AudioSourceStream& stream, long first, long last) {
  const WORD size = stream.format()->nBlockAlign;
  const unsigned char* const samples = stream.getSamples(first, last);
  return samples != nullptr ? Bytes(samples, samples + (last - first + 1) * size) : Bytes();
}

}  // namespace quillet::test
