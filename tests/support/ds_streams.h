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

}  // namespace quillet::test
