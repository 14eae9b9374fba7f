// What silence is made of.

#pragma once

#include <windows.h>

#include <mmreg.h>

namespace quillet {

/// The byte that silence consists of: samples of 8 bits have no sign, their middle is silent.
inline int silenceOf(const WAVEFORMATEX& pcmFormat) {
  constexpr int middle = 0x80;
  return pcmFormat.wBitsPerSample == 8 ? middle : 0;
}

}  // namespace quillet
