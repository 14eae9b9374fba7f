#include <cstdint>
#include <new>
#include <vector>

#include <quillet/error_codes.h>
#include <quillet/vfw_source_stream.h>

#include "core/open_new.h"
#include "vfw/avi_source.h"

namespace vfw_error = quillet::vfw_error;

namespace {

/// The format that frames are decoded to: 24-bit RGB, with the size, resolution and colour counts of the source.
BITMAPINFOHEADER outputFormat(const BITMAPINFOHEADER& sourceFormat) {
  BITMAPINFOHEADER output = sourceFormat;
  output.biSize = sizeof output;
  output.biPlanes = 1;
  output.biBitCount = 24;
  output.biCompression = BI_RGB;
  const std::int64_t rowBytes = (std::int64_t{sourceFormat.biWidth} * 3 + 3) & ~std::int64_t{3};
  output.biSizeImage = static_cast<DWORD>(rowBytes * sourceFormat.biHeight);
  return output;
}

}  // namespace

struct VfWVideoSourceStream::Decompressor {
  quillet::AviGetFrameHandle getFrame;
};

VfWVideoSourceStream* VfWVideoSourceStream::open(const char* fileName, int streamIndex,
                                                 QuilletNotification* notification) {
  auto* const stream = new (std::nothrow) VfWVideoSourceStream;
  return openNew(stream, notification, [&] { return stream->openSource(fileName, streamIndex); });
}

VfWVideoSourceStream::~VfWVideoSourceStream() {
  delete decompressor;
}

int VfWVideoSourceStream::openSource(const char* fileName, int streamIndex) {
  source = new quillet::AviSource;
  if (const int error = source->open(fileName, streamtypeVIDEO, streamIndex)) {
    return error;
  }
  const AVISTREAMINFOA* const information = source->information();
  if (information == nullptr || information->dwScale == 0 || information->dwRate == 0) {
    return vfw_error::cannotRetrieveStreamInfo;  // Without a frame rate nothing has a time.
  }
  rate = static_cast<double>(information->dwRate) / static_cast<double>(information->dwScale);

  std::vector<BYTE> format;
  if (const int error = source->readFormat(format, sizeof(BITMAPINFOHEADER), sizeof(BITMAPINFOHEADER))) {
    return error;
  }
  length = source->length();
  if (length == -1) {
    return vfw_error::undefinedStreamLength;
  }
  bitmapFormat = outputFormat(*reinterpret_cast<const BITMAPINFOHEADER*>(format.data()));

  decompressor = new Decompressor;
  decompressor->getFrame.reset(AVIStreamGetFrameOpen(source->stream(), &bitmapFormat));
  return decompressor->getFrame ? vfw_error::success : vfw_error::noDecompressor;
}

long VfWVideoSourceStream::findFrame(long frame) {
  if (!requireOpened()) {
    return -1;
  }
  if (frame < 0 || frame >= length) {
    lastError = vfw_error::parameterOutOfRange;
    return -1;
  }
  long found = -1;
  lastError = source->findSample(frame, found);
  return found;
}

unsigned char* VfWVideoSourceStream::getFrameBits(long& frame) {
  frame = findFrame(frame);
  if (frame == -1) {
    return nullptr;
  }
  void* const packedDib = AVIStreamGetFrame(decompressor->getFrame.get(), frame);
  if (packedDib == nullptr) {
    lastError = vfw_error::cannotDecompress;
    return nullptr;
  }
  return static_cast<unsigned char*>(packedDib) + static_cast<const BITMAPINFOHEADER*>(packedDib)->biSize;
}
