// What all writers of AVI files share, and the interleave engine with two real threads, over a writer that only records.

#include "support/leak_check.h"
#include "support/writing.h"

using namespace quillet::test;
namespace output_error = quillet::output_error;

namespace {

struct Write {
  char stream;  // 'v' or 'a'
  long first;
  long count;
  Bytes data;
  bool key;
  bool operator==(const Write&) const = default;
};

/// A writer that keeps what is written to it.
class Recorder : public VfWOutputAVIFile {
 public:
  Recorder(const VIDEOINFOHEADER* videoFormat, const WAVEFORMATEX* audioFormat, long samplesPerBuffer = 100) {
    video = videoFormat;
    audio = audioFormat;
    bufferSamples = samplesPerBuffer;
    finishOpening(0);
  }

  bool isAutomaticallyInterleaved() override { return automatic; }
  long long interleavingPeriod() override { return whenAsked(), period; }
  bool setAutomaticInterleaving(bool on) override { return canSwitch && (automatic = on, true); }
  bool writeFrame(long frame, unsigned char* data, long count, long bytes, bool key) override {
    nextFrame = frame + count;
    return record({'v', frame, count, Bytes(data, data + bytes), key});
  }
  bool writeSample(long sample, unsigned char* data, long count, long bytes, bool key) override {
    nextSample = sample + count;
    return record({'a', sample, count, Bytes(data, data + bytes), key});
  }

  using OutputAVIFile::bufferSamples, OutputAVIFile::nextFrame, OutputAVIFile::nextSample;

  std::vector<Write> writes;
  std::string order;  // Of the writes: a letter each.
  long failAt = -1;   // The number of the write that fails.
  bool automatic = false;
  bool canSwitch = true;
  long long period = 0;
  std::function<void()> whenAsked = [] {};  // For the period.

 private:
  bool record(Write write) {
    order += write.stream;
    writes.push_back(std::move(write));
    return static_cast<long>(writes.size()) - 1 != failAt;
  }
};

const WAVEFORMATEX audio = pcmFormat(1000, 1, 16);

/// Writes samples whose values are their numbers.
bool writeSamples(Recorder& writer, long first, long count, bool key = true, long bytes = -1) {
  return writer.bufferedWriteSample(first, countedSamples(first, count).data(), count, bytes, key);
}

TEST(AudioBuffer, GathersWhatContinues) {
  Recorder writer(nullptr, &audio);
  EXPECT_EQ(writer.nextSample_number_inBuffer(), 0);
  writer.lastError = 17;
  for (long first = 0; first < 90; first += 30) {
    EXPECT_TRUE(writeSamples(writer, first, 30, true, first == 30 ? 60 : -1));
  }
  EXPECT_EQ(writer.lastError, 17) << "success leaves the code alone";
  EXPECT_TRUE(writer.writes.empty());
  EXPECT_EQ(writer.nextSample_number_inBuffer(), 90);
  EXPECT_TRUE(writeSamples(writer, 90, 10));  // Full, but not flushed.
  EXPECT_TRUE(writer.writes.empty());
  EXPECT_TRUE(writeSamples(writer, 100, 1));         // Does not fit.
  EXPECT_TRUE(writeSamples(writer, 101, 1, false));  // Another kind.
  EXPECT_TRUE(writeSamples(writer, 200, 5, false));  // A gap.
  EXPECT_TRUE(writeSamples(writer, 150, 5, false));  // A step back.
  EXPECT_TRUE(writer.flushAudio());
  EXPECT_TRUE(writer.flushAudio()) << "nothing left";

  std::vector<Write> expected;
  for (const auto& [first, count, key] :
       {std::tuple(0L, 100L, true), {100, 1, true}, {101, 1, false}, {200, 5, false}, {150, 5, false}}) {
    expected.push_back({'a', first, count, countedSamples(first, count), key});
  }
  EXPECT_TRUE(writer.writes == expected);
}

TEST(AudioBuffer, RefusesWhatItCanNeverTakeAndLosesWhatFails) {
  Recorder writer(nullptr, &audio);
  EXPECT_TRUE(writeSamples(writer, 0, 100)) << "just full";
  EXPECT_TRUE(failed(writeSamples(writer, 100, 101), writer, output_error::audioBufferOverflow));
  unsigned char samples[2] = {};
  for (const auto& [first, data, count, bytes] : {std::tuple(100L, &samples[0], -1L, -1L),
                                                  {100, samples, -1, 2},
                                                  {100, nullptr, 1, 2},
                                                  {LONG_MAX - 1, samples, 2, 2}}) {
    EXPECT_TRUE(
        failed(writer.bufferedWriteSample(first, data, count, bytes, true), writer, quillet::vfw_error::writeError));
  }
  EXPECT_EQ(writer.nextSample_number_inBuffer(), 100) << "a refused write changes nothing";

  writer.failAt = 0;
  EXPECT_FALSE(writeSamples(writer, 100, 1));
  EXPECT_TRUE(writer.flushAudio()) << "what failed is gone";
  EXPECT_EQ(writer.writes.size(), 1U);

  // A longer interleaving period makes room for more, in the middle of a run.
  EXPECT_TRUE(writeSamples(writer, 100, 90));
  writer.bufferSamples = 1000;
  EXPECT_TRUE(writeSamples(writer, 190, 800));
  EXPECT_TRUE(writer.flushAudio());
  EXPECT_EQ(writer.writes.back().data, countedSamples(100, 890));

  // Nor do samples go on that would fit by their number, but not by their size.
  for (const long first : {990, 995}) {
    EXPECT_TRUE(writer.bufferedWriteSample(first, Bytes(1001).data(), 5, 1001, true));
  }
  EXPECT_EQ(writer.writes.back().data.size(), 1001U);
}

using Engine = AutomaticInterleaveEngine;

class Interleaving : public testing::Test {
 protected:
  /// Writes `total` frames or samples in chunks of `chunk`, then exits; how many chunks were written is left in `done`.
  void produce(Engine::ThreadType t, long total, long chunk) {
    std::vector<unsigned char> data(static_cast<std::size_t>(chunk) * 2);
    for (long first = 0; first < total; first += chunk) {
      if (!engine.Write(t, first, data.data(), chunk, chunk * 2, true)) {
        break;
      }
      ++done[t];
    }
    engine.exit(t);
  }

  void produceBoth(long frames, long samples, long samplesPerChunk) {
    done[0] = done[1] = 0;
    const Thread videoThread([&] { produce(Engine::VideoThread, frames, 1); });
    const Thread audioThread([&] { produce(Engine::AudioThread, samples, samplesPerChunk); });
  }

  const VIDEOINFOHEADER video = videoFormat();  // A frame lasts 40 ms, like 40 samples.
  Recorder writer{&video, &audio, 40};
  Engine engine;
  long done[2] = {};
};

TEST_F(Interleaving, TakesTurnsOfAPeriodWithAudioFirst) {
  // A turn is the first chunk and a period's worth. Audio goes through the buffer, which holds one chunk and so lags by one.
  for (const auto& [period, frames, expected] :
       {std::tuple(800'000, 12L, "aavvvaaavvvaaavvvaaavvva"), {0, 4L, "avvaavva"}}) {
    writer.order.clear();
    writer.period = period;
    ASSERT_TRUE(engine.setOutputStream(&writer, true));
    produceBoth(frames, frames * 40, 40);
    EXPECT_TRUE(engine.close());
    EXPECT_EQ(writer.order, expected);
    EXPECT_FALSE(engine.close()) << "the file was let go";
  }
}

TEST_F(Interleaving, GoesOnAloneWhereItMay) {
  ASSERT_TRUE(engine.setOutputStream(&writer, false));
  produceBoth(50, 40, 40);
  EXPECT_EQ(done[Engine::AudioThread], 1);
  EXPECT_LT(done[Engine::VideoThread], 50);

  Recorder silent(&video, nullptr);
  ASSERT_TRUE(engine.setOutputStream(&silent, false));
  for (long frame = 0; frame < 5; ++frame) {
    EXPECT_TRUE(engine.Write(Engine::VideoThread, frame, picture(frame).data(), 1, 2, true));
  }
  EXPECT_EQ(silent.writes.size(), 5U);
  EXPECT_FALSE(engine.close()) << "no audio to flush";
}

TEST_F(Interleaving, StopsBothAtAFailedWrite) {
  writer.failAt = 7;
  ASSERT_TRUE(engine.setOutputStream(&writer, true));
  produceBoth(1000, 40000, 40);
  EXPECT_EQ(writer.writes.size(), 8U) << "nothing after the write that failed";
}

TEST_F(Interleaving, LeavesItsWaitsWhenTheUserStops) {
  ASSERT_TRUE(engine.setOutputStream(&writer, true));
  bool isWritten = true;
  {
    // The audio thread has the first turn and never takes it.
    const Thread videoThread([&] {
      unsigned char data[2] = {};
      isWritten = engine.Write(Engine::VideoThread, 0, data, 1, 2, true);
      engine.exit(Engine::VideoThread);
    });
    engine.userStop();
  }
  EXPECT_FALSE(isWritten);
  unsigned char data[2] = {};
  EXPECT_FALSE(engine.WriteNext(Engine::AudioThread, data, 1, 2, true)) << "stopped for good";
  EXPECT_FALSE(writer.automatic);

  // Until it has another file.
  Recorder second(&video, &audio, 40);
  second.automatic = true;
  second.nextFrame = 7;
  second.nextSample = 9;
  {
    std::unique_ptr<Thread> early;
    second.whenAsked = [&] {
      early = std::make_unique<Thread>([&] { EXPECT_TRUE(engine.WriteNext(Engine::AudioThread, data, 1, 2, true)); });
      EXPECT_FALSE(early->endsWithin(50)) << "the file is not ready for it yet";
    };
    ASSERT_TRUE(engine.setOutputStream(&second, true));
  }
  engine.exit(Engine::AudioThread);
  EXPECT_TRUE(engine.WriteNext(Engine::VideoThread, data, 1, 2, true));
  second.failAt = 1;
  EXPECT_FALSE(second.automatic) << "switched off meanwhile";
  EXPECT_FALSE(engine.close()) << "the flush fails";
  EXPECT_TRUE(second.automatic) << "as before";
  second.canSwitch = false;
  EXPECT_FALSE(engine.setOutputStream(&second, true));
  EXPECT_EQ(second.writes.at(0).first, 7);
  EXPECT_EQ(second.writes.at(1).first, 9);
}

TEST_F(Interleaving, NeverDeadlocks) {
  std::mt19937 random = loggedRandom();
  for (int round = 0; round < 1000; ++round) {
    writer.writes.clear();
    writer.period = between(0, 3'000'000, random);
    ASSERT_TRUE(engine.setOutputStream(&writer, round % 4 != 0));
    const long frames = between(0, 20, random);
    const long chunk = between(1, 40, random);
    const long chunks = between(0, 20, random);
    produceBoth(frames, chunks * chunk, chunk);
    if (round % 4 != 0) {
      EXPECT_EQ(done[Engine::VideoThread], frames);
      EXPECT_EQ(done[Engine::AudioThread], chunks);
    }
    engine.close();
    ASSERT_FALSE(HasFailure()) << "round " << round;
  }
}

TEST(Engines, LeaveNothingBehind) {
  EXPECT_TRUE(leavesNothingBehind([] { const Engine engine; }));
}

}  // namespace
