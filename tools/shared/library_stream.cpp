#include "library_stream.h"

#include "failure.h"
#include "text.h"

namespace quillet::client {

const char* backendName(bool directShow) {
  return directShow ? "DirectShow" : "Video for Windows";
}

std::string lastErrorText(AudioOrVideoStream& stream) {
  const char* const message = stream.ErrorMessage(stream.lastError);
  return (message != nullptr ? fromAnsi(message) : "Unknown error") + " (code " + std::to_string(stream.lastError) +
         ", " + backendName(stream.usesDirectShow()) + ")";
}

unsigned char* decodedFrame(VideoSourceStream& stream, long& frame) {
  const long wanted = frame;
  unsigned char* const bits = stream.getFrameBits(frame);
  if (bits == nullptr) {
    throw Failure("frame " + std::to_string(wanted) + ": " + lastErrorText(stream));
  }
  return bits;
}

unsigned char* decodedSamples(AudioSourceStream& stream, long first, long last) {
  unsigned char* const samples = stream.getSamples(first, last);
  if (samples == nullptr) {
    throw Failure("samples " + std::to_string(first) + " to " + std::to_string(last) + ": " + lastErrorText(stream));
  }
  return samples;
}

}  // namespace quillet::client
