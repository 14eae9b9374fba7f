// Ownership of DirectShow media types.

#pragma once

#include <windows.h>

#include <strmif.h>

namespace quillet {

/// Frees the format block and releases the object that `mediaType` holds, and leaves both empty.
void FreeMediaType(AM_MEDIA_TYPE& mediaType);

}  // namespace quillet
