#include <cstdio>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include <windows.h>

#include <psapi.h>

#include <quillet/quillet.h>

#include "bare_avifile.h"
#include "bare_graph.h"
#include "soak/soak.h"
#include "support/avi_builder.h"
#include "support/avi_mux.h"
#include "support/process_state.h"

namespace quillet::bench {
namespace {

using namespace test;

constexpr long frameCount = 10;
constexpr int reads = 5;

VIDEOINFOHEADER frameFormat() {
  VIDEOINFOHEADER format = {};
  format.AvgTimePerFrame = 100'000;
  format.bmiHeader = rgb24Format(32, 16);
  return format;
}

/// Reads that jump about, the same in every round.
template <class Read>
void atRandom(Read read) {
  std::mt19937 random(1);
  for (int i = 0; i < reads; ++i) {
    read(static_cast<long>(random() % frameCount));
  }
}

void libraryRound(bool directShow, const char* name, std::vector<unsigned char>& frame) {
  const VIDEOINFOHEADER format = frameFormat();
  {
    const std::unique_ptr<OutputAVIFile> file(OutputAVIFile::create(name, &format, false, nullptr, false, directShow));
    require(file != nullptr && file->start(), "OutputAVIFile::start");
    for (long i = 0; i < frameCount; ++i) {
      require(file->writeFrame(i, frame.data(), 1, static_cast<long>(frame.size()), true), "writeFrame");
    }
    require(file->close(), "close");
  }
  const std::unique_ptr<VideoSourceStream> stream(VideoSourceStream::open(name, directShow, 0, nullptr));
  require(stream != nullptr && stream->lastError == 0, "open");
  atRandom([&](long number) { require(stream->getFrameBits(number) != nullptr, "getFrameBits"); });
}

void bareRound(bool directShow, const char* name, std::vector<unsigned char>& frame) {
  const VIDEOINFOHEADER format = frameFormat();
  if (directShow) {
    writeBareGraph(name, format, frame, frameCount);
    BareGraph graph(name, frame.size());
    atRandom([&](long number) { graph.fetch(number * format.AvgTimePerFrame); });
    return;
  }
  writeBareFile(name, format, frame, frameCount);
  const AviStreamHandle stream(openBareStream(name, streamtypeVIDEO));
  BITMAPINFOHEADER wanted = format.bmiHeader;
  const AviGetFrameHandle getFrame(AVIStreamGetFrameOpen(stream.get(), &wanted));
  atRandom([&](long number) { require(AVIStreamGetFrame(getFrame.get(), number) != nullptr, "AVIStreamGetFrame"); });
}

long privateKilobytes() {
  PROCESS_MEMORY_COUNTERS counters = {};
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
  return static_cast<long>(counters.PagefileUsage / 1024);
}

struct Growth {
  long handles, blocks, kilobytes;
};

Growth growthOver(long rounds, const char* what, const std::function<void()>& round) {
  for (long i = 0; i < rounds / 10 + 1; ++i) {  // What is made once exists then.
    round();
  }
  const Holdings before = currentHoldings();
  const long kilobytesBefore = privateKilobytes();
  for (long i = 0; i < rounds; ++i) {
    round();
  }
  awaitThreads(before.threads);
  const Holdings after = currentHoldings();
  const Growth growth = {after.handles - before.handles, after.blocks - before.blocks,
                         privateKilobytes() - kilobytesBefore};
  std::printf("%s, %ld rounds: %ld handles, %ld heap blocks, %ld KB, %ld threads more\n", what, rounds, growth.handles,
              growth.blocks, growth.kilobytes, after.threads - before.threads);
  return growth;
}

}  // namespace

bool leavesNoMoreThanThePlatform(bool directShow, long rounds) {
  const ClassObjectOverride mux(CLSID_AviDest, aviMux(std::make_shared<MuxScript>()));
  const ClassObjectOverride writer(CLSID_FileWriter, fileWriter(std::make_shared<WriterFaults>()));
  std::vector<unsigned char> frame(frameFormat().bmiHeader.biSizeImage);
  const TempFile file(".avi");
  const Growth bare = growthOver(rounds, "bare   ", [&] { bareRound(directShow, file.name(), frame); });
  const Growth library = growthOver(rounds, "library", [&] { libraryRound(directShow, file.name(), frame); });
  // What the platform keeps for itself changes a little; a leak grows with every round. The memory that is not in blocks
  // comes and goes by megabytes with the platform's threads; what leaks of it does so by a page a round at least.
  constexpr long pageKilobytes = 4;
  const Growth tolerance = {2, 20, rounds * pageKilobytes};
  return library.handles <= bare.handles + tolerance.handles && library.blocks <= bare.blocks + tolerance.blocks &&
         library.kilobytes <= bare.kilobytes + tolerance.kilobytes;
}

}  // namespace quillet::bench
