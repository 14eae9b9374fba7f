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
  DWORD size;
  DWORD flags;
  const WAVEFORMATEX* source;
  DWORD sourceSize;
  WAVEFORMATEX* destination;
  DWORD destinationSize;
};

struct StreamInstance {
  DWORD size;
  const WAVEFORMATEX* source;
  const WAVEFORMATEX* destination;
};

struct StreamSize {
  DWORD size;
  DWORD flags;
  DWORD sourceBytes;
  DWORD destinationBytes;
};

struct StreamHeader {
  DWORD size;
  DWORD status;
  DWORD_PTR user;
  const BYTE* source;
  DWORD sourceBytes;
  DWORD sourceBytesUsed;
  DWORD_PTR sourceUser;
  BYTE* destination;
  DWORD destinationBytes;
  DWORD destinationBytesUsed;
  DWORD_PTR destinationUser;
  DWORD flags;
};

struct Block {
  WORD samples;
  WORD firstValue;
};
static_assert(sizeof(Block) == TestAcmDriver::blockSize);

constexpr WORD badBlockMark = 0xFFFF;
constexpr DWORD formatTags[] = {WAVE_FORMAT_PCM, TestAcmDriver::formatTag};

// The one driver that lives.
TestAcmDriver* installed = nullptr;

LRESULT describeDriver(ACMDRIVERDETAILSW& details) {
  const DWORD size = details.cbStruct;
  details = {};
  details.cbStruct = size;
  details.fccType = ACMDRIVERDETAILS_FCCTYPE_AUDIOCODEC;
  details.fdwSupport = ACMDRIVERDETAILS_SUPPORTF_CODEC;
  details.cFormatTags = 2;
  return MMSYSERR_NOERROR;
}

LRESULT describeTag(ACMFORMATTAGDETAILSW& details, DWORD flags) {
  const DWORD query = flags & ACM_FORMATTAGDETAILSF_QUERYMASK;
  if (query == ACM_FORMATTAGDETAILSF_INDEX && details.dwFormatTagIndex < 2) {
    details.dwFormatTag = formatTags[details.dwFormatTagIndex];
  }
  const auto* const tag = std::ranges::find(formatTags, details.dwFormatTag);
  if (query == ACM_FORMATTAGDETAILSF_LARGESTSIZE || tag == std::end(formatTags)) {
    return ACMERR_NOTPOSSIBLE;
  }
  details.dwFormatTagIndex = static_cast<DWORD>(tag - formatTags);
  details.cbFormatSize = sizeof(WAVEFORMATEX);
  details.fdwSupport = ACMDRIVERDETAILS_SUPPORTF_CODEC;
  details.cStandardFormats = 0;
  return MMSYSERR_NOERROR;
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

LRESULT measure(const StreamInstance& stream, StreamSize& size) {
  if (size.flags != ACM_STREAMSIZEF_SOURCE) {
    return MMSYSERR_NOTSUPPORTED;
  }
  if (isCompression(stream)) {
    const DWORD samples = size.sourceBytes / stream.source->nBlockAlign;
    size.destinationBytes = (samples / TestAcmDriver::compressedSamplesPerBlock + 1) * TestAcmDriver::blockSize;
    return MMSYSERR_NOERROR;
  }
  size.destinationBytes = size.sourceBytes / TestAcmDriver::blockSize * TestAcmDriver::mostSamplesPerBlock *
                          stream.destination->nBlockAlign;
  return MMSYSERR_NOERROR;
}

/// Makes blocks of whole ones, and of what is left at the end of the stream. Samples with the value of the bad block's
/// mark cannot be compressed.
LRESULT compress(const StreamInstance& stream, StreamHeader& header) {
  installed->starts += header.flags & ACM_STREAMCONVERTF_START ? 1 : 0;
  const WORD channels = stream.source->nChannels;
  const auto* const values = reinterpret_cast<const WORD*>(header.source);
  const DWORD samples = header.sourceBytes / stream.source->nBlockAlign;
  auto* block = reinterpret_cast<Block*>(header.destination);
  DWORD next = 0;
  while (next + TestAcmDriver::compressedSamplesPerBlock <= samples ||
         (header.flags & ACM_STREAMCONVERTF_END && next < samples)) {
    const DWORD count = std::min<DWORD>(TestAcmDriver::compressedSamplesPerBlock, samples - next);
    if (values[next * channels] == badBlockMark) {
      return ACMERR_NOTPOSSIBLE;
    }
    *block++ = {static_cast<WORD>(count), values[next * channels]};
    next += count;
  }
  header.sourceBytesUsed = next * stream.source->nBlockAlign;
  header.destinationBytesUsed = static_cast<DWORD>(reinterpret_cast<BYTE*>(block) - header.destination);
  return MMSYSERR_NOERROR;
}

LRESULT decompress(const StreamInstance& stream, StreamHeader& header) {
  const Block block = *reinterpret_cast<const Block*>(header.source);
  const WORD channels = stream.destination->nChannels;
  if (header.flags & ACM_STREAMCONVERTF_START) {
    ++installed->starts;
  }
  installed->converted.push_back(block.firstValue);
  if (block.samples == badBlockMark) {
    return ACMERR_NOTPOSSIBLE;
  }
  auto* value = reinterpret_cast<WORD*>(header.destination);
  for (WORD i = 0; i < block.samples; ++i) {
    value = std::fill_n(value, channels, static_cast<WORD>(block.firstValue + i));
  }
  header.sourceBytesUsed = TestAcmDriver::blockSize;
  header.destinationBytesUsed = block.samples * stream.destination->nBlockAlign;
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
      return (isCompression(stream) ? compress : decompress)(stream, *reinterpret_cast<StreamHeader*>(second));
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
  WAVEFORMATEX format = {};
  format.wFormatTag = formatTag;
  format.nChannels = channels;
  format.nSamplesPerSec = samplesPerSecond;
  format.nAvgBytesPerSec = averageBytesPerSecond;
  format.nBlockAlign = blockSize;
  return bytesOf(format);
}

Bytes TestAcmDriver::block(WORD samples, WORD firstValue) {
  return bytesOf(Block{samples, firstValue});
}

Bytes TestAcmDriver::badBlock() {
  return bytesOf(Block{badBlockMark, 0});
}

}  // namespace quillet::test
