#pragma once

/// @file
/// The platform's format records: BITMAPINFOHEADER, WAVEFORMATEX, AM_MEDIA_TYPE, VIDEOINFOHEADER.

#include <windows.h>

#include <mmreg.h>
#include <strmif.h>

// Needs strmif.h.
#include <amvideo.h>
