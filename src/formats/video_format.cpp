#include "formats/video_format.h"

#include <algorithm>
#include <cstring>

#include <uuids.h>

// Needs uuids.h.
#include <dvdmedia.h>

#include "formats/format_sizes.h"
#include "formats/usable_formats.h"

namespace quillet {
namespace {

/// Whether the format begins with a VIDEOINFOHEADER.
bool hasVideoInfo(const AM_MEDIA_TYPE& type) {
  const bool isOfKind = type.formattype == FORMAT_VideoInfo || type.formattype == FORMAT_MPEGVideo;
  return isOfKind && type.pbFormat != nullptr && type.cbFormat >= sizeof(VIDEOINFOHEADER);
}

/// Whether the format begins with a VIDEOINFOHEADER2.
bool hasVideoInfo2(const AM_MEDIA_TYPE& type) {
  const bool isOfKind = type.formattype == FORMAT_VideoInfo2 || type.formattype == FORMAT_MPEG2Video;
  return isOfKind && type.pbFormat != nullptr && type.cbFormat >= sizeof(VIDEOINFOHEADER2);
}

// Both headers begin alike, up to this field.
constexpr std::size_t timeOffset = offsetof(VIDEOINFOHEADER, AvgTimePerFrame);
static_assert(timeOffset == offsetof(VIDEOINFOHEADER2, AvgTimePerFrame));

/// The subtype of frames of 16 bits, by the mask of green among those that follow the header, whatever the header says.
/// @return null when there is no such mask.
const GUID* subtypeOf16Bits(const BITMAPINFOHEADER& format, std::size_t formatSize) {
  constexpr DWORD green555 = 0x3E0;
  constexpr DWORD green565 = 0x7E0;
  constexpr std::size_t end = sizeof format + 3 * sizeof(DWORD);
  // Neither value can be a mask of red or blue, whichever comes first.
  for (std::size_t at = sizeof format; at + sizeof(DWORD) <= std::min(end, formatSize); at += sizeof(DWORD)) {
    DWORD mask = 0;
    std::memcpy(&mask, reinterpret_cast<const BYTE*>(&format) + at, sizeof mask);
    if (mask == green555 || mask == green565) {
      return mask == green555 ? &MEDIASUBTYPE_RGB555 : &MEDIASUBTYPE_RGB565;
    }
  }
  return nullptr;
}

/// @return null when DirectShow has no subtype for such frames.
const GUID* subtypeOfUncompressed(const BITMAPINFOHEADER& format, std::size_t formatSize) {
  switch (format.biBitCount) {
    case 1:
      return &MEDIASUBTYPE_RGB1;
    case 4:
      return &MEDIASUBTYPE_RGB4;
    case 8:
      return &MEDIASUBTYPE_RGB8;
    case 16:
      return subtypeOf16Bits(format, formatSize);
    case 24:
      return &MEDIASUBTYPE_RGB24;
    case 32:
      return &MEDIASUBTYPE_RGB32;
    default:
      return nullptr;
  }
}

}  // namespace

bool isUncompressed(const BITMAPINFOHEADER& format) {
  return format.biCompression == BI_RGB || format.biCompression == BI_BITFIELDS;
}

bool describeVideo(const BITMAPINFOHEADER& format, std::size_t formatSize, CMediaType& type) {
  const bool isRgb = isUncompressed(format);
  GUID subtype = MEDIATYPE_Video;  // The ids of all FOURCCs differ from it in their first 32 bits only.
  subtype.Data1 = format.biCompression;
  if (isRgb) {
    const GUID* const known = subtypeOfUncompressed(format, formatSize);
    if (known == nullptr) {
      return false;
    }
    subtype = *known;
  }
  type.majortype = MEDIATYPE_Video;
  type.subtype = subtype;
  type.bFixedSizeSamples = isRgb ? TRUE : FALSE;
  type.bTemporalCompression = isRgb ? FALSE : TRUE;
  type.lSampleSize = isRgb ? static_cast<ULONG>(uncompressedFrameSize(format)) : format.biSizeImage;
  type.formattype = FORMAT_VideoInfo;
  return true;
}

bool tellsTimePerFrame(const AM_MEDIA_TYPE& type) {
  return hasVideoInfo(type) || hasVideoInfo2(type);
}

bool tellsUsableFrames(const AM_MEDIA_TYPE& type) {
  if (!tellsTimePerFrame(type)) {
    return false;
  }
  const std::size_t at =
      hasVideoInfo(type) ? offsetof(VIDEOINFOHEADER, bmiHeader) : offsetof(VIDEOINFOHEADER2, bmiHeader);
  BITMAPINFOHEADER header = {};
  std::memcpy(&header, type.pbFormat + at, sizeof header);
  return isUsable(header, type.cbFormat - at);
}

REFERENCE_TIME timePerFrame(const AM_MEDIA_TYPE& type) {
  REFERENCE_TIME time = 0;
  if (tellsTimePerFrame(type)) {
    std::memcpy(&time, type.pbFormat + timeOffset, sizeof time);
  }
  return time;
}

void setTimePerFrame(const AM_MEDIA_TYPE& type, REFERENCE_TIME time) {
  if (tellsTimePerFrame(type)) {
    std::memcpy(type.pbFormat + timeOffset, &time, sizeof time);
  }
}

bool storeVideoInfo(const AM_MEDIA_TYPE& type, VIDEOINFOHEADER& info) {
  if (hasVideoInfo(type)) {
    std::memcpy(&info, type.pbFormat, sizeof info);
    return true;
  }
  if (!hasVideoInfo2(type)) {
    return false;
  }
  std::memcpy(&info, type.pbFormat, timeOffset + sizeof info.AvgTimePerFrame);
  std::memcpy(&info.bmiHeader, type.pbFormat + offsetof(VIDEOINFOHEADER2, bmiHeader), sizeof info.bmiHeader);
  return true;
}

}  // namespace quillet
