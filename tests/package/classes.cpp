// A client of the C++ classes: prints the number of a frame with a checksum of its picture, and one of samples.

#include <quillet/quillet.h>

#include <cstdio>
#include <memory>
#include <numeric>

namespace {

unsigned sumOf(const unsigned char* data, unsigned long bytes) {
  const auto add = [](unsigned sum, unsigned byte) { return sum * 31 + byte; };
  return std::accumulate(data, data + bytes, 0U, add);
}

}  // namespace

int main(int, char** arguments) {
  QuilletThread();
  const std::unique_ptr<VideoSourceStream> video(VideoSourceStream::open(arguments[1], 0, nullptr));
  const unsigned long size = video->format()->biSizeImage;
  long frame = 42;
  const unsigned char* const bits = video->getFrameBits(frame);
  if (bits == nullptr) {
    std::puts(video->ErrorMessage(video->lastError));
    return 1;
  }
  std::printf("frame %ld: %08x\n", frame, sumOf(bits, size));
  const std::unique_ptr<AudioSourceStream> audio(AudioSourceStream::open(arguments[3], true, 0, nullptr));
  std::printf("samples: %08x\n", sumOf(audio->getSamples(10000, 14999), 5000 * audio->format()->nBlockAlign));
}
