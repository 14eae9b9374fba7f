// Which samples the blocks of a compressed stream decode to.

#pragma once

#include <cstdint>
#include <limits>

namespace quillet {

/// The one rule by which blocks and samples correspond: for the length, for seeking and for decoding alike.
class SampleBlocks {
 public:
  // Wide enough for whatever a file's block numbers and times come to.
  using Number = std::int64_t;

  /// Blocks of no samples.
  SampleBlocks() = default;

  /// Blocks that decode to so many samples each.
  explicit SampleBlocks(long samplesPerBlock) : samples(samplesPerBlock) {}

  /// Blocks that last `scale` / `rate` seconds each, whatever they begin with: what they decode to comes in whole frames,
  /// each with the block that its last byte is in.
  SampleBlocks(std::uint32_t scale, std::uint32_t rate, long samplesPerSecond, long samplesPerFrame)
      : samples(Number{scale} * samplesPerSecond), blocks(rate), frame(samplesPerFrame) {
    constexpr Number most = std::numeric_limits<std::int32_t>::max() / 2;
    // Their quotient is what counts. Ends: both become smaller each time.
    while (samples > most || blocks > most) {
      samples /= 2;
      blocks /= 2;
    }
  }

  /// Whether a number follows from the other at all.
  bool areKnown() const { return samples > 0 && blocks > 0; }

  /// The number of the first sample that `block` decodes to.
  Number firstSampleOf(Number block) const { return block * samples / blocks / frame * frame; }

  /// The last block whose first sample is not beyond `sample`.
  Number blockOf(Number sample) const { return ((sample / frame + 1) * frame * blocks - 1) / samples; }

 private:
  // So many samples in so many blocks, both small enough for a product with any number.
  Number samples = 0;
  Number blocks = 1;
  Number frame = 1;
};

}  // namespace quillet
