#include <quillet/vfw_source_stream.h>

#include <cstdint>
#include <limits>

#include <quillet/error_codes.h>

#include "core/owned.h"
#include "core/time_units.h"
#include "vfw/avi_source.h"

namespace vfw_error = quillet::vfw_error;

VfWSourceStream::VfWSourceStream() = default;

VfWSourceStream::~VfWSourceStream() = default;

void VfWSourceStream::configure(void*) {
  if (requireOpened()) {
    lastError = vfw_error::noConfigurationDialog;
  }
}

double VfWSourceStream::StreamSampleToTime(long& sample) {
  if (!requireOpened()) {
    return -1.0;
  }
  const LONG ms = source->timeOf(sample);
  lastError = ms == -1 ? vfw_error::cannotConvertTime : vfw_error::success;
  return ms;
}

long VfWSourceStream::StreamTimeToSample(double& time) {
  if (!requireOpened()) {
    return -1;
  }
  const LONG sample = quillet::isWithinStreams(time) ? source->sampleAt(quillet::roundedHalfUp<LONG>(time)) : -1;
  lastError = sample == -1 ? vfw_error::cannotConvertTime : vfw_error::success;
  return sample;
}

double VfWSourceStream::msDuration() {
  if (!requireOpened()) {
    return -1.0;
  }
  const auto end = std::int64_t{AVIStreamStart(source->stream())} + source->length();
  const LONG ms = end <= std::numeric_limits<LONG>::max() ? source->timeOf(static_cast<LONG>(end)) : -1;
  lastError = ms == -1 ? vfw_error::undefinedStreamLength : vfw_error::success;
  return ms;
}
