// Writing through Video for Windows: the library against bare AVIFile calls.

#include <cstdlib>
#include <memory>
#include <vector>

#include <windows.h>

#include <vfw.h>

#include <quillet/quillet.h>

#include "comparison.h"
#include "support/avi_builder.h"

namespace {

using quillet::bench::require;

constexpr long frameCount = 200;
constexpr DWORD framesPerSecond = 25;

VIDEOINFOHEADER frameFormat() {
  VIDEOINFOHEADER format = {};
  format.AvgTimePerFrame = 10'000'000 / framesPerSecond;
  format.bmiHeader = quillet::test::rgb24Format(320, 240);
  return format;
}

void writeWithLibrary(const char* fileName, const VIDEOINFOHEADER& format, std::vector<unsigned char>& frame) {
  const std::unique_ptr<OutputAVIFile> file(OutputAVIFile::create(fileName, &format, false, nullptr, false, false));
  require(file != nullptr && file->start(), "OutputAVIFile::start");
  for (long i = 0; i < frameCount; ++i) {
    frame[0] = static_cast<unsigned char>(i);
    require(file->writeFrame(i, frame.data(), 1, static_cast<long>(frame.size()), true), "writeFrame");
  }
  require(file->close(), "close");
}

void writeBare(const char* fileName, VIDEOINFOHEADER format, std::vector<unsigned char>& frame) {
  PAVIFILE file = nullptr;
  require(AVIFileOpenA(&file, fileName, OF_WRITE | OF_CREATE, nullptr) == 0, "AVIFileOpen");
  AVISTREAMINFOA info = {};
  info.fccType = streamtypeVIDEO;
  info.dwScale = 1;
  info.dwRate = framesPerSecond;
  PAVISTREAM stream = nullptr;
  require(AVIFileCreateStreamA(file, &stream, &info) == 0, "AVIFileCreateStream");
  require(AVIStreamSetFormat(stream, 0, &format.bmiHeader, sizeof format.bmiHeader) == 0, "AVIStreamSetFormat");
  for (long i = 0; i < frameCount; ++i) {
    frame[0] = static_cast<unsigned char>(i);
    require(AVIStreamWrite(stream, i, 1, frame.data(), static_cast<LONG>(frame.size()), AVIIF_KEYFRAME, nullptr,
                           nullptr) == 0,
            "AVIStreamWrite");
  }
  AVIStreamRelease(stream);
  AVIFileRelease(file);
}

}  // namespace

int main() {
  QuilletThread();
  const VIDEOINFOHEADER format = frameFormat();
  std::vector<unsigned char> frame(format.bmiHeader.biSizeImage);
  const quillet::test::TempFile file(".avi");
  constexpr int rounds = 15;
  const bool isFast = quillet::bench::compare(
      "200 RGB24 frames of 320x240, written", rounds, 1.05, [&] { writeWithLibrary(file.name(), format, frame); },
      [&] { writeBare(file.name(), format, frame); });
  return isFast ? EXIT_SUCCESS : EXIT_FAILURE;
}
