#include <quillet/vfw_raw_data_source_stream.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include <uuids.h>

#include <quillet/error_codes.h>

#include "core/operation.h"
#include "core/owned.h"
#include "core/time_units.h"
#include "formats/format_sizes.h"
#include "formats/media_type.h"
#include "formats/usable_formats.h"
#include "formats/video_format.h"
#include "platform/guarded.h"
#include "vfw/avi_source.h"
#include "vfw/read_buffer.h"

namespace vfw_error = quillet::vfw_error;

using quillet::CMediaType;

namespace {

/// Describes video samples of a format as the file holds it.
/// @return a vfw_error code.
int describeVideo(const std::vector<BYTE>& format, const AVISTREAMINFOA& information, CMediaType& type) {
  const auto& header = *reinterpret_cast<const BITMAPINFOHEADER*>(format.data());
  if (!quillet::isUsable(header, format.size()) || !quillet::describeVideo(header, format.size(), type)) {
    return vfw_error::unusableRawFormat;
  }
  VIDEOINFOHEADER info = {};
  const std::int64_t frameSize =
      header.biCompression != BI_RGB ? header.biSizeImage : quillet::uncompressedFrameSize(header);
  info.dwBitRate = static_cast<DWORD>(static_cast<std::uint64_t>(frameSize) * quillet::bitsPerByte *
                                      information.dwRate / information.dwScale);
  info.AvgTimePerFrame = information.dwScale * quillet::unitsPerSecond / information.dwRate;
  constexpr std::size_t prefix = offsetof(VIDEOINFOHEADER, bmiHeader);
  std::vector<BYTE> block(prefix + format.size());
  std::memcpy(block.data(), &info, prefix);
  std::copy(format.begin(), format.end(), block.begin() + prefix);
  type.setFormat(block.data(), static_cast<ULONG>(block.size()));
  return vfw_error::success;
}

/// Describes audio samples of a format as the file holds it.
/// @return a vfw_error code.
int describeAudio(std::vector<BYTE> format, CMediaType& type) {
  const auto& wave = *reinterpret_cast<const WAVEFORMATEX*>(format.data());
  if (!quillet::isUsable(wave, format.size())) {
    return vfw_error::unusableRawFormat;
  }
  if (wave.wFormatTag != WAVE_FORMAT_PCM) {
    // Where the file holds less than it says, zeros take its place.
    format.resize(std::max(format.size(), sizeof wave + wave.cbSize));
  }
  const auto* const whole = reinterpret_cast<const WAVEFORMATEX*>(format.data());
  return SUCCEEDED(quillet::CreateAudioMediaType(whole, &type, TRUE)) ? vfw_error::success : vfw_error::notEnoughMemory;
}

}  // namespace

VfWRawDataSourceStream* VfWRawDataSourceStream::open(const wchar_t* fileName, bool video, int streamIndex,
                                                     QuilletNotification* notification) {
  auto* const stream = new (std::nothrow) VfWRawDataSourceStream;
  quillet::openNew(stream, notification, [&] { return stream->openSource(fileName, video, streamIndex); });
  if (stream != nullptr && !stream->notOpened) {
    stream->keySample = stream->_firstKeySample(!video);  // The stream stays open without one.
  }
  return stream;
}

VfWRawDataSourceStream::~VfWRawDataSourceStream() = default;

int VfWRawDataSourceStream::openSource(const wchar_t* fileName, bool video, int streamIndex) {
  source.reset(new quillet::AviSource);
  if (const int error = source->open(fileName, video ? streamtypeVIDEO : streamtypeAUDIO, streamIndex)) {
    return error;
  }
  const AVISTREAMINFOA* const information = source->information();
  if (information == nullptr || (video && (information->dwScale == 0 || information->dwRate == 0))) {
    return vfw_error::cannotRetrieveStreamInfo;  // Without a frame rate a video stream cannot be described.
  }
  std::vector<BYTE> format;
  const LONG leastSize = video ? sizeof(BITMAPINFOHEADER) : sizeof(PCMWAVEFORMAT);
  const std::size_t recordSize = video ? sizeof(BITMAPINFOHEADER) : sizeof(WAVEFORMATEX);
  if (const int error = source->readFormat(format, leastSize, recordSize)) {
    return error;
  }
  length = source->length();
  if (length == -1) {
    return vfw_error::undefinedStreamLength;
  }
  CMediaType type;
  if (const int error = video ? describeVideo(format, *information, type) : describeAudio(format, type)) {
    return error;
  }
  readBuffer.reset(new quillet::ReadBuffer);
  readBuffer->reserve(information->dwSuggestedBufferSize);
  type.copyTo(mediaType);  // Last: the base frees it only when the stream is open.
  return vfw_error::success;
}

long VfWRawDataSourceStream::_firstKeySample(bool) {
  if (!quillet::beginOperation(*this)) {
    return -1;
  }
  const long start = source->start();
  if (source->hasFixedSampleSize()) {
    const bool isEmpty = length == 0 || source->findPrevious(start) == -1;
    lastError = isEmpty ? vfw_error::noNonEmptyKeySample : vfw_error::success;
    return isEmpty ? -1 : start;
  }
  IAVIStream* const stream = source->stream();
  long sample = source->find(0, FIND_PREV | FIND_KEY);
  if (sample != 0) {
    sample = source->find(1, FIND_NEXT | FIND_KEY);
  }
  // Ends: a search that does not come farther, because it finds nothing (-1) or its handler errs, is the last, and none goes
  // beyond the end of the stream.
  for (long reached = -1; sample > reached;) {
    LONG size = 0;
    if (AVIStreamRead(stream, sample, 1, nullptr, std::numeric_limits<LONG>::max(), &size, nullptr) != 0) {
      lastError = vfw_error::errorReadingSamples;
      return -1;
    }
    if (size != 0) {
      return sample;
    }
    reached = sample;
    sample = source->find(sample + 1, FIND_NEXT | FIND_KEY);
  }
  lastError = vfw_error::noNonEmptyKeySample;
  return -1;
}

VIDEOINFOHEADER* VfWRawDataSourceStream::videoInfo(VIDEOINFOHEADER& info) {
  if (!requireOpened() || !quillet::storeVideoInfo(mediaType, info)) {
    return nullptr;
  }
  lastError = vfw_error::success;
  return &info;
}

unsigned char* VfWRawDataSourceStream::getData(long& sample, long& samples, long& bytes, bool& key) {
  if (!requireOpened()) {
    return nullptr;
  }
  if (sample < 0 || sample >= length) {
    lastError = vfw_error::parameterOutOfRange;
    return nullptr;
  }
  if (sample < keySample) {
    lastError = vfw_error::dataNotFound;
    return nullptr;
  }
  long found = -1;
  if (source->hasFixedSampleSize()) {
    found = source->findPrevious(sample);
    lastError = found == -1 ? static_cast<int>(vfw_error::noFrameFound) : key ? lastError : vfw_error::success;
  } else if (key) {
    found = source->find(sample, FIND_PREV | FIND_KEY);
    lastError = found == -1 ? static_cast<int>(vfw_error::noPrecedingKeySample) : lastError;
  } else {
    lastError = source->findSample(sample, found);
  }
  if (found == -1) {
    return nullptr;
  }
  if (const int error = quillet::guarded([&] { return readAt(found, samples, bytes); })) {
    lastError = error;
    return nullptr;
  }
  sample = found;
  key = source->hasFixedSampleSize() || found == source->find(found, FIND_PREV | FIND_KEY);
  return readBuffer->data();
}

/// Reads what AVIFile finds convenient to read at sample `first`.
/// @return a vfw_error code.
int VfWRawDataSourceStream::readAt(long first, long& samples, long& bytes) {
  IAVIStream* const stream = source->stream();
  const auto read = [&] {
    return AVIStreamRead(stream, first, AVISTREAMREAD_CONVENIENT, readBuffer->data(), readBuffer->size(), &bytes,
                         &samples);
  };
  HRESULT result = read();
  LONG size = 0;
  // Some files promise too small samples, or tell no size.
  if (result == AVIERR_BUFFERTOOSMALL &&
      AVIStreamRead(stream, first, 1, nullptr, std::numeric_limits<LONG>::max(), &size, nullptr) == 0 &&
      size > readBuffer->size()) {
    readBuffer->reserve(size);
    result = read();
  }
  // A handler that reads nothing within the stream would keep its reader from coming on. A frame may be empty.
  const bool mayBeEmpty = mediaType.majortype == MEDIATYPE_Video;
  return result == 0 && samples > 0 && bytes >= (mayBeEmpty ? 0 : 1) && bytes <= readBuffer->size()
             ? vfw_error::success
             : vfw_error::errorReadingSamples;
}
