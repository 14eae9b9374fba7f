// What the tests of both writers share: what they write, and a second thread to write with.

#pragma once

#include <functional>
#include <memory>
#include <utility>

#include <gtest/gtest.h>

#include <quillet/quillet.h>

#include "platform/handles.h"
#include "support/avi_builder.h"
#include "support/reading.h"
#include "support/temp_file.h"

namespace quillet::test {

using Writer = std::unique_ptr<OutputAVIFile>;

inline VIDEOINFOHEADER videoFormat(REFERENCE_TIME frameTime = 400'000) {
  VIDEOINFOHEADER format = {};
  format.AvgTimePerFrame = frameTime;
  format.bmiHeader = rgb24Format(8, 4);
  format.rcTarget = {0, 0, 8, 4};
  return format;
}

inline constexpr long pictureSize = 8 * 4 * 3;

/// A picture that differs from those of other numbers.
inline Bytes picture(long frame, long size = pictureSize) {
  Bytes pixels(static_cast<std::size_t>(size));
  for (long i = 0; i < size; ++i) {
    pixels[i] = static_cast<std::uint8_t>(frame * 37 + i * (frame + 1));
  }
  return pixels;
}

inline bool writePicture(OutputAVIFile& writer, long frame, bool key = true) {
  return writer.writeFrame(frame, picture(frame).data(), 1, -1, key);
}

/// Expects the file to have these pictures at 25 frames a second.
template <class Letter>
void expectPictures(const Letter* file, long count, bool directShow = false) {
  const std::unique_ptr<VideoSourceStream> source(VideoSourceStream::open(file, directShow, 0, nullptr));
  ASSERT_EQ(source->lastError, 0);
  EXPECT_EQ(source->duration(), count);
  EXPECT_NEAR(source->frameRate(), 25.0, 1e-6);
  for (long frame = 0; frame < count; ++frame) {
    EXPECT_EQ(frameOf(*source, frame), picture(frame)) << frame;
  }
}

/// Samples of 16 bits whose values are their numbers.
inline Bytes countedSamples(long first, long count) {
  Bytes samples;
  for (long i = first; i < first + count; ++i) {
    samples.push_back(static_cast<std::uint8_t>(i));
    samples.push_back(static_cast<std::uint8_t>(i >> 8));
  }
  return samples;
}

inline bool writeCounted(OutputAVIFile& writer, long first, long count, bool key = true) {
  return writer.writeSample(first, countedSamples(first, count).data(), count, -1, key);
}

/// Expects the file to have these samples.
template <class Letter>
void expectCounted(const Letter* file, long count, bool directShow = false) {
  const std::unique_ptr<AudioSourceStream> source(AudioSourceStream::open(file, directShow, 0, nullptr));
  ASSERT_EQ(source->lastError, 0);
  ASSERT_EQ(source->duration(), count);
  EXPECT_EQ(runOf(*source, 0, count - 1), countedSamples(0, count));
}

/// A thread of the client that runs `work`, which must end in time.
class Thread {
 public:
  explicit Thread(std::function<void()> work)
      : work(std::move(work)), handle(CreateThread(nullptr, 0, run, this, 0, nullptr)) {}
  ~Thread() { EXPECT_TRUE(endsWithin(20000)) << "a thread hangs"; }

  bool endsWithin(DWORD ms) const { return WaitForSingleObject(handle.get(), ms) == WAIT_OBJECT_0; }

 private:
  static DWORD WINAPI run(void* self) {
    QuilletThread();
    static_cast<Thread*>(self)->work();
    return 0;
  }

  std::function<void()> work;
  const KernelHandle handle;
};

/// Writes counted samples and pictures from two threads through the engine.
/// @param samplesPerPiece that are written at a time.
inline void writeInTurns(OutputAVIFile& writer, long frames, long samples, long samplesPerPiece) {
  AutomaticInterleaveEngine engine;
  ASSERT_TRUE(engine.setOutputStream(&writer, true));
  const auto write = [&](AutomaticInterleaveEngine::ThreadType thread, long total, long count,
                         Bytes (*make)(long, long)) {
    for (long first = 0; first < total; first += count) {
      EXPECT_TRUE(engine.Write(thread, first, make(first, count).data(), count, -1, true));
    }
    engine.exit(thread);
  };
  {
    const Thread videoThread(
        [&] { write(engine.VideoThread, frames, 1, [](long frame, long) { return picture(frame); }); });
    const Thread audioThread([&] { write(engine.AudioThread, samples, samplesPerPiece, countedSamples); });
  }
  EXPECT_TRUE(engine.close());
}

}  // namespace quillet::test
