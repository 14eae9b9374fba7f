#include "vfw/sample_blocks.h"

#include <limits>

namespace quillet {

SampleBlocks::SampleBlocks(std::uint32_t scale, std::uint32_t rate, long samplesPerSecond, long samplesPerFrame)
    : samples(Number{scale} * samplesPerSecond), blocks(rate), frame(samplesPerFrame) {
  constexpr Number most = std::numeric_limits<std::int32_t>::max() / 2;
  // Their quotient is what counts. Ends: both become smaller each time.
  while (samples > most || blocks > most) {
    samples /= 2;
    blocks /= 2;
  }
}

}  // namespace quillet
