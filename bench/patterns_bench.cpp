// Reading in other orders than forwards: what a frame costs in them, against a frame of the same stream read in order.
//
// patterns_bench --peer prints frames a second instead, to be compared with those of another library.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>

#include <windows.h>

#include <quillet/quillet.h>

#include "comparison.h"
#include "patterns.h"
#include "support/temp_file.h"

namespace {

using namespace quillet::bench;

struct Medium {
  const char* file;
  bool isDirectShow;
  double mostBackwards;
};

constexpr double unlimited = std::numeric_limits<double>::infinity();
constexpr int rounds = 3;
constexpr int framesInOrder = 100;

void read(VideoSourceStream& stream, long wanted) {
  long frame = wanted;
  require(stream.getFrameBits(frame) != nullptr, "getFrameBits");
}

/// @param quickDecode tunes the search of a stream of DirectShow; 0 leaves it as it is.
std::unique_ptr<VideoSourceStream> open(const Medium& medium, int quickDecode = 0) {
  const std::string path = quillet::test::mediaFile(medium.file);
  std::unique_ptr<VideoSourceStream> stream;
  if (quickDecode > 0) {
    auto tuned = std::unique_ptr<DSVideoSourceStream>(DSVideoSourceStream::open(path.c_str(), 0, nullptr));
    tuned->config(quickDecode, 0, 0);
    stream = std::move(tuned);
  } else {
    stream.reset(VideoSourceStream::open(path.c_str(), medium.isDirectShow, 0, nullptr));
  }
  require(stream != nullptr && stream->lastError == 0, "VideoSourceStream::open");
  return stream;
}

/// What a frame costs, in seconds.
/// @param most stops the reading after so many seconds.
/// @param uncounted reads that bring the stream to its place, first of all.
double timeOfFrame(const std::unique_ptr<VideoSourceStream>& stream, const Frames& frames, double most = unlimited,
                   std::size_t uncounted = 1) {
  std::size_t count = 0;
  while (count < uncounted) {
    read(*stream, frames[count++]);
  }
  const double start = now();
  double seconds = 0.0;
  while (count < frames.size() && seconds < most) {
    read(*stream, frames[count++]);
    seconds = now() - start;
  }
  return seconds / static_cast<double>(count - uncounted);
}

bool measure(const Medium& medium) {
  const long length = open(medium)->duration();
  const long middle = amidst(length);
  std::printf("%s, %ld frames\n", medium.file, length);

  const auto inOrder = [&, frames = inSteps(0, 1, std::min<int>(length, framesInOrder))] {
    return timeOfFrame(open(medium), frames);
  };
  const auto measurePattern = [&](const std::string& name, double limit, const Frames& frames,
                                  std::size_t uncounted = 1) {
    constexpr double mostWithoutStore = 2.0;
    const auto withoutStore = [&] {
      const auto stream = open(medium);
      stream->setFrameBudget(0);
      return timeOfFrame(stream, frames, mostWithoutStore);
    };
    const bool isFast = compareTimes(
        "  " + name, "frame", "in order", rounds, limit,
        [&] { return timeOfFrame(open(medium), frames, unlimited, uncounted); }, inOrder);
    compareTimes("  " + name + ", none kept", "frame", "in order", 1, unlimited, withoutStore, inOrder);
    return isFast;
  };
  constexpr int mostBackwards = 250;
  constexpr int reads = 201;
  constexpr long second = 25;
  constexpr int passes = 16;
  bool isFast =
      measurePattern("backwards", medium.mostBackwards, inSteps(length - 1, -1, std::min<int>(length, mostBackwards)));
  // To come to them costs as much as it does backwards: from then on is what counts.
  isFast = measurePattern("two neighbours in turn", 0.1, inTurn(middle, 2, reads), 4) && isFast;
  isFast = measurePattern("three in turn", 0.1, inTurn(middle, 3, reads), 6) && isFast;
  isFast =
      measurePattern("a second to and fro", 0.3, toAndFro(middle, middle + second - 1, passes), 2 * second) && isFast;
  if (!medium.isDirectShow) {
    return isFast;
  }

  constexpr long step = 7;
  constexpr int alwaysDecode = 1000;
  constexpr int alwaysSeek = 1;
  constexpr int mostSteps = 50;
  constexpr double patience = 15.0;  // Several times what there is to decode.
  const Frames everySeventh = inSteps(0, step, std::min(static_cast<int>(length / step), mostSteps));
  return compareTimes(
             "  every seventh", "frame", "by the cheaper way", rounds, 1.1,
             [&] { return timeOfFrame(open(medium), everySeventh, patience); },
             [&] {
               const double decoding = timeOfFrame(open(medium, alwaysDecode), everySeventh);
               const double enough = decoding * static_cast<double>(everySeventh.size());
               return std::min(decoding, timeOfFrame(open(medium, alwaysSeek), everySeventh, enough));
             }) &&
         isFast;
}

}  // namespace

int main(int argc, char**) {
  QuilletThread();
  if (argc > 1) {
    printSpeeds([](const char* file) {
      return [stream = open({file, true, 0.0})](long frame) { read(*stream, frame); };
    });
    return EXIT_SUCCESS;
  }
  bool isFast = true;
  for (const Medium& medium : {Medium{"bench_mpeg4.avi", true, 1.6}, Medium{"bench_mjpeg_360p.avi", true, 1.6},
                               Medium{"bench_h264.mp4", true, 3.0}, Medium{"bench_cinepak.avi", false, 1.6}}) {
    isFast = measure(medium) && isFast;
  }
  return isFast ? EXIT_SUCCESS : EXIT_FAILURE;
}
