// What the tests of the DirectShow sources share: opening, and limits of time.

#pragma once

#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include <windows.h>

#include "core/handles.h"
#include "support/reading.h"
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

inline KernelHandle manualEvent() {
  return KernelHandle(CreateEventA(nullptr, TRUE, FALSE, nullptr));
}

inline std::shared_ptr<Script> scriptOf(ScriptedStream stream) {
  const auto script = std::make_shared<Script>();
  script->streams.push_back(std::move(stream));
  return script;
}

}  // namespace quillet::test
