// The format blocks in which media types describe video.

#pragma once

#include <windows.h>

#include <strmif.h>

// Needs strmif.h.
#include <amvideo.h>

namespace quillet {

/// Whether the format is of one of the four kinds that tell a time per frame, and as long as it has to be.
bool tellsTimePerFrame(const AM_MEDIA_TYPE& type);

/// @return the time per frame in units of 100 ns; 0 when the format does not tell it.
REFERENCE_TIME timePerFrame(const AM_MEDIA_TYPE& type);

/// Writes the time per frame into a format that has a place for it.
void setTimePerFrame(const AM_MEDIA_TYPE& type, REFERENCE_TIME time);

/// Copies the format, narrowed where it tells more than a VIDEOINFOHEADER.
/// @return false when it is of another kind.
bool storeVideoInfo(const AM_MEDIA_TYPE& type, VIDEOINFOHEADER& info);

}  // namespace quillet
