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
#include "formats/silence.h"
#include "formats/usable_formats.h"

namespace quillet {
namespace {

/// What is known of the blocks of a format.
struct Coding {
  long samplesPerBlock = 0;  // 0 when it may differ.
  long samplesPerFrame = 0;  // Of formats whose blocks are mere pieces of a stream of frames; otherwise 0.
  long warmUp = 0;           // Samples before a block that it cannot be decoded without.
};

// How many blocks of a single sample are read and decoded at once: each read has AVIFile go through its chunks.
constexpr long samplesAtOnce = 1024;

// What the decoder of GSM remembers fades with the sound: of 20 s of each, noise is the same to the bit 7 blocks after a
// cold start, a voice 84, a single tone 118.
constexpr long gsmWarmUpBlocks = 128;

// A frame of MPEG audio may lie in the bytes of up to nine before it, and needs the one before to be decoded.
constexpr long mpegWarmUpFrames = 12;

/// @param size bytes of the format with what belongs to it.
Coding codingOf(const WAVEFORMATEX& format, std::size_t size) {
  switch (format.wFormatTag) {
    case WAVE_FORMAT_ALAW:
    case WAVE_FORMAT_MULAW:
      return {.samplesPerBlock = format.nBlockAlign / format.nChannels};
    case WAVE_FORMAT_ADPCM:
    case WAVE_FORMAT_IMA_ADPCM:
    case WAVE_FORMAT_GSM610: {
      const long samples = samplesPerBlock(format, size);
      const long warmUpBlocks = format.wFormatTag == WAVE_FORMAT_GSM610 ? gsmWarmUpBlocks : 0;
      return {.samplesPerBlock = samples, .warmUp = warmUpBlocks * samples};
    }
    case WAVE_FORMAT_MPEGLAYER3: {
      constexpr DWORD leastRateOfMpeg1 = 32000;
      const long samplesPerFrame = format.nSamplesPerSec < leastRateOfMpeg1 ? 576 : 1152;
      return {.samplesPerFrame = samplesPerFrame, .warmUp = mpegWarmUpFrames * samplesPerFrame};
    }
    default:
      return {};
  }
}

/// Whether the average data rate is one that the converter can count with: that of MP3 divides by the bytes of a frame,
/// which follow from it, in 32 bits.
bool hasUsableDataRate(const WAVEFORMATEX& format) {
  constexpr std::uint64_t samplesPerFrame = 1152;
  const std::uint64_t product = samplesPerFrame * format.nAvgBytesPerSec;
  return format.wFormatTag != WAVE_FORMAT_MPEGLAYER3 ||
         (product >= format.nSamplesPerSec && product <= std::numeric_limits<std::uint32_t>::max());
}

}  // namespace

AcmReader::AcmReader(const AviSource& aviSource, std::vector<BYTE> sourceFormat)
    : aviSource(aviSource), sourceFormat(std::move(sourceFormat)) {}

int AcmReader::open(WAVEFORMATEX& outputFormat) {
  outputFormat = {};
  outputFormat.wFormatTag = WAVE_FORMAT_PCM;
  outputFormat.nChannels = source().nChannels;
  if (acmFormatSuggest(nullptr, reinterpret_cast<WAVEFORMATEX*>(sourceFormat.data()), &outputFormat,
                       sizeof outputFormat, ACM_FORMATSUGGESTF_WFORMATTAG | ACM_FORMATSUGGESTF_NCHANNELS) != 0) {
    return vfw_error::noPcmFormat;
  }
  pcmFormat = outputFormat;
  sampleSize = pcmFormat.nBlockAlign;
  if (!isUsable(pcmFormat, sizeof pcmFormat)) {
    return vfw_error::noPcmFormat;
  }

  const DWORD blockSize = source().nBlockAlign;
  DWORD pcmSize = 0;
  if (!openDecoder() || !hasUsableDataRate(source()) ||
      acmStreamSize(acmStream.get(), blockSize, &pcmSize, ACM_STREAMSIZEF_SOURCE) != 0) {
    return vfw_error::cannotInitializeDecompressor;
  }
  findBlocks(pcmSize);
  blockBuffer.resize(std::size_t{blockSize} * blocksAtOnce);
  pcmBuffer.resize(std::max<std::size_t>(std::size_t{pcmSize} * blocksAtOnce, sampleSize));
  return prepareDecoder() ? vfw_error::success : vfw_error::cannotInitializeDecompressor;
}

/// Opens the decoder anew, which remembers nothing then.
bool AcmReader::openDecoder() {
  acmHeader.unprepare();
  HACMSTREAM opened = nullptr;
  auto* const sourcePointer = reinterpret_cast<WAVEFORMATEX*>(sourceFormat.data());
  const bool isOpen =
      acmStreamOpen(&opened, nullptr, sourcePointer, &pcmFormat, nullptr, 0, 0, ACM_STREAMOPENF_NONREALTIME) == 0;
  acmStream.reset(isOpen ? opened : nullptr);
  return isOpen;
}

bool AcmReader::prepareDecoder() {
  return acmHeader.prepare(acmStream.get(), blockBuffer.data(), static_cast<DWORD>(blockBuffer.size()),
                           pcmBuffer.data(), static_cast<DWORD>(pcmBuffer.size()));
}

/// Finds how blocks and samples correspond.
/// @param pcmSize bytes that a block decodes to at most, by the ACM.
void AcmReader::findBlocks(DWORD pcmSize) {
  const Coding coding = codingOf(source(), sourceFormat.size());
  warmUp = coding.warmUp;
  // The ACM's own figure must bear out what the format says.
  if (coding.samplesPerBlock > 0 && Number{coding.samplesPerBlock} * sampleSize == pcmSize) {
    blocks = SampleBlocks(coding.samplesPerBlock);
    bytesOfEach = pcmSize;
    blocksAtOnce = coding.samplesPerBlock == 1 ? samplesAtOnce : 1;
    return;
  }
  isTimed = coding.samplesPerFrame == 0;
  if (const AVISTREAMINFOA* const information = aviSource.information()) {
    blocks = SampleBlocks(information->dwScale, information->dwRate, static_cast<long>(pcmFormat.nSamplesPerSec),
                          std::max(coding.samplesPerFrame, 1L));
  }
}

int AcmReader::measure(long& length) {
  sourceBlocks = aviSource.length();
  if (sourceBlocks == -1 || !blocks.areKnown()) {
    return vfw_error::undefinedStreamLength;
  }
  if (!isTimed) {
    const Number end = blocks.firstSampleOf(sourceBlocks);
    length = static_cast<long>(end);
    // Blocks that hold not even a sample are none: the header is false.
    return end == length && (end > 0 || sourceBlocks == 0) ? vfw_error::success : vfw_error::undefinedStreamLength;
  }
  LONG ms = aviSource.timeOf(sourceBlocks);
  if (ms == -1) {
    return vfw_error::undefinedStreamLength;
  }
  if (ms > 1) {
    --ms;  // The last millisecond is not counted, so that the length never exceeds what the blocks hold.
  }
  length = MulDiv(ms, static_cast<int>(pcmFormat.nSamplesPerSec), msPerSecond);
  return length == -1 ? vfw_error::undefinedStreamLength : vfw_error::success;
}

std::optional<double> AcmReader::msEnd() const {
  if (isTimed) {
    return std::nullopt;
  }
  const Number end = blocks.firstSampleOf(Number{aviSource.start()} + sourceBlocks);
  return static_cast<double>(end) * msPerSecond / pcmFormat.nSamplesPerSec;
}

int AcmReader::read(long first, long last, BYTE* out) {
  const int error = decode(first, last, out);
  if (error != vfw_error::success) {
    pcmFirst = noSample;  // Block numbers and samples may be out of step: seek next time.
  }
  return error;
}

int AcmReader::decode(Number first, Number last, BYTE* out) {
  if (first >= pcmFirst && first <= pcmLast + 1) {
    cursor = first;  // Inside the block held, or right after it.
  } else if (const int error = seek(first)) {
    return error;
  }
  while (cursor <= last) {
    if (cursor > pcmLast) {
      if (const int error = decodeNextBlock()) {
        return error;
      }
    }
    // A last block that decodes to nothing leaves the cursor beyond what the buffer holds: the buffer's first sample
    // stands in, one at a time.
    const Number held = std::max(pcmLast - cursor + 1, Number{0});
    const Number count = std::min(std::max(held, Number{1}), last - cursor + 1);
    const Number lead = std::clamp(first - cursor, Number{0}, count);  // Decoded only to reach the run.
    const BYTE* const from = pcmBuffer.data() + (held > 0 ? (cursor - pcmFirst) * sampleSize : 0);
    if (count > lead) {
      std::memcpy(out + (cursor + lead - first) * sampleSize, from + lead * sampleSize,
                  static_cast<std::size_t>((count - lead) * sampleSize));
    }
    cursor += count;
  }
  return vfw_error::success;
}

/// Moves to the block that holds `first`, with the decoder warmed up for it.
int AcmReader::seek(Number first) {
  pcmFirst = noSample;
  // The flag for a new start does not make every decoder forget where it came from.
  if (warmUp > 0 && conversionStarted && !(openDecoder() && prepareDecoder())) {
    return vfw_error::cannotSeek;
  }
  conversionStarted = false;
  const auto wanted = static_cast<long>(std::min<Number>(blocks.blockOf(first), sourceBlocks - 1));
  nextBlock = aviSource.findPrevious(wanted);
  if (nextBlock < 0 || nextBlock > wanted) {
    return vfw_error::cannotSeek;
  }
  const long start = aviSource.start();
  const auto warmUpBlock =
      static_cast<long>(blocks.blockOf(std::max(blocks.firstSampleOf(nextBlock) - warmUp, Number{0})));
  if (warmUpBlock <= start && bytesOfEach == 0) {
    nextBlock = std::min(nextBlock, start);  // So near to the beginning, samples are counted from the first one on.
  }
  for (long block = std::max(warmUpBlock, start); block < nextBlock; ++block) {
    LONG count = 1;
    static_cast<void>(convert(block, count));  // A failure leaves the decoder colder, but is none of the run's.
  }
  cursor = blocks.firstSampleOf(nextBlock);
  pcmLast = cursor - 1;
  return vfw_error::success;
}

/// Reads `count` blocks from `block` on, or as many of them as AVIFile gives at once, and converts them into pcmBuffer.
/// @param count receives their number.
int AcmReader::convert(long block, LONG& count) {
  const LONG wanted = count;
  LONG bytes = 0;
  if (AVIStreamRead(aviSource.stream(), block, wanted, blockBuffer.data(), static_cast<LONG>(blockBuffer.size()),
                    &bytes, &count) != 0 ||
      count < 1 || count > wanted) {
    return vfw_error::errorReadingSamples;
  }
  acmHeader->cbDstLengthUsed = 0;
  acmHeader->cbSrcLength = std::min<DWORD>(bytes, blockBuffer.size());  // Not what an earlier, longer block left.
  const DWORD start = conversionStarted ? 0 : ACM_STREAMCONVERTF_START;
  if (acmHeader->cbSrcLength > 0 &&
      acmStreamConvert(acmStream.get(), acmHeader.get(), ACM_STREAMCONVERTF_BLOCKALIGN | start) != 0) {
    return vfw_error::cannotDecompress;
  }
  conversionStarted = true;
  const DWORD decoded = acmHeader->cbDstLengthUsed;
  const DWORD expected = bytesOfEach * count;
  if (decoded < expected) {
    // Damaged blocks. What follows them begins where it must nevertheless.
    std::memset(pcmBuffer.data() + decoded, silenceOf(pcmFormat), expected - decoded);
    acmHeader->cbDstLengthUsed = expected;
  }
  return vfw_error::success;
}

/// Replaces the block held by the next one that decodes to anything, or by several small ones. After the last block,
/// that one is held again, under the numbers that follow.
int AcmReader::decodeNextBlock() {
  // Ends: every turn takes a block, and there are sourceBlocks of them.
  do {
    if (nextBlock >= sourceBlocks) {
      break;
    }
    LONG count = std::min(blocksAtOnce, sourceBlocks - nextBlock);
    int error = convert(nextBlock, count);
    if (error != vfw_error::success && blocksAtOnce > 1) {
      count = 1;  // The run fails only where its own blocks do.
      error = convert(nextBlock, count);
    }
    if (error != vfw_error::success) {
      return error;
    }
    nextBlock += count;
    if (acmHeader->cbSrcLength == 0 && aviSource.hasFixedSampleSize()) {
      nextBlock = sourceBlocks;  // Blocks of one size are never empty: the file is shorter than it says.
    }
  } while (acmHeader->cbDstLengthUsed == 0);
  pcmFirst = pcmLast + 1;
  pcmLast += acmHeader->cbDstLengthUsed / sampleSize;
  return vfw_error::success;
}

}  // namespace quillet
