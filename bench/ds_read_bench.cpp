// Reading through DirectShow: the library against a bare filter graph on the same file.

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>

#include <windows.h>

#include <quillet/quillet.h>

#include "bare_graph.h"
#include "comparison.h"
#include "support/temp_file.h"

namespace {

using quillet::bench::BareGraph;
using quillet::bench::compare;
using quillet::bench::require;

constexpr int rounds = 15;
constexpr int randomFrames = 300;
constexpr int framesInTurn = 900;
constexpr unsigned seed = 20;

bool compareFile(const char* fileName) {
  const std::string path = quillet::test::mediaFile(fileName);
  const std::unique_ptr<VideoSourceStream> library(VideoSourceStream::open(path.c_str(), true, 0, nullptr));
  require(library != nullptr && library->lastError == 0, "VideoSourceStream::open");
  const long frames = library->duration();
  BareGraph bare(path, library->format()->biSizeImage);
  const auto read = [&](long wanted) {
    long frame = wanted;
    require(library->getFrameBits(frame) != nullptr, "getFrameBits");
  };

  library->setFrameBudget(0);  // What is kept costs nothing to read.
  std::printf("%s, %ld frames of %ldx%ld\n", fileName, frames, library->format()->biWidth, library->format()->biHeight);
  const bool inOrder = compare(
      "  all frames, in order", rounds, 1.25,
      [&] {
        for (long i = 0; i < frames; ++i) {
          read(i);
        }
      },
      [&] { bare.play(); });
  std::printf("  (the bare graph delivered %ld frames)\n", bare.playedFrames());

  auto readNext = [&, random = std::mt19937(seed)]() mutable {
    read(static_cast<long>(random() % static_cast<unsigned long>(frames)));
  };
  auto fetchNext = [&, random = std::mt19937(seed), framePeriod = 10'000'000 / library->frameRate()]() mutable {
    bare.fetch(static_cast<LONGLONG>((random() % static_cast<unsigned long>(frames)) * framePeriod));
  };
  // Frame by frame in turn: within seconds a machine changes by more than there is to tell apart.
  const bool atRandom = compare("  a frame in random order", framesInTurn, 1.0, readNext, fetchNext);
  const auto inARow = [](auto& fetch) {
    for (int i = 0; i < randomFrames; ++i) {
      fetch();
    }
  };
  const bool fromStore = compare(
      "  300 frames in random order, from nothing kept on", rounds, 0.8,
      [&] {
        library->setFrameBudget(-1);
        inARow(readNext);
      },
      [&] { inARow(fetchNext); });
  const std::unique_ptr<RawDataSourceStream> raw(RawDataSourceStream::open(path.c_str(), true, true, 0, nullptr));
  require(raw != nullptr && raw->lastError == 0, "RawDataSourceStream::open");
  // Where the platform decodes, the samples are of another format: then there is nothing to compare them with.
  const bool untouched =
      raw->format()->subtype != MEDIASUBTYPE_RGB24 || compare(
                                                          "  all frames as samples, in order", rounds, 1.25,
                                                          [&] { quillet::bench::readAll(*raw); }, [&] { bare.play(); });
  return inOrder && atRandom && fromStore && untouched;
}

}  // namespace

int main() {
  QuilletThread();
  bool isFast = true;
  for (const char* fileName : {"bench_raw.avi", "bench_mjpeg.avi"}) {
    isFast = compareFile(fileName) && isFast;
  }
  return isFast ? EXIT_SUCCESS : EXIT_FAILURE;
}
