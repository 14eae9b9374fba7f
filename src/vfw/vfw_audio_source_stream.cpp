#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include <quillet/error_codes.h>
#include <quillet/vfw_source_stream.h>

#include "core/guarded.h"
#include "core/open_new.h"
#include "core/time_units.h"
#include "vfw/acm_reader.h"
#include "vfw/avi_source.h"
#include "vfw/pcm_reader.h"

namespace vfw_error = quillet::vfw_error;

struct VfWAudioSourceStream::Reader {
  std::unique_ptr<quillet::SampleReader> samples;
  bool isCompressed = false;

  // The run last returned. Only grows; capacity in samples.
  std::unique_ptr<BYTE[]> runBuffer;
  long runCapacity = 0;

  /// Makes room for `count` samples of `sampleSize` bytes.
  void reserve(long count, WORD sampleSize);
};

void VfWAudioSourceStream::Reader::reserve(long count, WORD sampleSize) {
  if (runBuffer != nullptr && runCapacity >= count) {
    return;
  }
  const std::int64_t bytes = std::int64_t{count} * sampleSize;
  if (bytes > std::numeric_limits<LONG>::max()) {
    throw std::bad_alloc();  // More than AVIFile can read at once.
  }
  runBuffer.reset();
  runBuffer.reset(new BYTE[static_cast<std::size_t>(bytes)]);
  runCapacity = count;
}

VfWAudioSourceStream* VfWAudioSourceStream::open(const char* fileName, int streamIndex,
                                                 QuilletNotification* notification) {
  auto* const stream = new (std::nothrow) VfWAudioSourceStream;
  return openNew(stream, notification, [&] { return stream->openSource(fileName, streamIndex); });
}

VfWAudioSourceStream::~VfWAudioSourceStream() {
  delete reader;
}

int VfWAudioSourceStream::openSource(const char* fileName, int streamIndex) {
  source = new quillet::AviSource;
  if (const int error = source->open(fileName, streamtypeAUDIO, streamIndex)) {
    return error;
  }
  std::vector<BYTE> format;
  if (const int error = source->readFormat(format, sizeof(PCMWAVEFORMAT), sizeof(WAVEFORMATEX))) {
    return error;
  }
  const auto& sourceFormat = *reinterpret_cast<const WAVEFORMATEX*>(format.data());

  reader = new Reader;
  if (sourceFormat.wFormatTag == WAVE_FORMAT_PCM) {
    waveFormat = sourceFormat;
    waveFormat.cbSize = 0;  // Says nothing in PCM.
    reader->samples = std::make_unique<quillet::PcmReader>(source->stream(), waveFormat.nBlockAlign);
    length = source->length();
    return length == -1 ? vfw_error::undefinedStreamLength : vfw_error::success;
  }
  // Where the file holds less than it says, zeros take its place: the ACM reads as far as that.
  format.resize(std::max(format.size(), sizeof(WAVEFORMATEX) + sourceFormat.cbSize));
  reader->isCompressed = true;
  auto decoder = std::make_unique<quillet::AcmReader>(*source, std::move(format));
  if (const int error = decoder->open(waveFormat)) {
    return error;
  }
  if (const int error = decoder->measure(length)) {
    return error;
  }
  reader->samples = std::move(decoder);
  return vfw_error::success;
}

unsigned char* VfWAudioSourceStream::getSamples(long first, long last) {
  if (!requireOpened()) {
    return nullptr;
  }
  if (first < 0 || first >= length || last < 0 || last >= length || last < first) {
    lastError = vfw_error::parameterOutOfRange;
    return nullptr;
  }
  lastError = quillet::guarded([&] {
    reader->reserve(last - first + 1, waveFormat.nBlockAlign);
    return reader->samples->read(first, last, reader->runBuffer.get());
  });
  return lastError == vfw_error::success ? reader->runBuffer.get() : nullptr;
}

double VfWAudioSourceStream::StreamSampleToTime(long& sample) {
  if (!requireOpened()) {
    return -1.0;
  }
  if (!reader->isCompressed) {
    return VfWSourceStream::StreamSampleToTime(sample);
  }
  return sample * static_cast<double>(quillet::msPerSecond) / waveFormat.nSamplesPerSec;
}

long VfWAudioSourceStream::StreamTimeToSample(double& time) {
  if (!requireOpened()) {
    return -1;
  }
  if (!reader->isCompressed) {
    return VfWSourceStream::StreamTimeToSample(time);
  }
  return quillet::truncated<long>(waveFormat.nSamplesPerSec * time * 0.001);
}
