#include <algorithm>
#include <cstdint>
#include <new>
#include <vector>

#include <quillet/error_codes.h>
#include <quillet/vfw_video_source_stream.h>

#include "core/frame_store.h"
#include "core/operation.h"
#include "core/owned.h"
#include "formats/format_sizes.h"
#include "formats/usable_formats.h"
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
  output.biSizeImage = static_cast<DWORD>(quillet::uncompressedFrameSize(output));
  return output;
}

/// Bytes of the masks that the header does not count, and of the colours, of which pixels of more than 8 bits may have
/// some, too.
std::uint64_t tailOf(const BITMAPINFOHEADER& header) {
  constexpr WORD paletteBits = 8;
  constexpr DWORD masks = 3;
  const bool areMasksBehind = header.biCompression == BI_BITFIELDS && header.biSize == sizeof header;
  const DWORD allColours = header.biBitCount <= paletteBits ? 1U << header.biBitCount : 0;
  const std::uint64_t colours = header.biClrUsed != 0 ? header.biClrUsed : allColours;
  return (areMasksBehind ? masks * sizeof(DWORD) : 0) + colours * sizeof(RGBQUAD);
}

}  // namespace

struct VfWVideoSourceStream::Decompressor {
  quillet::AviGetFrameHandle getFrame;
  BITMAPINFOHEADER sourceHeader = {};
  std::uint64_t sourceTail = 0;  // What the file really holds behind its header.

  unsigned char* pixelsOf(BITMAPINFOHEADER& packedDib, const BITMAPINFOHEADER& promised) const;
};

/// The pixels of a picture, behind all that belongs to its header; null when it is not of the format that was promised.
unsigned char* VfWVideoSourceStream::Decompressor::pixelsOf(BITMAPINFOHEADER& packedDib,
                                                            const BITMAPINFOHEADER& promised) const {
  constexpr DWORD mostColours = 256;
  const bool hasKnownHeader = packedDib.biSize == sizeof packedDib || packedDib.biSize == sourceHeader.biSize;
  const bool isAlike = packedDib.biWidth == promised.biWidth && packedDib.biHeight == promised.biHeight &&
                       packedDib.biBitCount == promised.biBitCount;
  // The size need not be told; where it is, it may be that of the sample read.
  const bool isWhole = packedDib.biSizeImage == 0 || packedDib.biSizeImage >= promised.biSizeImage;
  const bool hasColours = packedDib.biClrUsed <= mostColours || packedDib.biClrUsed == sourceHeader.biClrUsed;
  if (!hasKnownHeader || !isAlike || !isWhole || !hasColours) {
    return nullptr;
  }
  // Pictures of the source that come as they are have what the file has, whatever its header claims.
  const bool isAsItIs = packedDib.biCompression == sourceHeader.biCompression &&
                        packedDib.biBitCount == sourceHeader.biBitCount &&
                        packedDib.biClrUsed == sourceHeader.biClrUsed;
  const std::uint64_t claimed = tailOf(packedDib);
  const std::uint64_t tail = isAsItIs ? std::min(claimed, sourceTail) : claimed;
  return reinterpret_cast<unsigned char*>(&packedDib) + packedDib.biSize + static_cast<std::size_t>(tail);
}

VfWVideoSourceStream* VfWVideoSourceStream::open(const wchar_t* fileName, int streamIndex,
                                                 QuilletNotification* notification) {
  auto* const stream = new (std::nothrow) VfWVideoSourceStream;
  return quillet::openNew(stream, notification, [&] { return stream->openSource(fileName, streamIndex); });
}

// Destroyed before the base class, and so before the AVIFile stream that it reads from.
VfWVideoSourceStream::~VfWVideoSourceStream() = default;

int VfWVideoSourceStream::openSource(const wchar_t* fileName, int streamIndex) {
  source.reset(new quillet::AviSource);
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
  const auto& sourceHeader = *reinterpret_cast<const BITMAPINFOHEADER*>(format.data());
  if (!quillet::isUsable(sourceHeader, format.size())) {
    return vfw_error::cannotRetrieveFormat;
  }
  length = source->length();
  if (length == -1) {
    return vfw_error::undefinedStreamLength;
  }
  bitmapFormat = outputFormat(sourceHeader);

  decompressor.reset(new Decompressor);
  decompressor->sourceHeader = sourceHeader;
  decompressor->sourceTail = format.size() - sourceHeader.biSize;
  BITMAPINFOHEADER wanted = bitmapFormat;
  wanted.biClrUsed = wanted.biClrImportant = 0;  // Those of the source: the pictures have no colours of their own.
  frames.reset(new quillet::FrameStore(bitmapFormat.biSizeImage));
  decompressor->getFrame.reset(AVIStreamGetFrameOpen(source->stream(), &wanted));
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
  // What is not compressed is read as quickly as it is copied.
  const bool isCompressed = decompressor->sourceHeader.biCompression != BI_RGB;
  unsigned char* const pixels = isCompressed ? keptFrame(frame) : decode(frame);
  if (pixels == nullptr) {
    lastError = vfw_error::cannotDecompress;
  }
  return pixels;
}

/// A frame from those that are kept, or else decoded, and kept from now on where frames are.
unsigned char* VfWVideoSourceStream::keptFrame(long frame) {
  frames->note(frame);
  if (const auto kept = frames->find(frame)) {
    return kept->bits;
  }
  if (frames->stepBackAgain() > 0) {
    keepFramesBefore(frame);
  }
  unsigned char* const pixels = decode(frame);
  if (pixels != nullptr && frames->isKeeping()) {
    frames->keepCopy(frame, pixels);
  }
  return pixels;
}

/// Decodes a frame, into the decompressor's own buffer.
unsigned char* VfWVideoSourceStream::decode(long frame) {
  void* const packedDib = AVIStreamGetFrame(decompressor->getFrame.get(), frame);
  return packedDib != nullptr ? decompressor->pixelsOf(*static_cast<BITMAPINFOHEADER*>(packedDib), bitmapFormat)
                              : nullptr;
}

/// Keeps what is decoded on the way to a frame: all since the last key frame, as far as there is room.
void VfWVideoSourceStream::keepFramesBefore(long frame) {
  const long key = source->find(frame, FIND_PREV | FIND_KEY);
  if (key == -1) {
    return;
  }
  const long first = std::max(key, frame + 1 - static_cast<long>(frames->capacity()));
  frames->preferEarlier();
  for (long number = first; number < frame; ++number) {
    unsigned char* const pixels = source->findPrevious(number) == number ? decode(number) : nullptr;
    if (pixels != nullptr) {
      frames->keepCopy(number, pixels);
    }
  }
}
