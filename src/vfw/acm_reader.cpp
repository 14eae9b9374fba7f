#include "vfw/acm_reader.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

#include <mmreg.h>
#include <msacm.h>

#include <quillet/error_codes.h>

#include "core/time_units.h"

namespace quillet {
namespace {

/// Samples in a block of the formats whose blocks all hold the same number of them; 0 for other formats.
long fixedSamplesPerBlock(const WAVEFORMATEX& format) {
  switch (format.wFormatTag) {
    case WAVE_FORMAT_ALAW:
    case WAVE_FORMAT_MULAW:
      return format.nBlockAlign / std::max<long>(format.nChannels, 1);
    case WAVE_FORMAT_ADPCM:
    case WAVE_FORMAT_IMA_ADPCM:
    case WAVE_FORMAT_GSM610: {
      // In all three wSamplesPerBlock follows the WAVEFORMATEX.
      WORD samplesPerBlock = 0;
      if (format.cbSize >= sizeof samplesPerBlock) {
        std::memcpy(&samplesPerBlock, &format + 1, sizeof samplesPerBlock);
      }
      return samplesPerBlock;
    }
    default:
      return 0;
  }
}

/// Whether the average data rate is one that converters can count with: some divide by it, MP3's by the bytes of a frame
/// that follow from it, in 32 bits.
bool hasUsableDataRate(const WAVEFORMATEX& format) {
  if (format.wFormatTag != WAVE_FORMAT_MPEGLAYER3) {
    return format.nAvgBytesPerSec > 0;
  }
  constexpr std::uint64_t samplesPerFrame = 1152;
  const std::uint64_t product = samplesPerFrame * format.nAvgBytesPerSec;
  return product >= format.nSamplesPerSec && product <= std::numeric_limits<std::uint32_t>::max();
}

}  // namespace

AcmReader::AcmReader(const AviSource& aviSource, std::vector<BYTE> sourceFormat)
    : aviSource(aviSource), sourceFormat(std::move(sourceFormat)) {}

int AcmReader::open(WAVEFORMATEX& outputFormat) {
  auto* const sourcePointer = reinterpret_cast<WAVEFORMATEX*>(sourceFormat.data());
  outputFormat = {};
  outputFormat.wFormatTag = WAVE_FORMAT_PCM;
  outputFormat.nChannels = source().nChannels;
  if (acmFormatSuggest(nullptr, sourcePointer, &outputFormat, sizeof outputFormat,
                       ACM_FORMATSUGGESTF_WFORMATTAG | ACM_FORMATSUGGESTF_NCHANNELS) != 0) {
    return vfw_error::noPcmFormat;
  }
  samplesPerSecond = static_cast<long>(outputFormat.nSamplesPerSec);
  sampleSize = outputFormat.nBlockAlign;
  if (sampleSize == 0) {
    return vfw_error::noPcmFormat;
  }

  HACMSTREAM opened = nullptr;
  if (acmStreamOpen(&opened, nullptr, sourcePointer, &outputFormat, nullptr, 0, 0, ACM_STREAMOPENF_NONREALTIME) != 0) {
    return vfw_error::cannotInitializeDecompressor;
  }
  acmStream.reset(opened);

  const DWORD blockSize = source().nBlockAlign;
  DWORD pcmSize = 0;
  if (!hasUsableDataRate(source()) ||
      acmStreamSize(acmStream.get(), blockSize, &pcmSize, ACM_STREAMSIZEF_SOURCE) != 0) {
    return vfw_error::cannotInitializeDecompressor;
  }
  blockBuffer.resize(blockSize);
  pcmBuffer.resize(std::max<std::size_t>(pcmSize, sampleSize));
  if (!acmHeader.prepare(acmStream.get(), blockBuffer.data(), blockSize, pcmBuffer.data(), pcmSize)) {
    return vfw_error::cannotInitializeDecompressor;
  }
  // The ACM's own figure must bear out what the format says.
  const long fixed = fixedSamplesPerBlock(source());
  samplesPerBlock = std::int64_t{fixed} * sampleSize == pcmSize ? fixed : 0;
  return vfw_error::success;
}

int AcmReader::measure(long& length) {
  sourceBlocks = aviSource.length();
  LONG ms = aviSource.timeOf(sourceBlocks);
  if (ms == -1 || sourceBlocks == -1) {
    return vfw_error::undefinedStreamLength;
  }
  if (ms > 1) {
    --ms;  // The last millisecond is not counted, so that the length never exceeds what the blocks hold.
  }
  length = MulDiv(ms, samplesPerSecond, msPerSecond);
  return length == -1 ? vfw_error::undefinedStreamLength : vfw_error::success;
}

int AcmReader::read(long first, long last, BYTE* out) {
  const int error = decode(first, last, out);
  if (error != vfw_error::success) {
    pcmFirst = noSample;  // Block numbers and samples may be out of step: seek next time.
  }
  return error;
}

int AcmReader::decode(SampleNumber first, SampleNumber last, BYTE* out) {
  if (first >= pcmFirst && first <= pcmLast + 1) {
    cursor = first;  // Inside the block held, or right after it.
  } else {
    if (const int error = seek(static_cast<long>(first))) {
      return error;
    }
    if (cursor > first) {  // The stream starts later: silence up to there.
      std::memset(out, 0, static_cast<std::size_t>((std::min(cursor, last + 1) - first) * sampleSize));
    }
  }
  while (cursor <= last) {
    if (cursor > pcmLast) {
      if (const int error = decodeNextBlock()) {
        return error;
      }
    }
    // A last block that decodes to nothing leaves the cursor beyond the buffer: its first sample stands in, one at a
    // time.
    const SampleNumber held = std::max(pcmLast - cursor + 1, SampleNumber{0});
    const SampleNumber count = std::min(std::max(held, SampleNumber{1}), last - cursor + 1);
    const SampleNumber lead = std::clamp(first - cursor, SampleNumber{0}, count);  // Decoded only to reach the run.
    const BYTE* const from = pcmBuffer.data() + (held > 0 ? (cursor - pcmFirst) * sampleSize : 0);
    if (count > lead) {
      std::memcpy(out + (cursor + lead - first) * sampleSize, from + lead * sampleSize,
                  static_cast<std::size_t>((count - lead) * sampleSize));
    }
    cursor += count;
  }
  return vfw_error::success;
}

/// Moves to the block that holds `first`, from which decoding starts afresh.
int AcmReader::seek(long first) {
  pcmFirst = noSample;
  const LONG block = aviSource.sampleAt(MulDiv(first, msPerSecond, samplesPerSecond));
  if (block == -1 || !moveTo(AVIStreamFindSample(aviSource.stream(), block, FIND_PREV | FIND_ANY))) {
    return vfw_error::cannotSeek;
  }
  // Whole milliseconds may lead to a block that starts after the sample. Ends at the first block at the latest.
  while (cursor > first && nextBlock > 0) {
    const LONG previous = AVIStreamFindSample(aviSource.stream(), nextBlock - 1, FIND_PREV | FIND_ANY);
    if (previous >= nextBlock || !moveTo(previous)) {
      break;
    }
  }
  pcmLast = cursor - 1;
  conversionStarted = false;
  return vfw_error::success;
}

/// Makes `block` the next one, and its first sample the next sample.
/// @return false, with nothing changed, when there is no such block.
bool AcmReader::moveTo(long block) {
  const SampleNumber sample = block != -1 ? firstSampleOf(block) : -1;
  if (sample == -1) {
    return false;
  }
  nextBlock = block;
  cursor = sample;
  return true;
}

/// The number of a block's first sample, -1 on failure. AVIFile tells it by its time alone, in whole milliseconds; where
/// all blocks are alike the exact number is known.
AcmReader::SampleNumber AcmReader::firstSampleOf(long block) const {
  const LONG ms = aviSource.timeOf(block);
  if (ms == -1) {
    return -1;
  }
  return samplesPerBlock > 0 ? SampleNumber{block} * samplesPerBlock : MulDiv(ms, samplesPerSecond, msPerSecond);
}

/// Replaces the block held by the next one that decodes to anything. After the last block, that one is held again,
/// under the numbers that follow.
int AcmReader::decodeNextBlock() {
  // Ends: every turn takes a block, and there are sourceBlocks of them.
  do {
    if (nextBlock >= sourceBlocks) {
      break;
    }
    const LONG block = nextBlock++;
    if (AVIStreamRead(aviSource.stream(), block, 1, blockBuffer.data(), static_cast<LONG>(blockBuffer.size()), nullptr,
                      nullptr) != 0) {
      return vfw_error::errorReadingSamples;
    }
    const DWORD start = conversionStarted ? 0 : ACM_STREAMCONVERTF_START;
    if (acmStreamConvert(acmStream.get(), acmHeader.get(), ACM_STREAMCONVERTF_BLOCKALIGN | start) != 0) {
      return vfw_error::cannotDecompress;
    }
    conversionStarted = true;
  } while (acmHeader->cbDstLengthUsed == 0);
  pcmFirst = pcmLast + 1;
  pcmLast += acmHeader->cbDstLengthUsed / sampleSize;
  return vfw_error::success;
}

}  // namespace quillet
