// A client of the C++ classes: prints the number of a frame, and a checksum of its picture.

#include <quillet/quillet.h>

#include <cstdio>
#include <memory>
#include <numeric>

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
  const auto add = [](unsigned sum, unsigned byte) { return sum * 31 + byte; };
  std::printf("frame %ld: %08x\n", frame, std::accumulate(bits, bits + size, 0U, add));
}
