#include "vfw/acm_reader.h"

#include <algorithm>
#include <cstring>
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

}  // namespace

AcmReader::AcmReader(PAVISTREAM aviStream, std::vector<BYTE> sourceFormat)
    : aviStream(aviStream), sourceFormat(std::move(sourceFormat)) {}

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

  // Converters divide by the average data rate; a format without one is not a valid format.
  const DWORD blockSize = source().nBlockAlign;
  DWORD pcmSize = 0;
  if (source().nAvgBytesPerSec == 0 ||
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
  samplesPerBlock = fixed * sampleSize == static_cast<long>(pcmSize) ? fixed : 0;
  return vfw_error::success;
}

int AcmReader::measure(long& length) {
  sourceBlocks = AVIStreamLength(aviStream);
  LONG ms = AVIStreamSampleToTime(aviStream, sourceBlocks);
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

int AcmReader::decode(long first, long last, BYTE* out) {
  if (first >= pcmFirst && first <= pcmLast + 1) {
    cursor = first;  // Inside the block held, or right after it.
  } else {
    if (const int error = seek(first)) {
      return error;
    }
    if (cursor > first) {  // The stream starts later than its first number: silence up to there.
      std::memset(out, 0, (std::min(cursor, last + 1) - first) * sampleSize);
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
    const long held = std::max(pcmLast - cursor + 1, 0L);
    const long count = std::min(std::max(held, 1L), last - cursor + 1);
    const long lead = std::clamp(first - cursor, 0L, count);  // Decoded only to reach the run.
    const BYTE* const from = pcmBuffer.data() + (held > 0 ? (cursor - pcmFirst) * sampleSize : 0);
    if (count > lead) {
      std::memcpy(out + (cursor + lead - first) * sampleSize, from + lead * sampleSize, (count - lead) * sampleSize);
    }
    cursor += count;
  }
  return vfw_error::success;
}

/// Moves to the block that holds `first`, from which decoding starts afresh.
int AcmReader::seek(long first) {
  pcmFirst = noSample;
  cursor = -1;
  const long block = AVIStreamTimeToSample(aviStream, MulDiv(first, msPerSecond, samplesPerSecond));
  if (block != -1) {
    nextBlock = AVIStreamFindSample(aviStream, block, FIND_PREV | FIND_ANY);
    cursor = nextBlock != -1 ? firstSampleOf(nextBlock) : -1;
  }
  // Whole milliseconds may lead to a block that starts after the sample.
  while (cursor > first && nextBlock > 0) {
    nextBlock = AVIStreamFindSample(aviStream, nextBlock - 1, FIND_PREV | FIND_ANY);
    cursor = nextBlock != -1 ? firstSampleOf(nextBlock) : -1;
  }
  if (cursor == -1) {
    return vfw_error::cannotSeek;
  }
  pcmLast = cursor - 1;
  conversionStarted = false;
  return vfw_error::success;
}

/// The number of a block's first sample, -1 on failure. AVIFile tells it by its time alone, in whole milliseconds;
/// where all blocks are alike the exact number is known.
long AcmReader::firstSampleOf(long block) {
  const LONG ms = AVIStreamSampleToTime(aviStream, block);
  if (ms == -1) {
    return -1;
  }
  return samplesPerBlock > 0 ? block * samplesPerBlock : MulDiv(ms, samplesPerSecond, msPerSecond);
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
    if (AVIStreamRead(aviStream, block, 1, blockBuffer.data(), static_cast<LONG>(blockBuffer.size()), nullptr,
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
  pcmLast += static_cast<long>(acmHeader->cbDstLengthUsed / sampleSize);
  return vfw_error::success;
}

}  // namespace quillet
