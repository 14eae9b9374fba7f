// Writing through DirectShow: the library against a bare push source in front of the same multiplexer and file writer.

#include <cstdlib>
#include <memory>
#include <vector>

#include <windows.h>

#include <quillet/quillet.h>

#include "bare_graph.h"
#include "comparison.h"
#include "support/avi_builder.h"
#include "support/avi_mux.h"
#include "support/temp_file.h"

namespace {

using quillet::bench::require;

constexpr long frameCount = 200;
constexpr int rounds = 25;

VIDEOINFOHEADER frameFormat() {
  VIDEOINFOHEADER format = {};
  format.AvgTimePerFrame = 400'000;
  format.bmiHeader = quillet::test::rgb24Format(320, 240);
  return format;
}

void writeWithLibrary(const char* fileName, std::vector<unsigned char>& frame) {
  const VIDEOINFOHEADER format = frameFormat();
  const std::unique_ptr<OutputAVIFile> file(OutputAVIFile::create(fileName, &format, false, nullptr, false, true));
  require(file != nullptr && file->start(), "OutputAVIFile::start");
  for (long i = 0; i < frameCount; ++i) {
    require(file->writeFrame(i, frame.data(), 1, static_cast<long>(frame.size()), true), "writeFrame");
  }
  require(file->close(), "close");
}

}  // namespace

int main() {
  using namespace quillet::test;
  QuilletThread();
  const ClassObjectOverride mux(CLSID_AviDest, aviMux(std::make_shared<MuxScript>()));
  const ClassObjectOverride writer(CLSID_FileWriter, fileWriter(std::make_shared<WriterFaults>()));
  std::vector<unsigned char> frame(frameFormat().bmiHeader.biSizeImage);
  const TempFile file(".avi");
  const bool isFast = quillet::bench::compare(
      "200 RGB24 frames of 320x240, written", rounds, 1.10, [&] { writeWithLibrary(file.name(), frame); },
      [&] { quillet::bench::writeBareGraph(file.name(), frameFormat(), frame, frameCount); });
  return isFast ? EXIT_SUCCESS : EXIT_FAILURE;
}
