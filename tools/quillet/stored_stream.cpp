#include "stored_stream.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>

#include <uuids.h>
#include <vfw.h>

#include "compression.h"
#include "interruption.h"

namespace quillet::client {
namespace {

constexpr WORD fixedBlocks[] = {WAVE_FORMAT_PCM,  WAVE_FORMAT_IEEE_FLOAT, WAVE_FORMAT_ADPCM, WAVE_FORMAT_IMA_ADPCM,
                                WAVE_FORMAT_ALAW, WAVE_FORMAT_MULAW,      WAVE_FORMAT_GSM610};

/// What pictures are stored in that no codec has compressed.
constexpr DWORD uncompressed[] = {
    BI_RGB,
    BI_BITFIELDS,
    mmioFOURCC('Y', 'U', 'Y', '2'),
    mmioFOURCC('U', 'Y', 'V', 'Y'),
    mmioFOURCC('Y', 'V', '1', '2'),
    mmioFOURCC('I', '4', '2', '0'),
    mmioFOURCC('I', 'Y', 'U', 'V'),
    mmioFOURCC('N', 'V', '1', '2'),
    mmioFOURCC('A', 'Y', 'U', 'V'),
};

/// The letters of a FOURCC, or its number when it has others.
std::string fourccName(DWORD fourcc) {
  char name[16] = {};
  std::memcpy(name, &fourcc, sizeof fourcc);
  if (!std::all_of(name, name + sizeof fourcc, [](unsigned char letter) { return std::isprint(letter) != 0; })) {
    std::snprintf(name, sizeof name, "0x%08lX", fourcc);
  }
  return name;
}

StoredStream storedVideo(const BITMAPINFOHEADER& format) {
  StoredStream stored;
  stored.isCompressed = std::ranges::find(uncompressed, format.biCompression) == std::end(uncompressed);
  const std::string bits = std::to_string(format.biBitCount) + "-bit ";
  if (format.biCompression == BI_RGB || format.biCompression == BI_BITFIELDS) {
    stored.codec = bits + "RGB";
  } else {
    stored.codec = format.biCompression <= BI_RLE4 ? bits + "RLE" : fourccName(format.biCompression);
  }
  return stored;
}

StoredStream storedAudio(const WAVEFORMATEX& format, std::size_t size) {
  WORD tag = format.wFormatTag;
  if (tag == WAVE_FORMAT_EXTENSIBLE && size >= sizeof(WAVEFORMATEXTENSIBLE)) {
    tag = static_cast<WORD>(reinterpret_cast<const WAVEFORMATEXTENSIBLE&>(format).SubFormat.Data1);
  }
  const bool isFloat = tag == WAVE_FORMAT_IEEE_FLOAT;
  StoredStream stored;
  stored.isCompressed = tag != WAVE_FORMAT_PCM && !isFloat;
  stored.hasFixedBlocks = std::ranges::find(fixedBlocks, tag) != std::end(fixedBlocks);
  stored.codec = stored.isCompressed ? tagName(tag)
                                     : std::to_string(format.wBitsPerSample) + (isFloat ? "-bit float" : "-bit PCM");
  stored.bitRate = format.nAvgBytesPerSec * 8LL;
  return stored;
}

struct StreamRelease {
  using pointer = PAVISTREAM;
  void operator()(PAVISTREAM stream) const { AVIStreamRelease(stream); }
};

/// Reads from the index which frames are key frames, and how large all are.
void readIndex(const std::filesystem::path& path, int number, StoredStream& stored) {
  PAVISTREAM opened = nullptr;
  if (AVIStreamOpenFromFileW(&opened, path.c_str(), streamtypeVIDEO, number, OF_READ, nullptr) != 0) {
    return;  // By a name that only the library knows how to take there.
  }
  const std::unique_ptr<PAVISTREAM, StreamRelease> stream(opened);
  const LONG first = AVIStreamStart(opened);
  const LONG length = AVIStreamLength(opened);
  AVISTREAMINFOW info = {};
  if (first < 0 || length <= 0 || length > std::numeric_limits<LONG>::max() - first ||
      AVIStreamInfoW(opened, &info, sizeof info) != 0 || info.dwScale == 0) {
    return;
  }
  LONG later = first + length;
  // Ends: each key frame lies before the one that was found last.
  for (LONG key = later; (key = AVIStreamFindSample(opened, key - 1, FIND_PREV | FIND_KEY)) >= first && key < later;) {
    throwIfInterrupted();
    if (stored.keyFrames++ > 0) {
      stored.keyFrameDistance = std::max(stored.keyFrameDistance, later - key);
    }
    later = key;
  }
  double bytes = 0.0;
  LONG size = 0;
  // As far as a header tells the truth of the length.
  for (LONG frame = 0; frame < length && AVIStreamSampleSize(opened, first + frame, &size) == 0; ++frame) {
    throwIfInterrupted();
    bytes += size;
  }
  stored.bitRate = std::llround(bytes * 8 * info.dwRate / info.dwScale / length);
}

std::unique_ptr<RawDataSourceStream> openByIndex(const std::filesystem::path& path, bool video, int number) {
  std::unique_ptr<RawDataSourceStream> stream(
      RawDataSourceStream::open(path.c_str(), video, false, number, interruption()));
  return stream != nullptr && stream->duration() >= 0 ? std::move(stream) : nullptr;
}

int countKind(const std::filesystem::path& path, bool video) {
  int count = 0;
  // Ends: a file numbers no more than 100 streams.
  while (openByIndex(path, video, count) != nullptr) {
    ++count;
  }
  return count;
}

}  // namespace

StoredStream storedStream(RawDataSourceStream& stream) {
  const AM_MEDIA_TYPE& type = *stream.format();
  VIDEOINFOHEADER video = {};
  if (type.formattype == FORMAT_WaveFormatEx && type.cbFormat >= sizeof(PCMWAVEFORMAT)) {
    return storedAudio(*reinterpret_cast<const WAVEFORMATEX*>(type.pbFormat), type.cbFormat);
  }
  return stream.videoInfo(video) != nullptr ? storedVideo(video.bmiHeader) : StoredStream();
}

std::optional<StoredStream> storedStream(const std::filesystem::path& path, bool video, int number) {
  const auto stream = openByIndex(path, video, number);
  if (stream == nullptr) {
    return std::nullopt;
  }
  const bool hasKey = stream->firstKeySample() >= 0;  // Else there is no index that could be trusted.
  StoredStream stored = storedStream(*stream);
  if (video && hasKey) {
    readIndex(path, number, stored);
  }
  return stored;
}

std::optional<int> countStored(const std::filesystem::path& path, bool video) {
  const int count = countKind(path, video);
  return count > 0 || countKind(path, !video) > 0 ? std::optional(count) : std::nullopt;
}

void warnOfDecoded(RawDataSourceStream& stream, const std::filesystem::path& path, int number) {
  if (!stream.usesDirectShow() || storedStream(stream).isCompressed) {
    return;
  }
  const bool isVideo = stream.format()->majortype == MEDIATYPE_Video;
  const char* const kind = isVideo ? "video" : "audio";
  const auto stored = openByIndex(path, isVideo, number);
  if (stored == nullptr) {
    std::fprintf(stderr,
                 "quillet: warning: DirectShow may have decoded the %s stream: its samples are not compressed\n", kind);
  } else if (const StoredStream inFile = storedStream(*stored); inFile.isCompressed) {
    std::fprintf(stderr, "quillet: warning: DirectShow has decoded the %s stream, which the file has as %s\n", kind,
                 inFile.codec.c_str());
  }
}

}  // namespace quillet::client
