#include <quillet/video_source_stream.h>

#include "core/frame_store.h"
#include "core/operation.h"
#include "core/owned.h"
#include "core/time_units.h"
#include "formats/format_sizes.h"

VideoSourceStream::VideoSourceStream() = default;

VideoSourceStream::~VideoSourceStream() = default;

bool VideoSourceStream::isRawData() {
  return false;
}

VIDEOINFOHEADER* VideoSourceStream::videoInfo(VIDEOINFOHEADER& info) {
  if (!quillet::beginOperation(*this)) {
    return nullptr;
  }
  info = {};
  info.bmiHeader = bitmapFormat;
  info.AvgTimePerFrame = quillet::roundedHalfUp<REFERENCE_TIME>(quillet::unitsPerSecond / rate);

  const auto frameSize = static_cast<double>(quillet::uncompressedFrameSize(bitmapFormat));
  info.dwBitRate = quillet::truncated<DWORD>(frameSize * quillet::bitsPerByte * rate);
  return &info;
}

void VideoSourceStream::setFrameBudget(long long bytes) {
  if (quillet::beginOperation(*this)) {
    frames->setBudget(bytes);
  }
}

double VideoSourceStream::frameRate() {
  return quillet::beginOperation(*this) ? rate : -1.0;
}

// Answers the address of the empty format, too, when the stream is not open.
BITMAPINFOHEADER* VideoSourceStream::format() {
  quillet::beginOperation(*this);
  return &bitmapFormat;
}
