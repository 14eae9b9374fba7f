#include <quillet/audio_source_stream.h>

#include <quillet/error_codes.h>

using quillet::common_error::success;

AudioSourceStream::~AudioSourceStream() = default;

bool AudioSourceStream::isRawData() {
  return false;
}

VIDEOINFOHEADER* AudioSourceStream::videoInfo(VIDEOINFOHEADER&) {
  return nullptr;
}

// Answers the address of the empty format, too, when the stream is not open.
WAVEFORMATEX* AudioSourceStream::format() {
  if (requireOpened()) {
    lastError = success;
  }
  return &waveFormat;
}
