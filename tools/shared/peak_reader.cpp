#include "shared/peak_reader.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <utility>

#include "shared/failure.h"
#include "shared/library_stream.h"

namespace quillet::client {
namespace {

constexpr long samplesPerPiece = 65536;

/// A value of PCM as a part of full scale: 8 bits are unsigned, more are signed.
float valueAt(const unsigned char* bytes, int size) {
  if (size == 1) {
    return static_cast<float>(bytes[0] - 128) / 128.0F;
  }
  // Put at the upper end of 32 bits, whatever the size: the sign and full scale are then the same for all.
  std::uint32_t bits = 0;
  for (int i = 0; i < size; ++i) {
    bits = bits >> 8 | static_cast<std::uint32_t>(bytes[i]) << 24;
  }
  return static_cast<float>(static_cast<std::int32_t>(bits)) / 2147483648.0F;
}

}  // namespace

PeakReader::PeakReader(AudioSourceStream& stream, long first, long last, long columns)
    : stream(stream),
      first(first),
      total(last - first + 1),
      columns(columns),
      channelCount(stream.format()->nChannels),
      sampleSize(stream.format()->nBlockAlign),
      valueSize(sampleSize / channelCount),
      sums(channelCount),
      peaksOf(channelCount, std::vector<Peak>(columns)) {
  if (valueSize < 1 || valueSize > 4) {
    throw Failure("no waveform of " + std::to_string(stream.format()->wBitsPerSample) + "-bit samples");
  }
}

bool PeakReader::readPiece() {
  if (position >= total) {
    return false;
  }
  const long end = position + std::min(samplesPerPiece, total - position);
  const unsigned char* const samples = decodedSamples(stream, first + position, first + end - 1);
  while (column < columns && columnBegin(column) < end) {
    const long from = std::max(columnBegin(column), position);
    const long to = std::min(columnEnd(column), end);
    add(samples + static_cast<std::ptrdiff_t>(from - position) * sampleSize, to - from);
    if (columnEnd(column) > end) {
      break;  // The next piece has the rest of it.
    }
    finishColumn();
  }
  position = end;
  return true;
}

long PeakReader::columnBegin(long number) const {
  return static_cast<long>(static_cast<long long>(number) * total / columns);
}

long PeakReader::columnEnd(long number) const {
  return std::max(columnBegin(number + 1), columnBegin(number) + 1);
}

void PeakReader::add(const unsigned char* samples, long count) {
  for (long i = 0; i < count; ++i, samples += sampleSize) {
    for (int channel = 0; channel < channelCount; ++channel) {
      const float value = valueAt(samples + static_cast<std::ptrdiff_t>(channel) * valueSize, valueSize);
      Sum& sum = sums[channel];
      const bool isFirst = sum.count++ == 0;
      sum.least = isFirst ? value : std::min(sum.least, value);
      sum.greatest = isFirst ? value : std::max(sum.greatest, value);
      sum.squares += static_cast<double>(value) * value;
    }
  }
}

void PeakReader::finishColumn() {
  for (int channel = 0; channel < channelCount; ++channel) {
    const Sum sum = std::exchange(sums[channel], {});
    peaksOf[channel][column] = {sum.least, sum.greatest,
                                static_cast<float>(std::sqrt(sum.squares / static_cast<double>(sum.count)))};
  }
  ++column;
}

}  // namespace quillet::client
