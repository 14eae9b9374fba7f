// Reading and writing through Video for Windows: the library against bare AVIFile calls.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include <windows.h>

#include <vfw.h>

#include <quillet/quillet.h>

#include "bare_avifile.h"
#include "comparison.h"
#include "support/avi_builder.h"

namespace {

using quillet::bench::compare;
using quillet::bench::openBareStream;
using quillet::bench::require;
using quillet::bench::writeBareFile;

constexpr int rounds = 41;
constexpr LONG width = 320;
constexpr LONG height = 240;
constexpr int writingRounds = 15;
constexpr long frameCount = 200;
constexpr DWORD framesPerSecond = 25;
constexpr DWORD samplesPerSecond = 44100;
constexpr long runLength = 1024;
constexpr long runCount = 2000;

// What was read is looked at, so that no way can leave the reading out.
unsigned long checksum = 0;

bool compareVideo() {
  using namespace quillet::test;
  const BITMAPINFOHEADER format = rgb24Format(width, height);
  std::vector<AviChunk> frames;
  for (long i = 0; i < frameCount; ++i) {
    frames.push_back({Bytes(format.biSizeImage, static_cast<std::uint8_t>(i))});
  }
  const TempFile file(".avi", aviFile({videoStream(format, framesPerSecond, 1, std::move(frames))}));

  const std::unique_ptr<VideoSourceStream> library(VideoSourceStream::open(file.name(), false, 0, nullptr));
  require(library != nullptr && library->lastError == 0, "VideoSourceStream::open");
  PAVISTREAM bare = openBareStream(file.name(), streamtypeVIDEO);
  BITMAPINFOHEADER wanted = *library->format();
  PGETFRAME getFrame = AVIStreamGetFrameOpen(bare, &wanted);
  require(getFrame != nullptr, "AVIStreamGetFrameOpen");

  const bool result = compare(
      "200 RGB24 frames of 320x240, in order", rounds, 1.05,
      [&] {
        for (long i = 0; i < frameCount; ++i) {
          long frame = i;
          const unsigned char* const bits = library->getFrameBits(frame);
          require(bits != nullptr, "getFrameBits");
          checksum += bits[0];
        }
      },
      [&] {
        for (long i = 0; i < frameCount; ++i) {
          const auto* const dib = static_cast<const BITMAPINFOHEADER*>(AVIStreamGetFrame(getFrame, i));
          require(dib != nullptr, "AVIStreamGetFrame");
          checksum += reinterpret_cast<const unsigned char*>(dib)[dib->biSize];
        }
      });
  AVIStreamGetFrameClose(getFrame);

  const std::unique_ptr<RawDataSourceStream> raw(RawDataSourceStream::open(file.name(), true, false, 0, nullptr));
  require(raw != nullptr && raw->lastError == 0, "RawDataSourceStream::open");
  std::vector<unsigned char> buffer(format.biSizeImage);
  const bool untouched = compare(
      "200 samples of 320x240, in order", rounds, 1.05, [&] { checksum += quillet::bench::readAll(*raw); },
      [&] {
        for (long i = 0; i < frameCount; ++i) {
          const auto size = static_cast<LONG>(buffer.size());
          require(AVIStreamRead(bare, i, 1, buffer.data(), size, nullptr, nullptr) == 0, "AVIStreamRead");
          checksum += buffer[0];
        }
      });
  AVIStreamRelease(bare);
  return result && untouched;
}

bool compareAudio() {
  using namespace quillet::test;
  const WAVEFORMATEX format = pcmFormat(samplesPerSecond, 2, 16);
  const TempFile file(".wav", wavFile(bytesOf(format), Bytes(std::size_t{runLength} * runCount * format.nBlockAlign)));

  const std::unique_ptr<AudioSourceStream> library(AudioSourceStream::open(file.name(), false, 0, nullptr));
  require(library != nullptr && library->lastError == 0, "AudioSourceStream::open");
  PAVISTREAM bare = openBareStream(file.name(), streamtypeAUDIO);
  const LONG runBytes = runLength * format.nBlockAlign;

  // How fast memory is copied depends on where source and destination lie within their pages, more than on anything that
  // is measured here: the bare buffer lies as the library's does.
  constexpr std::size_t pageSize = 4096;
  const auto offset = reinterpret_cast<std::uintptr_t>(library->getSamples(0, runLength - 1)) % pageSize;
  std::vector<unsigned char> room(runBytes + 2 * pageSize);
  unsigned char* const buffer =
      room.data() + (pageSize - reinterpret_cast<std::uintptr_t>(room.data()) % pageSize) + offset;

  const bool result = compare(
      "2000 runs of 1024 PCM samples, in order", rounds, 1.10,
      [&] {
        for (long run = 0; run < runCount; ++run) {
          const unsigned char* const samples = library->getSamples(run * runLength, run * runLength + runLength - 1);
          require(samples != nullptr, "getSamples");
          checksum += samples[0];
        }
      },
      [&] {
        for (long run = 0; run < runCount; ++run) {
          require(AVIStreamRead(bare, run * runLength, runLength, buffer, runBytes, nullptr, nullptr) == 0,
                  "AVIStreamRead");
          checksum += buffer[0];
        }
      });
  AVIStreamRelease(bare);

  return result;
}

VIDEOINFOHEADER frameFormat() {
  VIDEOINFOHEADER format = {};
  format.AvgTimePerFrame = 10'000'000 / framesPerSecond;
  format.bmiHeader = quillet::test::rgb24Format(width, height);
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

bool compareWriting() {
  const VIDEOINFOHEADER format = frameFormat();
  std::vector<unsigned char> frame(format.bmiHeader.biSizeImage);
  const quillet::test::TempFile file(".avi");
  return compare(
      "200 RGB24 frames of 320x240, written", writingRounds, 1.05,
      [&] { writeWithLibrary(file.name(), format, frame); },
      [&] { writeBareFile(file.name(), format, frame, frameCount); });
}

}  // namespace

int main() {
  QuilletThread();
  const bool videoIsFast = compareVideo();
  const bool audioIsFast = compareAudio();
  const bool writingIsFast = compareWriting();
  std::printf("(checksum %lu)\n", checksum);
  return videoIsFast && audioIsFast && writingIsFast ? EXIT_SUCCESS : EXIT_FAILURE;
}
