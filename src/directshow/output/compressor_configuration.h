// Letting the user configure the compressors of the DirectShow writer.

#pragma once

#include <windows.h>

#include <strmif.h>

namespace quillet {

/// Lets the user pick the format that a compressor writes.
/// @param compressor null when none is set.
/// @return a code of ds_error or output_error.
int configureAudioCompressor(HWND parent, IBaseFilter* compressor);

/// Lets the user change a compressor's settings: in the library's dialog where the compressor has the interface for that,
/// else in the codec's own dialog, else on the compressor's property pages.
/// @param compressor null when none is set.
/// @return a code of ds_error or output_error.
int configureVideoCompressor(HWND parent, IBaseFilter* compressor);

}  // namespace quillet
