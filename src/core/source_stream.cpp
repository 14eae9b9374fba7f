// What the abstract source streams do by themselves. The factories stand above the backends, in factories.cpp.

#include <quillet/source_stream.h>

#include <quillet/audio_source_stream.h>
#include <quillet/error_codes.h>
#include <quillet/raw_data_source_stream.h>
#include <quillet/video_source_stream.h>

#include "core/format_sizes.h"
#include "core/media_type.h"
#include "core/time_units.h"

using quillet::common_error::success;

QuilletNotification::~QuilletNotification() = default;

SourceStream::~SourceStream() = default;

long SourceStream::duration() {
  if (!requireOpened()) {
    return -1;
  }
  lastError = success;
  return length;
}

QuilletNotification* SourceStream::notify(QuilletNotification* sink) {
  QuilletNotification* const replaced = notification;
  notification = sink;
  return replaced;
}

QuilletNotification* SourceStream::notify() {
  return notification;
}

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

// The format() of each kind answers the address of the empty format, too, when the stream is not open.

BITMAPINFOHEADER* VideoSourceStream::format() {
  if (requireOpened()) {
    lastError = success;
  }
  return &bitmapFormat;
}

AudioSourceStream::~AudioSourceStream() = default;

bool AudioSourceStream::isRawData() {
  return false;
}

VIDEOINFOHEADER* AudioSourceStream::videoInfo(VIDEOINFOHEADER&) {
  return nullptr;
}

WAVEFORMATEX* AudioSourceStream::format() {
  if (requireOpened()) {
    lastError = success;
  }
  return &waveFormat;
}

RawDataSourceStream::~RawDataSourceStream() {
  if (!notOpened) {
    quillet::FreeMediaType(mediaType);
  }
}

bool RawDataSourceStream::isRawData() {
  return true;
}

AM_MEDIA_TYPE* RawDataSourceStream::format() {
  if (requireOpened()) {
    lastError = success;
  }
  return &mediaType;
}

long RawDataSourceStream::firstKeySample() {
  if (requireOpened()) {
    lastError = success;
  }
  return keySample;
}
