// Damaged media files, each made again from a seed and its number.

#pragma once

#include <string>

#include "support/temp_file.h"

namespace quillet::test {

struct Mutant {
  Bytes content;
  const char* extension;
  bool hasVideo, hasAudio;  ///< The file that it was made from.
  std::string recipe;       ///< What was done to which file.
};

Mutant makeMutant(unsigned seed, long number);

}  // namespace quillet::test
