// The format blocks in which media types describe video.

#pragma once

#include <cstddef>

#include <windows.h>

#include <strmif.h>

// Needs strmif.h.
#include <amvideo.h>

#include "formats/media_type.h"

namespace quillet {

/// Whether frames of the format are pixels as they are.
bool isUncompressed(const BITMAPINFOHEADER& format);

/// Describes a video stream of a format as a media type of FORMAT_VideoInfo, to which the format block is still to be
/// added.
/// @param formatSize bytes of the format, the masks or the palette behind the header included.
/// @return false, with `type` left alone, when frames of the format are uncompressed and have no subtype.
bool describeVideo(const BITMAPINFOHEADER& format, std::size_t formatSize, CMediaType& type);

/// Whether the format is of one of the four kinds that tell a time per frame, and as long as it has to be.
bool tellsTimePerFrame(const AM_MEDIA_TYPE& type);

/// Whether there can be the frames that such a format tells of.
bool tellsUsableFrames(const AM_MEDIA_TYPE& type);

/// @return the time per frame in units of 100 ns; 0 when the format does not tell it.
REFERENCE_TIME timePerFrame(const AM_MEDIA_TYPE& type);

/// Writes the time per frame into a format that has a place for it.
void setTimePerFrame(const AM_MEDIA_TYPE& type, REFERENCE_TIME time);

/// Copies the format, narrowed where it tells more than a VIDEOINFOHEADER.
/// @return false when it is of another kind.
bool storeVideoInfo(const AM_MEDIA_TYPE& type, VIDEOINFOHEADER& info);

}  // namespace quillet
