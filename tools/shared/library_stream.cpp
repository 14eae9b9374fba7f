#include "shared/library_stream.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "shared/failure.h"
#include "shared/text.h"

namespace quillet::client {

const char* backendName(bool directShow) {
  return directShow ? "DirectShow" : "Video for Windows";
}

std::string lastErrorText(AudioOrVideoStream& stream) {
  const char* const message = stream.ErrorMessage(stream.lastError);
  return (message != nullptr ? fromAnsi(message) : "Unknown error") + " (code " + std::to_string(stream.lastError) +
         ", " + backendName(stream.usesDirectShow()) + ")";
}

std::string rangeText(const char* unit, long length) {
  const std::string units = unit + std::string("s");
  return length > 0 ? "there are " + units + " 0 to " + std::to_string(length - 1) : "there are no " + units;
}

namespace {

/// lastErrorText(), of a number outside the stream with those that there are.
std::string failureText(SourceStream& stream, const char* unit) {
  const bool isOutside = stream.lastError == (stream.usesDirectShow() ? int{ds_error::parameterOutOfRange}
                                                                      : vfw_error::parameterOutOfRange);
  const std::string text = lastErrorText(stream);
  return isOutside ? text + ": " + rangeText(unit, stream.duration()) : text;
}

/// @param data what reading the first sample has given.
bool settled(AudioOrVideoStream& stream, int openingCode, const unsigned char* data) {
  if (data != nullptr) {
    stream.lastError = openingCode;
  }
  return data != nullptr;
}

constexpr double msPerSecond = 1000.0;

/// The nearest number, halves up.
long numberAtRate(double ms, double rate) {
  using Limits = std::numeric_limits<long>;
  const double number = std::floor(ms * rate / msPerSecond + 0.5);
  return static_cast<long>(std::clamp<double>(number, Limits::min(), Limits::max()));
}

}  // namespace

bool canRead(AudioSourceStream& stream) {
  const int openingCode = stream.lastError;
  return stream.duration() <= 0 || settled(stream, openingCode, stream.getSamples(0, 0));
}

bool canRead(RawDataSourceStream& stream) {
  const int openingCode = stream.lastError;
  long sample = std::max(stream.firstKeySample(), 0L);
  long samples = 0;
  long bytes = 0;
  bool key = false;
  return stream.duration() <= 0 || settled(stream, openingCode, stream.getData(sample, samples, bytes, key));
}

double timeOf(VideoSourceStream& stream, long frame) {
  return frame * msPerSecond / stream.frameRate();
}

double timeOf(AudioSourceStream& stream, long sample) {
  return sample * msPerSecond / stream.format()->nSamplesPerSec;
}

long numberAt(VideoSourceStream& stream, double ms) {
  return numberAtRate(ms, stream.frameRate());
}

long numberAt(AudioSourceStream& stream, double ms) {
  return numberAtRate(ms, stream.format()->nSamplesPerSec);
}

DecodedFrame decodedFrame(VideoSourceStream& stream, long frame) {
  long found = frame;
  unsigned char* const bits = stream.getFrameBits(found);
  if (bits == nullptr) {
    throw Failure("frame " + std::to_string(frame) + ": " + failureText(stream, "frame"));
  }
  return {found, bits};
}

unsigned char* decodedSamples(AudioSourceStream& stream, long first, long last) {
  unsigned char* const samples = stream.getSamples(first, last);
  if (samples == nullptr) {
    throw Failure("samples " + std::to_string(first) + " to " + std::to_string(last) + ": " +
                  failureText(stream, "sample"));
  }
  return samples;
}

}  // namespace quillet::client
