// frames FILE NUMBER IMAGE: writes a frame of a video into a BMP file.

#include <quillet/quillet.h>

#include <cstdio>
#include <cwchar>
#include <memory>

namespace {

// A file header, the format of the frame and its pixels are a BMP file.
bool writeImage(const wchar_t* name, const BITMAPINFOHEADER& format, const unsigned char* bits) {
  BITMAPFILEHEADER header = {};
  header.bfType = 0x4D42;  // "BM"
  header.bfOffBits = sizeof header + sizeof format;
  header.bfSize = header.bfOffBits + format.biSizeImage;
  std::FILE* const image = _wfopen(name, L"wb");
  if (image == nullptr) {
    return false;
  }
  const bool isWritten = std::fwrite(&header, sizeof header, 1, image) == 1 &&
                         std::fwrite(&format, sizeof format, 1, image) == 1 &&
                         std::fwrite(bits, format.biSizeImage, 1, image) == 1;
  return (std::fclose(image) == 0) && isWritten;
}

}  // namespace

int wmain(int argc, wchar_t* argv[]) {
  if (argc != 4) {
    std::puts("usage: frames FILE NUMBER IMAGE.bmp");
    return 2;
  }
  QuilletThread();
  const std::unique_ptr<VideoSourceStream> video(VideoSourceStream::open(argv[1], 0, nullptr));
  if (video == nullptr || video->lastErrorIsFatal()) {
    std::puts(video != nullptr ? video->ErrorMessage(video->lastError) : "not enough memory");
    return 1;
  }

  const long wanted = std::wcstol(argv[2], nullptr, 10);
  long frame = wanted;                                           // Receives the number of the frame found.
  const unsigned char* const bits = video->getFrameBits(frame);  // Valid until the next operation of the stream.
  if (bits == nullptr) {
    std::printf("no frame %ld: %s\n", wanted, video->ErrorMessage(video->lastError));
    return 1;
  }
  if (video->lastError != 0) {
    std::printf("warning: %s\n", video->ErrorMessage(video->lastError));
  }
  if (!writeImage(argv[3], *video->format(), bits)) {
    std::puts("cannot write the image");
    return 1;
  }
  const double exactMs = static_cast<double>(frame) * 1000.0 / video->frameRate();
  std::printf("frame %ld, %.3f ms\n", frame, exactMs);
  return 0;
}
