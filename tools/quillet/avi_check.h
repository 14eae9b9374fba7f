// A look at an AVI file that has just been written: not every writer tells that a disk is full.

#pragma once

#include <filesystem>
#include <string>

namespace quillet::client {

/// What was written; 0 for a stream that there is not.
struct AviLengths {
  long frames;
  long samples;
  bool areCopied;  ///< Of samples that are not decoded the numbers may be those of blocks.
};

/// @param directShow with which backend the file was written, and is opened here.
/// @return what is wrong with the file, in words; empty for nothing.
std::string faultOf(const std::filesystem::path& path, bool directShow, const AviLengths& written);

}  // namespace quillet::client
