// Ownership of DirectShow media types.

#pragma once

#include <windows.h>

#include <strmif.h>

#include "core/handles.h"

namespace quillet {

/// Frees the format block and releases the object that `mediaType` holds, and leaves both empty.
void FreeMediaType(AM_MEDIA_TYPE& mediaType);

/// Frees a media type that a COM method has handed out, with all that it holds.
void deleteMediaType(AM_MEDIA_TYPE* mediaType);
using MediaTypeHandle = UniqueHandle<AM_MEDIA_TYPE*, deleteMediaType>;

}  // namespace quillet
