#include <quillet/audio_source_stream.h>

#include "core/operation.h"

AudioSourceStream::~AudioSourceStream() = default;

bool AudioSourceStream::isRawData() {
  return false;
}

VIDEOINFOHEADER* AudioSourceStream::videoInfo(VIDEOINFOHEADER&) {
  return nullptr;
}

// Answers the address of the empty format, too, when the stream is not open.
WAVEFORMATEX* AudioSourceStream::format() {
  quillet::beginOperation(*this);
  return &waveFormat;
}
