#include <quillet/vfw_source_stream.h>

#include <algorithm>

#include <quillet/error_codes.h>

#include "core/time_units.h"
#include "resources/resource_ids.h"
#include "vfw/avi_source.h"

namespace vfw_error = quillet::vfw_error;

int VfWAudioOrVideoStream::maxLocalErrorCode() {
  return vfw_error::audioCompressionOverflow;
}

int VfWAudioOrVideoStream::errorMessages_resourceBase() {
  return IDS_VFW_ERRORS;
}

bool VfWAudioOrVideoStream::local_ErrorIsFatal(int code) {
  switch (code) {
    case vfw_error::success:
    case vfw_error::parameterOutOfRange:
    case vfw_error::nextFrameReturned:
    case vfw_error::cannotConvertTime:
    case vfw_error::dataNotFound:
    case vfw_error::cannotSetCompressor:
    case vfw_error::noConfigurationDialog:
    case vfw_error::notFullyConfigured:
    case vfw_error::notInterleaved:
      return false;
    default:
      return true;
  }
}

VfWAudioOrVideoStream::~VfWAudioOrVideoStream() = default;

bool VfWAudioOrVideoStream::usesDirectShow() {
  return false;
}

int VfWSourceStream::Source::open(const char* fileName, DWORD kind, int index) {
  PAVISTREAM opened = nullptr;
  if (fileName == nullptr || AVIStreamOpenFromFileA(&opened, fileName, kind, index, OF_READ, nullptr) != 0) {
    return vfw_error::cannotOpenSourceFile;
  }
  aviStream.reset(opened);
  return vfw_error::success;
}

int VfWSourceStream::Source::readFormat(std::vector<BYTE>& format, LONG leastSize, std::size_t recordSize) const {
  LONG size = 0;
  if (AVIStreamReadFormat(aviStream.get(), 0, nullptr, &size) != 0 || size < leastSize) {
    return vfw_error::cannotRetrieveFormat;
  }
  format.resize(std::max(static_cast<std::size_t>(size), recordSize));
  if (AVIStreamReadFormat(aviStream.get(), 0, format.data(), &size) != 0) {
    return vfw_error::cannotRetrieveFormat;
  }
  return vfw_error::success;
}

VfWSourceStream::~VfWSourceStream() {
  delete source;
}

void VfWSourceStream::configure(void*) {
  if (requireOpened()) {
    lastError = vfw_error::noConfigurationDialog;
  }
}

double VfWSourceStream::StreamSampleToTime(long& sample) {
  if (!requireOpened()) {
    return -1.0;
  }
  const LONG ms = AVIStreamSampleToTime(source->aviStream.get(), sample);
  lastError = ms == -1 ? vfw_error::cannotConvertTime : vfw_error::success;
  return ms;
}

long VfWSourceStream::StreamTimeToSample(double& time) {
  if (!requireOpened()) {
    return -1;
  }
  const LONG sample = AVIStreamTimeToSample(source->aviStream.get(), quillet::roundedHalfUp<LONG>(time));
  lastError = sample == -1 ? vfw_error::cannotConvertTime : vfw_error::success;
  return sample;
}

double VfWSourceStream::msDuration() {
  if (!requireOpened()) {
    return -1.0;
  }
  IAVIStream* const aviStream = source->aviStream.get();
  const LONG ms = AVIStreamSampleToTime(aviStream, AVIStreamStart(aviStream) + AVIStreamLength(aviStream));
  lastError = ms < 0 ? vfw_error::undefinedStreamLength : vfw_error::success;
  return ms;
}
