// Which formats can be true. Files tell of others, too, and the platform believes them, or divides by what they say.

#pragma once

#include <cstddef>

#include <windows.h>

#include <mmreg.h>

namespace quillet {

/// Samples of a block of ADPCM or GSM, by the field that follows the record in these.
/// @param size bytes that there really are of the record and of what belongs to it.
/// @return 0 when it does not tell.
long samplesPerBlock(const WAVEFORMATEX& format, std::size_t size);

/// Whether there can be audio of the format. Blocks of no bytes are let through where frames tell their own size, as
/// those of MPEG do.
/// @param size bytes that there really are of the record and of what belongs to it, at least those of a PCMWAVEFORMAT.
bool isUsable(const WAVEFORMATEX& format, std::size_t size);

/// Whether there can be frames of the format, of a size that a long can count also when each pixel has 24 bits.
/// @param size bytes that there really are of the header and of what belongs to it, at least those of the header.
bool isUsable(const BITMAPINFOHEADER& format, std::size_t size);

}  // namespace quillet
