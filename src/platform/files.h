// What the file system tells of files.

#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace quillet {

/// @return the name that leads to the file also when the current folder is another one.
/// @throws std::bad_alloc
std::wstring fullName(const wchar_t* name);

/// Whether a file is there already, or is about to be made.
enum class FileUse { read, write };

/// @name Names for parts of the platform that do not take every name
/// Where the file's own name will not do, they give the short one that the file system has for it. Only what is there
/// has such a name: a file that is to be written is made, empty, when it has to be.
/// @{

/// Underneath, AVIFile takes names to the ANSI code page, and may have room for OFS_MAXPATHNAME characters. What the code
/// page lacks becomes the nearest that it has: the name of another file.
/// @return empty when AVIFile cannot find the file.
/// @throws std::bad_alloc
std::wstring nameForAviFile(const wchar_t* name, FileUse use);

/// Filters may have room for MAX_PATH characters. A file without a short name goes by a form of it that has no limit.
/// @throws std::bad_alloc
std::wstring nameForFilters(const wchar_t* name, FileUse use);
/// @}

/// Whether the file system knows that there is no such file. Of names that do not lead into it, as those of streams on
/// a network do not, it knows nothing.
bool isMissing(const wchar_t* name);

/// @return bytes; nothing when there is no such file, or it cannot be reached.
std::optional<std::uint64_t> fileLength(const wchar_t* name);

/// Whether the file begins as files of AVI and WAVE do.
bool isRiff(const wchar_t* name);

}  // namespace quillet
