// What the tests of the DirectShow sources share: opening, and what they tell.

#pragma once

#include <memory>
#include <numeric>
#include <utility>
#include <vector>

#include <windows.h>

#include "platform/handles.h"
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

/// Counts the phases that it is told of.
class Phases : public QuilletNotification {
 public:
  int progress(int phase) override { return ++counts.at(phase); }
  std::vector<int> counts = std::vector<int>(4);
};

/// Asks for a stop at its `last`-th step. Expects to be asked at each, where it was told of it, and at none after that.
class Stopping : public QuilletNotification {
 public:
  explicit Stopping(int last) : stepsLeft(last) {}
  int progress(int) override {
    EXPECT_EQ(std::exchange(teller, GetCurrentThreadId()), 0U);
    return --stepsLeft;
  }
  bool stopRequested() override {
    EXPECT_EQ(std::exchange(teller, 0), GetCurrentThreadId());
    EXPECT_GE(stepsLeft, 0);
    stopped = GetTickCount64();
    return stepsLeft <= 0;
  }
  int stepsLeft;
  DWORD teller = 0;
  ULONGLONG stopped = 0;  ///< When it was asked last.
};

/// What has to come of a request: that it succeeds without a seek, unless said.
template <class Step>
struct Expectation {
  Step& leaves(int code) { return error = code, step(); }
  /// What the stream is tuned to before.
  template <class... Values>
  Step& tuned(Values... values) {
    return config = {values...}, step();
  }
  /// Where to, in frame periods or samples.
  template <class... Positions>
  Step& seeks(Positions... positions) {
    return seeked = {static_cast<double>(positions)...}, step();
  }

  int error = 0;
  std::vector<int> config;
  std::vector<double> seeked;

 protected:
  Step& step() { return static_cast<Step&>(*this); }
};

inline KernelHandle manualEvent() {
  return KernelHandle(CreateEventA(nullptr, TRUE, FALSE, nullptr));
}

/// The numbers from 0 to below `count`.
template <class Number = int>
std::vector<Number> upTo(int count) {
  std::vector<Number> numbers(count);
  std::iota(numbers.begin(), numbers.end(), Number());
  return numbers;
}

/// A stream that has frames at these times only, in frame periods as is its length.
template <class Number>
ScriptedStream framesAt(const std::vector<Number>& times, double length, REFERENCE_TIME frameTime) {
  ScriptedStream stream = scriptedVideo(4, 2, times.size(), frameTime);
  for (std::size_t i = 0; i < times.size(); ++i) {
    stream.samples[i].start = static_cast<REFERENCE_TIME>(times[i] * frameTime);
    stream.samples[i].stop = stream.samples[i].start + frameTime;
  }
  stream.duration = static_cast<REFERENCE_TIME>(length * frameTime);
  return stream;
}

inline std::shared_ptr<Script> scriptOf(ScriptedStream stream) {
  const auto script = std::make_shared<Script>();
  script->streams.push_back(std::move(stream));
  return script;
}

/// An open stream of a script.
template <class Stream>
struct Played {
  /// @param kind of a stream of compressed samples: whether it is video.
  template <class... Kind>
  explicit Played(ScriptedStream played, Kind... kind)
      : script(scriptOf(std::move(played))), stream(Stream::open(file.name(), kind..., 0, &phases)) {}

  Stream* operator->() const { return stream.get(); }
  Stream& operator*() const { return *stream; }

  const std::shared_ptr<Script> script;
  const ScriptedFile file{script};
  Phases phases;
  const std::unique_ptr<Stream> stream;
};

using PlayedVideo = Played<DSVideoSourceStream>;
using PlayedAudio = Played<DSAudioSourceStream>;

}  // namespace quillet::test
