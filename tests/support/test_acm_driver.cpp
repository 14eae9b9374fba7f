#include "support/test_acm_driver.h"

#include <algorithm>
#include <stdexcept>

#include "support/avi_builder.h"

namespace quillet::test {
namespace {

// The driver side of the ACM, for which there is no header.

constexpr UINT driverDetails = 0x6000 + 10;
constexpr UINT formatTagDetails = 0x6000 + 25;
constexpr UINT formatSuggest = 0x6000 + 27;
constexpr UINT streamOpen = 0x6000 + 76;
constexpr UINT streamClose = 0x6000 + 77;
constexpr UINT streamSize = 0x6000 + 78;
constexpr UINT streamConvert = 0x6000 + 79;
constexpr UINT streamPrepare = 0x6000 + 81;
constexpr UINT streamUnprepare = 0x6000 + 82;

struct FormatSuggest {
  DWORD size, flags;
  const WAVEFORMATEX* source;
  DWORD sourceSize;
  WAVEFORMATEX* destination;
};

struct StreamInstance {
  DWORD size;
  const WAVEFORMATEX *source, *destination;
};

struct StreamSize {
  DWORD size, flags, sourceBytes, destinationBytes;
};

/// The flags of a conversion, which follow what the driver's header has in common with the application's.
DWORD flagsOf(const ACMSTREAMHEADER& header) {
  return header.dwReservedDriver[0];
}

struct Block {
  WORD samples, firstValue;
};
static_assert(sizeof(Block) == TestAcmDriver::blockSize);

constexpr DWORD formatTags[] = {WAVE_FORMAT_PCM, TestAcmDriver::formatTag};

// The one driver that lives.
TestAcmDriver* installed = nullptr;

LRESULT describeDriver(ACMDRIVERDETAILSW& details) {
  details.fccType = ACMDRIVERDETAILS_FCCTYPE_AUDIOCODEC;
  details.fdwSupport = ACMDRIVERDETAILS_SUPPORTF_CODEC;
  details.cFormatTags = 2;
  return MMSYSERR_NOERROR;
}

LRESULT describeTag(ACMFORMATTAGDETAILSW& details, DWORD flags) {
  if ((flags & ACM_FORMATTAGDETAILSF_QUERYMASK) == ACM_FORMATTAGDETAILSF_INDEX && details.dwFormatTagIndex < 2) {
    details.dwFormatTag = formatTags[details.dwFormatTagIndex];
  }
  const auto* const tag = std::ranges::find(formatTags, details.dwFormatTag);
  details.dwFormatTagIndex = static_cast<DWORD>(tag - formatTags);
  details.cbFormatSize = sizeof(WAVEFORMATEX);
  details.fdwSupport = ACMDRIVERDETAILS_SUPPORTF_CODEC;
  return tag != std::end(formatTags) ? MMSYSERR_NOERROR : ACMERR_NOTPOSSIBLE;
}

LRESULT suggest(const FormatSuggest& request) {
  if (request.source->wFormatTag != TestAcmDriver::formatTag) {
    return ACMERR_NOTPOSSIBLE;
  }
  *request.destination = pcmFormat(request.source->nSamplesPerSec, request.source->nChannels, 16);
  return MMSYSERR_NOERROR;
}

bool isCompression(const StreamInstance& stream) {
  return stream.source->wFormatTag == WAVE_FORMAT_PCM && stream.destination->wFormatTag == TestAcmDriver::formatTag;
}

LRESULT open(const StreamInstance& stream) {
  const bool isDecompression =
      stream.source->wFormatTag == TestAcmDriver::formatTag && stream.destination->wFormatTag == WAVE_FORMAT_PCM;
  if (!isDecompression && !isCompression(stream)) {
    return ACMERR_NOTPOSSIBLE;
  }
  ++installed->openStreams;
  return MMSYSERR_NOERROR;
}

/// Of a source: nobody asks the other way round.
LRESULT measure(const StreamInstance& stream, StreamSize& size) {
  const DWORD units = size.sourceBytes / stream.source->nBlockAlign;  // Samples or blocks.
  size.destinationBytes = isCompression(stream)
                              ? (units / TestAcmDriver::compressedSamplesPerBlock + 1) * TestAcmDriver::blockSize
                              : units * TestAcmDriver::mostSamplesPerBlock * stream.destination->nBlockAlign;
  return MMSYSERR_NOERROR;
}

/// Makes blocks of whole ones, and of what is left at the end of the stream. A block that would
/// begin with the bad value cannot be compressed.
LRESULT compress(const StreamInstance& stream, ACMSTREAMHEADER& header) {
  const WORD channels = stream.source->nChannels;
  const auto* const values = reinterpret_cast<const WORD*>(header.pbSrc);
  const DWORD samples = header.cbSrcLength / stream.source->nBlockAlign;
  auto* block = reinterpret_cast<Block*>(header.pbDst);
  DWORD next = 0;
  while (next + TestAcmDriver::compressedSamplesPerBlock <= samples ||
         (flagsOf(header) & ACM_STREAMCONVERTF_END && next < samples)) {
    const DWORD count = std::min<DWORD>(TestAcmDriver::compressedSamplesPerBlock, samples - next);
    if (values[next * channels] == TestAcmDriver::bad) {
      return ACMERR_NOTPOSSIBLE;
    }
    *block++ = {static_cast<WORD>(count), values[next * channels]};
    next += count;
  }
  header.cbSrcLengthUsed = next * stream.source->nBlockAlign;
  header.cbDstLengthUsed = static_cast<DWORD>(reinterpret_cast<BYTE*>(block) - header.pbDst);
  return MMSYSERR_NOERROR;
}

LRESULT decompress(const StreamInstance& stream, ACMSTREAMHEADER& header) {
  const Block block = *reinterpret_cast<const Block*>(header.pbSrc);
  installed->converted.push_back(block.firstValue);
  if (block.samples == TestAcmDriver::bad) {
    return ACMERR_NOTPOSSIBLE;
  }
  auto* value = reinterpret_cast<WORD*>(header.pbDst);
  for (WORD i = 0; i < block.samples; ++i) {
    value = std::fill_n(value, stream.destination->nChannels, static_cast<WORD>(block.firstValue + i));
  }
  header.cbSrcLengthUsed = TestAcmDriver::blockSize;
  header.cbDstLengthUsed = block.samples * stream.destination->nBlockAlign;
  return MMSYSERR_NOERROR;
}

}  // namespace

LRESULT CALLBACK TestAcmDriver::driver(DWORD_PTR, HDRVR, UINT message, LPARAM first, LPARAM second) {
  switch (message) {
    case driverDetails:
      return describeDriver(*reinterpret_cast<ACMDRIVERDETAILSW*>(first));
    case formatTagDetails:
      return describeTag(*reinterpret_cast<ACMFORMATTAGDETAILSW*>(first), static_cast<DWORD>(second));
    case formatSuggest:
      return suggest(*reinterpret_cast<const FormatSuggest*>(first));
    case streamOpen:
      return open(*reinterpret_cast<const StreamInstance*>(first));
    case streamClose:
      --installed->openStreams;
      return MMSYSERR_NOERROR;
    case streamSize:
      return measure(*reinterpret_cast<const StreamInstance*>(first), *reinterpret_cast<StreamSize*>(second));
    case streamConvert: {
      const auto& stream = *reinterpret_cast<const StreamInstance*>(first);
      auto& header = *reinterpret_cast<ACMSTREAMHEADER*>(second);
      installed->starts += flagsOf(header) & ACM_STREAMCONVERTF_START ? 1 : 0;
      return (isCompression(stream) ? compress : decompress)(stream, header);
    }
    // Counted, and then left to the ACM.
    case streamPrepare:
      ++installed->preparedHeaders;
      return MMSYSERR_NOTSUPPORTED;
    case streamUnprepare:
      --installed->preparedHeaders;
      return MMSYSERR_NOTSUPPORTED;
    default:
      return message <= DRV_FREE ? TRUE : MMSYSERR_NOTSUPPORTED;  // It is loaded, opened and closed.
  }
}

TestAcmDriver::TestAcmDriver() {
  installed = this;
  if (acmDriverAddA(&id, GetModuleHandleA(nullptr), reinterpret_cast<LPARAM>(driver), 0, ACM_DRIVERADDF_FUNCTION) !=
      0) {
    throw std::runtime_error("the ACM driver cannot be added");
  }
}

TestAcmDriver::~TestAcmDriver() {
  acmDriverRemove(id, 0);
  installed = nullptr;
}

Bytes TestAcmDriver::format(DWORD samplesPerSecond, WORD channels, DWORD averageBytesPerSecond) {
  return bytesOf(WAVEFORMATEX{formatTag, channels, samplesPerSecond, averageBytesPerSecond, blockSize, 0, 0});
}

Bytes TestAcmDriver::block(WORD samples, WORD firstValue) {
  return bytesOf(Block{samples, firstValue});
}

}  // namespace quillet::test
