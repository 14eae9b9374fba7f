#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include <quillet/error_codes.h>
#include <quillet/vfw_audio_source_stream.h>

#include "core/operation.h"
#include "core/owned.h"
#include "core/time_units.h"
#include "formats/silence.h"
#include "formats/usable_formats.h"
#include "platform/guarded.h"
#include "vfw/acm_reader.h"
#include "vfw/avi_source.h"
#include "vfw/pcm_reader.h"
#include "vfw/read_buffer.h"

namespace vfw_error = quillet::vfw_error;

struct VfWAudioSourceStream::Reader {
  std::unique_ptr<quillet::SampleReader> samples;
  quillet::AcmReader* decoder = nullptr;  // The same, where the file holds compressed samples.
  quillet::ReadBuffer run;                // What was returned last.

  /// Reads a run into the buffer. What lies before the start of the stream is silent, and nobody is asked for it.
  int read(long first, long last, const WAVEFORMATEX& format);
};

int VfWAudioSourceStream::Reader::read(long first, long last, const WAVEFORMATEX& format) {
  const std::int64_t count = std::int64_t{last} - first + 1;
  run.reserve(count * format.nBlockAlign);
  const auto silent = static_cast<long>(std::clamp<std::int64_t>(samples->start() - first, 0, count));
  const std::size_t silentBytes = static_cast<std::size_t>(silent) * format.nBlockAlign;
  std::memset(run.data(), quillet::silenceOf(format), silentBytes);
  return silent == count ? vfw_error::success : samples->read(first + silent, last, run.data() + silentBytes);
}

VfWAudioSourceStream* VfWAudioSourceStream::open(const wchar_t* fileName, int streamIndex,
                                                 QuilletNotification* notification) {
  auto* const stream = new (std::nothrow) VfWAudioSourceStream;
  return quillet::openNew(stream, notification, [&] { return stream->openSource(fileName, streamIndex); });
}

// Destroyed before the base class, and so before the AVIFile stream that it reads from.
VfWAudioSourceStream::~VfWAudioSourceStream() = default;

int VfWAudioSourceStream::openSource(const wchar_t* fileName, int streamIndex) {
  source.reset(new quillet::AviSource);
  if (const int error = source->open(fileName, streamtypeAUDIO, streamIndex)) {
    return error;
  }
  std::vector<BYTE> format;
  if (const int error = source->readFormat(format, sizeof(PCMWAVEFORMAT), sizeof(WAVEFORMATEX))) {
    return error;
  }
  const auto& sourceFormat = *reinterpret_cast<const WAVEFORMATEX*>(format.data());
  if (!quillet::isUsable(sourceFormat, format.size()) || sourceFormat.nBlockAlign == 0) {
    return vfw_error::cannotRetrieveFormat;  // Nor are there blocks of no bytes: AVIFile counts blocks.
  }

  reader.reset(new Reader);
  if (sourceFormat.wFormatTag == WAVE_FORMAT_PCM) {
    waveFormat = sourceFormat;
    waveFormat.cbSize = 0;  // Says nothing in PCM.
    reader->samples = std::make_unique<quillet::PcmReader>(*source, waveFormat);
    length = source->length();
    return length == -1 ? vfw_error::undefinedStreamLength : vfw_error::success;
  }
  // Where the file holds less than it says, zeros take its place: the ACM reads as far as that.
  format.resize(std::max(format.size(), sizeof(WAVEFORMATEX) + sourceFormat.cbSize));
  auto decoder = std::make_unique<quillet::AcmReader>(*source, std::move(format));
  if (const int error = decoder->open(waveFormat)) {
    return error;
  }
  if (const int error = decoder->measure(length)) {
    return error;
  }
  reader->decoder = decoder.get();
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
  lastError = quillet::guarded([&] { return reader->read(first, last, waveFormat); });
  return lastError == vfw_error::success ? reader->run.data() : nullptr;
}

double VfWAudioSourceStream::StreamSampleToTime(long& sample) {
  if (!requireOpened()) {
    return -1.0;
  }
  if (reader->decoder == nullptr) {
    return VfWSourceStream::StreamSampleToTime(sample);
  }
  if (sample < 0) {
    lastError = vfw_error::cannotConvertTime;
    return -1.0;
  }
  return sample * static_cast<double>(quillet::msPerSecond) / waveFormat.nSamplesPerSec;
}

long VfWAudioSourceStream::StreamTimeToSample(double& time) {
  if (!requireOpened()) {
    return -1;
  }
  if (reader->decoder == nullptr) {
    return VfWSourceStream::StreamTimeToSample(time);
  }
  const double sample = waveFormat.nSamplesPerSec * time * 0.001;
  if (!quillet::isWithinStreams(sample)) {
    lastError = vfw_error::cannotConvertTime;
    return -1;
  }
  return quillet::truncated<long>(sample);  // Kept for clients (see CONTRIBUTING.md): rounded down.
}

double VfWAudioSourceStream::msDuration() {
  if (!requireOpened()) {
    return -1.0;
  }
  const auto end = reader->decoder != nullptr ? reader->decoder->msEnd() : std::nullopt;
  if (!end) {
    return VfWSourceStream::msDuration();
  }
  lastError = vfw_error::success;
  return *end;
}
