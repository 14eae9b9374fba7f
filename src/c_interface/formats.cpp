#include "c_interface/formats.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>

#include <windows.h>

#include <uuids.h>

#include "formats/format_sizes.h"

namespace quillet {
namespace {

constexpr std::size_t headerAt = offsetof(VIDEOINFOHEADER, bmiHeader);

template <class Record>
std::vector<BYTE> blockOf(const Record& record) {
  const auto* const bytes = reinterpret_cast<const BYTE*>(&record);
  return {bytes, bytes + sizeof record};
}

/// The record at the start of a block that has all of it.
template <class Record>
Record& recordIn(std::vector<BYTE>& block) {
  return *reinterpret_cast<Record*>(block.data());
}

template <class Record>
const Record& recordIn(const std::vector<BYTE>& block) {
  return *reinterpret_cast<const Record*>(block.data());
}

/// Adds what the header tells of where the file holds less.
void complete(std::vector<BYTE>& block) {
  block.resize(std::max<std::size_t>(block.size(), headerAt + formatSize(recordIn<VIDEOINFOHEADER>(block).bmiHeader)));
}

std::vector<BYTE> writableVideo(RawDataSourceStream& stream, const AM_MEDIA_TYPE& type) {
  VIDEOINFOHEADER info = {};
  if (stream.videoInfo(info) == nullptr) {
    return {};
  }
  std::vector<BYTE> block = blockOf(info);
  if (type.formattype == FORMAT_VideoInfo) {
    block.assign(type.pbFormat, type.pbFormat + type.cbFormat);
    // What follows a header without telling of it is the codec's own, and counts as part of it.
    auto& header = recordIn<VIDEOINFOHEADER>(block).bmiHeader;
    const auto size = static_cast<DWORD>(block.size() - headerAt);
    if (size > formatSize(header)) {
      header.biSize = size;
    }
  }
  complete(block);
  return block;
}

std::vector<BYTE> writableAudio(const AM_MEDIA_TYPE& type) {
  std::vector<BYTE> block(type.pbFormat, type.pbFormat + type.cbFormat);
  block.resize(std::max(block.size(), sizeof(WAVEFORMATEX)));
  block.resize(std::max<std::size_t>(block.size(), formatSize(recordIn<WAVEFORMATEX>(block))));
  return block;
}

/// Whether the client's header can be read: it is there, and has a size that can be.
bool isHeader(const void* header, std::int64_t bytes, std::size_t least) {
  constexpr std::int64_t most = std::numeric_limits<long>::max();
  return header != nullptr && bytes >= static_cast<std::int64_t>(least) && bytes <= most;
}

/// The header of frames of RGB.
bool makeHeader(const quillet_video_format& format, BITMAPINFOHEADER& header) {
  if (format.width <= 0 || format.height <= 0 || (format.bits != 24 && format.bits != 32) ||
      format.compression != BI_RGB) {
    return false;
  }
  header.biSize = sizeof header;
  header.biWidth = format.width;
  header.biHeight = format.top_down != 0 ? -format.height : format.height;
  header.biPlanes = 1;
  header.biBitCount = static_cast<WORD>(format.bits);
  header.biSizeImage = static_cast<DWORD>(uncompressedFrameSize(header));
  return true;
}

}  // namespace

std::vector<BYTE> writableFormat(RawDataSourceStream& stream) {
  const AM_MEDIA_TYPE& type = *stream.format();
  return type.majortype == MEDIATYPE_Audio && type.formattype == FORMAT_WaveFormatEx ? writableAudio(type)
                                                                                     : writableVideo(stream, type);
}

quillet_video_format describeVideo(const std::vector<BYTE>& block) {
  const auto& info = recordIn<VIDEOINFOHEADER>(block);
  const BITMAPINFOHEADER& header = info.bmiHeader;
  quillet_video_format format = {};
  format.width = header.biWidth;
  format.height = static_cast<std::int32_t>(
      std::min<std::int64_t>(std::abs(std::int64_t{header.biHeight}), std::numeric_limits<std::int32_t>::max()));
  format.top_down = header.biHeight < 0 ? 1 : 0;
  format.bits = header.biBitCount;
  format.compression = header.biCompression;
  const bool isUncompressed = header.biCompression == BI_RGB || header.biCompression == BI_BITFIELDS;
  format.stride = isUncompressed ? static_cast<std::int32_t>(rowSize(header)) : 0;
  format.frame_bytes = isUncompressed ? uncompressedFrameSize(header) : std::int64_t{header.biSizeImage};
  format.frame_duration = info.AvgTimePerFrame;
  format.bit_rate = info.dwBitRate;
  format.header = block.data() + headerAt;
  format.header_bytes = static_cast<std::int64_t>(block.size() - headerAt);
  return format;
}

quillet_audio_format describeAudio(const std::vector<BYTE>& block) {
  const auto& wave = recordIn<WAVEFORMATEX>(block);
  quillet_audio_format format = {};
  format.tag = wave.wFormatTag;
  format.channels = wave.nChannels;
  format.sample_rate = static_cast<std::int32_t>(wave.nSamplesPerSec);
  format.bits = wave.wBitsPerSample;
  format.block_bytes = wave.nBlockAlign;
  format.bytes_per_second = static_cast<std::int32_t>(wave.nAvgBytesPerSec);
  format.header = block.data();
  format.header_bytes = static_cast<std::int64_t>(block.size());
  return format;
}

std::vector<BYTE> videoBlock(const quillet_video_format& format) {
  VIDEOINFOHEADER info = {};
  info.AvgTimePerFrame = format.frame_duration;
  info.dwBitRate = static_cast<DWORD>(format.bit_rate);
  if (format.header == nullptr) {
    return makeHeader(format, info.bmiHeader) ? blockOf(info) : std::vector<BYTE>();
  }
  if (!isHeader(format.header, format.header_bytes, sizeof info.bmiHeader)) {
    return {};
  }
  std::vector<BYTE> block = blockOf(info);
  const auto* const header = static_cast<const BYTE*>(format.header);
  block.resize(headerAt);
  block.insert(block.end(), header, header + format.header_bytes);
  const bool isWhole = headerAt + formatSize(recordIn<VIDEOINFOHEADER>(block).bmiHeader) <= block.size();
  return isWhole ? block : std::vector<BYTE>();
}

std::vector<BYTE> audioBlock(const quillet_audio_format& format) {
  if (format.header != nullptr) {
    if (!isHeader(format.header, format.header_bytes, sizeof(WAVEFORMATEX))) {
      return {};
    }
    const auto* const header = static_cast<const BYTE*>(format.header);
    std::vector<BYTE> block(header, header + format.header_bytes);
    return formatSize(recordIn<WAVEFORMATEX>(block)) <= block.size() ? block : std::vector<BYTE>();
  }
  constexpr std::int32_t mostChannels = std::numeric_limits<WORD>::max() / sizeof(std::uint64_t);
  if (format.channels <= 0 || format.channels > mostChannels || format.sample_rate <= 0 || format.bits <= 0 ||
      format.bits > std::numeric_limits<std::uint64_t>::digits || format.tag != WAVE_FORMAT_PCM) {
    return {};
  }
  WAVEFORMATEX wave = {};
  wave.wFormatTag = WAVE_FORMAT_PCM;
  wave.nChannels = static_cast<WORD>(format.channels);
  wave.nSamplesPerSec = static_cast<DWORD>(format.sample_rate);
  wave.wBitsPerSample = static_cast<WORD>(format.bits);
  wave.nBlockAlign = static_cast<WORD>(format.channels * bytesOf(format.bits));
  wave.nAvgBytesPerSec = wave.nSamplesPerSec * wave.nBlockAlign;
  return blockOf(wave);
}

}  // namespace quillet
