#include <quillet/video_source_stream.h>

#include <quillet/error_codes.h>

#include "core/time_units.h"
#include "formats/format_sizes.h"

using quillet::common_error::success;

VideoSourceStream::~VideoSourceStream() = default;

bool VideoSourceStream::isRawData() {
  return false;
}

VIDEOINFOHEADER* VideoSourceStream::videoInfo(VIDEOINFOHEADER& info) {
  if (!requireOpened()) {
    return nullptr;
  }
  info = {};
  info.bmiHeader = bitmapFormat;
  info.AvgTimePerFrame = quillet::roundedHalfUp<REFERENCE_TIME>(quillet::unitsPerSecond / rate);

  constexpr double bitsPerByte = 8.0;
  const auto frameSize = static_cast<double>(quillet::uncompressedFrameSize(bitmapFormat));
  info.dwBitRate = quillet::truncated<DWORD>(frameSize * bitsPerByte * rate);

  lastError = success;
  return &info;
}

double VideoSourceStream::frameRate() {
  if (!requireOpened()) {
    return -1.0;
  }
  lastError = success;
  return rate;
}

// Answers the address of the empty format, too, when the stream is not open.
BITMAPINFOHEADER* VideoSourceStream::format() {
  if (requireOpened()) {
    lastError = success;
  }
  return &bitmapFormat;
}
