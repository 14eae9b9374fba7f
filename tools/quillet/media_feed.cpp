#include "media_feed.h"

#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

#include <uuids.h>

#include "interruption.h"
#include "shared/failure.h"
#include "shared/library_stream.h"

namespace quillet::client {
namespace {

long lengthOf(SourceStream& stream) {
  const long length = stream.duration();
  if (length < 0) {
    throw Failure("length of the stream: " + lastErrorText(stream));
  }
  return length;
}

}  // namespace

bool MediaFeed::next(MediaPiece& piece) {
  throwIfInterrupted();
  return fetch(piece);
}

FrameFeed::FrameFeed(std::unique_ptr<VideoSourceStream> opened)
    : MediaFeed(lengthOf(*opened)), source(std::move(opened)) {
  if (source->videoInfo(frameFormat) == nullptr) {
    throw Failure("format of the video stream: " + lastErrorText(*source));
  }
}

bool FrameFeed::fetch(MediaPiece& piece) {
  if (position >= total()) {
    return false;
  }
  // Where the stream has dropped a frame, the one that is shown in its place.
  piece = {position, decodedFrame(*source, position).bits, 1, static_cast<long>(source->format()->biSizeImage), true};
  ++position;
  return true;
}

SampleFeed::SampleFeed(std::unique_ptr<AudioSourceStream> opened)
    : MediaFeed(lengthOf(*opened)), source(std::move(opened)), sampleFormat(*source->format()) {}

bool SampleFeed::fetch(MediaPiece& piece) {
  const long first = position;
  const long count = std::min(most, total() - first);
  if (count <= 0) {
    return false;
  }
  unsigned char* const samples = decodedSamples(*source, first, first + count - 1);
  piece = {first, samples, count, count * sampleFormat.nBlockAlign, true};
  position += count;
  return true;
}

namespace {

/// What a writer takes of an audio format: the record, and behind it what it tells of, where the file holds less of it as
/// well.
std::vector<BYTE> wholeAudioFormat(const AM_MEDIA_TYPE& type) {
  std::vector<BYTE> block(type.pbFormat, type.pbFormat + type.cbFormat);
  block.resize(std::max(block.size(), sizeof(WAVEFORMATEX)));
  block.resize(std::max(block.size(), sizeof(WAVEFORMATEX) + reinterpret_cast<WAVEFORMATEX&>(block[0]).cbSize));
  return block;
}

/// Bytes of the palette behind the header; where the count is left out, of all colours, unless the frames are a codec's.
std::size_t paletteSize(const BITMAPINFOHEADER& header) {
  if (header.biBitCount > 8) {
    return 0;
  }
  const bool isImplied = header.biClrUsed == 0 && header.biCompression <= BI_RLE4;
  return (isImplied ? std::size_t{1} << header.biBitCount : header.biClrUsed) * sizeof(RGBQUAD);
}

/// The format block of a stream.
std::vector<BYTE> formatOf(RawDataSourceStream& stream) {
  const AM_MEDIA_TYPE& type = *stream.format();
  if (type.majortype == MEDIATYPE_Audio && type.formattype == FORMAT_WaveFormatEx) {
    return wholeAudioFormat(type);
  }
  VIDEOINFOHEADER info = {};
  if (stream.videoInfo(info) == nullptr) {
    throw Failure("format of the stream: " + lastErrorText(stream));
  }
  std::vector<BYTE> block(sizeof info);
  std::memcpy(block.data(), &info, sizeof info);
  if (type.formattype == FORMAT_VideoInfo) {
    block.assign(type.pbFormat, type.pbFormat + type.cbFormat);
    // What follows the header, masks or the codec's own, counts as part of it; only a palette has a number of its own.
    auto& header = reinterpret_cast<VIDEOINFOHEADER*>(block.data())->bmiHeader;
    const std::size_t size = block.size() - offsetof(VIDEOINFOHEADER, bmiHeader);
    if (size != sizeof header + paletteSize(header)) {
      header.biSize = static_cast<DWORD>(size);
    }
  }
  // A writer takes the masks or the colours that the header tells of, where the file holds less of them as well.
  constexpr std::size_t mostColours = 256;
  block.resize(std::max(block.size(), sizeof info + mostColours * sizeof(RGBQUAD)));
  return block;
}

}  // namespace

RawFeed::RawFeed(std::unique_ptr<RawDataSourceStream> opened)
    : MediaFeed(lengthOf(*opened)), source(std::move(opened)), formatBlock(formatOf(*source)), reader(*source) {}

const VIDEOINFOHEADER* RawFeed::videoFormat() const {
  return audioFormat() == nullptr ? reinterpret_cast<const VIDEOINFOHEADER*>(formatBlock.data()) : nullptr;
}

const WAVEFORMATEX* RawFeed::audioFormat() const {
  const bool isAudio = source->format()->majortype == MEDIATYPE_Audio;
  return isAudio ? reinterpret_cast<const WAVEFORMATEX*>(formatBlock.data()) : nullptr;
}

bool RawFeed::fetch(MediaPiece& piece) {
  constexpr double msPerSecond = 1000.0;
  constexpr double unitsPerMs = 10'000.0;
  if (sample.count <= 0 && !reader.next(sample)) {
    return false;
  }
  const WAVEFORMATEX* const wave = audioFormat();
  if (sample.ms < 0.0) {  // Without a time of its own it comes where its number says.
    sample.ms = sample.number * (wave != nullptr ? msPerSecond / std::max<DWORD>(wave->nSamplesPerSec, 1)
                                                 : static_cast<double>(videoFormat()->AvgTimePerFrame) / unitsPerMs);
  }
  const bool isDivisible = wave != nullptr && sample.count > most && sample.bytes == sample.count * wave->nBlockAlign;
  const long count = isDivisible ? most : std::max(sample.count, 1L);
  const long bytes = isDivisible ? count * wave->nBlockAlign : sample.bytes;
  const long first = wave != nullptr ? sample.number : std::max(sample.number, nextNumber);
  mostDelay = std::max(mostDelay, first - sample.number);
  nextNumber = first + count;
  piece = {first, sample.data, count, bytes, sample.isKey};
  if (isDivisible) {
    sample.ms += count * msPerSecond / wave->nSamplesPerSec;
  }
  sample.number += count;
  sample.count -= count;
  sample.data += bytes;
  sample.bytes -= bytes;
  position = std::max(position.load(), nextNumber);
  return true;
}

}  // namespace quillet::client
