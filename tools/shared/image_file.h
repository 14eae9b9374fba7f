// Images, written by the Windows Imaging Component.

#pragma once

#include <filesystem>

#include <windows.h>

namespace quillet::client {

/// Refuses, as wrong usage, a name that ends neither in .png nor in .bmp.
void requireImageName(const std::filesystem::path& path);

/// A row of 24-bit RGB pixels.
/// @param row from the top, wherever the pixels begin.
const unsigned char* rowOf(const BITMAPINFOHEADER& format, const unsigned char* bits, LONG row);

/// Writes 24-bit RGB pixels in the format that the name's ending tells. What `path` names is replaced when all is written.
/// @param format of the pixels; bottom-up unless biHeight is negative.
void writeImage(const std::filesystem::path& path, const BITMAPINFOHEADER& format, const unsigned char* bits);

}  // namespace quillet::client
