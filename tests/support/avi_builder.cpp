#include "support/avi_builder.h"

#include <algorithm>
#include <random>
#include <utility>

namespace quillet::test {
namespace {

void append(Bytes& bytes, const Bytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

/// Appends a chunk, padded to an even size.
void appendChunk(Bytes& bytes, DWORD id, const Bytes& data) {
  append(bytes, bytesOf(id));
  append(bytes, bytesOf(static_cast<DWORD>(data.size())));
  append(bytes, data);
  if (data.size() % 2 != 0) {
    bytes.push_back(0);
  }
}

/// Appends a list, or with the id RIFF a form.
void appendList(Bytes& bytes, DWORD id, DWORD type, const Bytes& content) {
  Bytes data = bytesOf(type);
  append(data, content);
  appendChunk(bytes, id, data);
}

DWORD chunkId(const AviStream& stream, std::size_t number) {
  return MAKEAVICKID(stream.header.type == streamtypeAUDIO ? cktypeWAVEbytes : cktypeDIBbits, number);
}

/// A stream with what its header says of the chunks, but for the length.
AviStream streamOf(AviStreamHeader header, const Bytes& format, std::vector<AviChunk> chunks) {
  for (const AviChunk& chunk : chunks) {
    header.suggestedBufferSize = std::max(header.suggestedBufferSize, static_cast<DWORD>(chunk.data.size()));
  }
  header.quality = static_cast<DWORD>(-1);
  return {header, format, std::move(chunks)};
}

}  // namespace

Bytes noise(std::size_t size, unsigned seed) {
  Bytes bytes(size);
  std::generate(bytes.begin(), bytes.end(), std::mt19937(seed));
  return bytes;
}

std::vector<AviChunk> noiseChunks(unsigned count, std::size_t size) {
  std::vector<AviChunk> chunks;
  for (unsigned i = 0; i < count; ++i) {
    chunks.push_back({noise(size, i)});
  }
  return chunks;
}

AviStream videoStream(const BITMAPINFOHEADER& format, DWORD rate, DWORD scale, std::vector<AviChunk> chunks) {
  AviStreamHeader header = {};
  header.type = streamtypeVIDEO;
  header.handler = format.biCompression;
  header.scale = scale;
  header.rate = rate;
  header.length = static_cast<DWORD>(chunks.size());
  header.right = static_cast<SHORT>(format.biWidth);
  header.bottom = static_cast<SHORT>(format.biHeight);
  return streamOf(header, bytesOf(format), std::move(chunks));
}

AviStream audioStream(const Bytes& format, std::vector<AviChunk> chunks) {
  const auto& wave = *reinterpret_cast<const PCMWAVEFORMAT*>(format.data());
  AviStreamHeader header = {};
  header.type = streamtypeAUDIO;
  header.scale = header.sampleSize = wave.wf.nBlockAlign;
  header.rate = wave.wf.nAvgBytesPerSec;
  for (const AviChunk& chunk : chunks) {
    header.length += static_cast<DWORD>(chunk.data.size() / wave.wf.nBlockAlign);
  }
  return streamOf(header, format, std::move(chunks));
}

Bytes aviFile(const std::vector<AviStream>& streams) {
  MainAVIHeader header = {};
  header.dwFlags = AVIF_HASINDEX | AVIF_ISINTERLEAVED;
  header.dwStreams = static_cast<DWORD>(streams.size());
  for (const AviStream& stream : streams) {
    if (stream.header.type == streamtypeVIDEO) {
      header.dwMicroSecPerFrame = static_cast<DWORD>(1000000ULL * stream.header.scale / stream.header.rate);
      header.dwTotalFrames = stream.header.length;
      header.dwWidth = stream.header.right;
      header.dwHeight = stream.header.bottom;
    }
  }
  Bytes headers;
  appendChunk(headers, ckidAVIMAINHDR, bytesOf(header));
  std::size_t longest = 0;
  for (const AviStream& stream : streams) {
    Bytes strl;
    appendChunk(strl, ckidSTREAMHEADER, bytesOf(stream.header));
    appendChunk(strl, ckidSTREAMFORMAT, stream.format);
    appendList(headers, FOURCC_LIST, listtypeSTREAMHEADER, strl);
    longest = std::max(longest, stream.chunks.size());
  }

  Bytes movie;
  Bytes index;
  for (std::size_t i = 0; i < longest; ++i) {
    for (std::size_t number = 0; number < streams.size(); ++number) {
      const AviStream& stream = streams[number];
      if (i >= stream.chunks.size()) {
        continue;
      }
      const AviChunk& chunk = stream.chunks[i];
      const DWORD id = chunkId(stream, number);
      constexpr DWORD listTypeSize = 4;  // Offsets count from the type of the list.
      const AVIINDEXENTRY entry = {id, chunk.isKey ? DWORD{AVIIF_KEYFRAME} : 0,
                                   static_cast<DWORD>(movie.size()) + listTypeSize,
                                   static_cast<DWORD>(chunk.data.size())};
      append(index, bytesOf(entry));
      appendChunk(movie, id, chunk.data);
    }
  }

  Bytes content;
  appendList(content, FOURCC_LIST, listtypeAVIHEADER, headers);
  appendList(content, FOURCC_LIST, listtypeAVIMOVIE, movie);
  appendChunk(content, ckidAVINEWINDEX, index);
  Bytes file;
  appendList(file, FOURCC_RIFF, formtypeAVI, content);
  return file;
}

BITMAPINFOHEADER rgb24Format(LONG width, LONG height) {
  const auto size = static_cast<DWORD>((width * 3LL + 3) / 4 * 4 * height);
  return {sizeof(BITMAPINFOHEADER), width, height, 1, 24, BI_RGB, size, 0, 0, 0, 0};
}

WAVEFORMATEX pcmFormat(DWORD samplesPerSecond, WORD channels, WORD bitsPerSample) {
  const auto blockAlign = static_cast<WORD>(channels * bitsPerSample / 8);
  return {WAVE_FORMAT_PCM, channels, samplesPerSecond, samplesPerSecond * blockAlign, blockAlign, bitsPerSample, 0};
}

Bytes wavFile(const Bytes& format, const Bytes& data) {
  Bytes content;
  appendChunk(content, mmioFOURCC('f', 'm', 't', ' '), format);
  appendChunk(content, mmioFOURCC('d', 'a', 't', 'a'), data);
  Bytes file;
  appendList(file, FOURCC_RIFF, mmioFOURCC('W', 'A', 'V', 'E'), content);
  return file;
}

}  // namespace quillet::test
