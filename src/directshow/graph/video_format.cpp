#include "directshow/graph/video_format.h"

#include <cstddef>
#include <cstring>

#include <uuids.h>

// Needs uuids.h.
#include <dvdmedia.h>

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

}  // namespace

bool tellsTimePerFrame(const AM_MEDIA_TYPE& type) {
  return hasVideoInfo(type) || hasVideoInfo2(type);
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
