#include "directshow/output/msd_filter.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>

#include <dshow.h>

#include "formats/format_sizes.h"
#include "formats/video_format.h"

namespace quillet {
namespace {

constexpr CLSID filterClass = {0x512BF6CA, 0x3535, 0x4FFE, {0xB4, 0xE2, 0x40, 0xFC, 0x98, 0x96, 0x93, 0xBC}};

/// The largest frame.
std::int64_t frameSize(const BITMAPINFOHEADER& format) {
  return isUncompressed(format) ? uncompressedFrameSize(format) : std::int64_t{format.biSizeImage};
}

/// Puts what was handed over into the sample.
bool fill(IMediaSample& sample, const HandOff& handOff) {
  REFERENCE_TIME start = handOff.start;
  REFERENCE_TIME stop = handOff.stop;
  BYTE* buffer = nullptr;
  if (sample.GetSize() < handOff.size || FAILED(sample.GetPointer(&buffer)) || FAILED(sample.SetTime(&start, &stop)) ||
      FAILED(sample.SetActualDataLength(handOff.size))) {
    return false;
  }
  std::memcpy(buffer, handOff.data, static_cast<std::size_t>(handOff.size));
  sample.SetSyncPoint(handOff.keyFrame);
  return true;
}

}  // namespace

MSDfilterOutputPin::MSDfilterOutputPin(HRESULT* result, CSource& filter, const wchar_t* name,
                                       const VIDEOINFOHEADER* videoFormat, const WAVEFORMATEX* audioFormat,
                                       unsigned long samplesPerBuffer)
    : CSourceStream(filter, name),
      videoFormat(videoFormat),
      audioFormat(audioFormat),
      samplesPerBuffer(samplesPerBuffer) {
  if (videoFormat != nullptr ? videoFormat->AvgTimePerFrame <= 0 : audioFormat->nSamplesPerSec == 0) {
    *result = E_INVALIDARG;
  }
}

bool MSDfilterOutputPin::deliver(const unsigned char* data, long size, const REFERENCE_TIME* start,
                                 const REFERENCE_TIME* stop, bool keyFrame) {
  return !rendezvous.give({data, size, *start, *stop, keyFrame});
}

// CSourceStream

HRESULT MSDfilterOutputPin::GetMediaType(CMediaType* type) {
  // Without a lock: the format is the caller's, and constant.
  return videoFormat != nullptr ? getVideoType(*type) : getAudioType(*type);
}

HRESULT MSDfilterOutputPin::getVideoType(CMediaType& type) const {
  const BITMAPINFOHEADER& format = videoFormat->bmiHeader;
  // Who writes frames of 16 bits must have masks behind the header, whether or not its size includes them.
  constexpr std::size_t withMasks = sizeof format + 2 * sizeof(DWORD);
  type.reset();
  if (!describeVideo(format, std::max<std::size_t>(format.biSize, withMasks), type)) {
    return E_UNEXPECTED;
  }
  // A palette or masks behind the header come along.
  type.setFormat(videoFormat, offsetof(VIDEOINFOHEADER, bmiHeader) + formatSize(format));
  return S_OK;
}

HRESULT MSDfilterOutputPin::getAudioType(CMediaType& type) const {
  type.reset();
  const HRESULT result = CreateAudioMediaType(audioFormat, &type, FALSE);
  if (SUCCEEDED(result)) {
    type.setFormat(audioFormat, formatSize(*audioFormat));
  }
  return result;
}

HRESULT MSDfilterOutputPin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) {
  const std::lock_guard guard(filter().stateLock());
  const std::int64_t size = videoFormat != nullptr ? frameSize(videoFormat->bmiHeader)
                                                   : std::int64_t{audioFormat->nBlockAlign} * samplesPerBuffer;
  if (size > std::numeric_limits<long>::max()) {
    return E_OUTOFMEMORY;
  }
  request->cBuffers = 1;
  request->cbBuffer = static_cast<long>(size);
  request->cbAlign = 1;
  request->cbPrefix = 0;
  ALLOCATOR_PROPERTIES granted = {};
  if (const HRESULT result = allocator->SetProperties(request, &granted); FAILED(result)) {
    return result;
  }
  return granted.cBuffers < request->cBuffers || granted.cbBuffer < request->cbBuffer ? E_FAIL : S_OK;
}

HRESULT MSDfilterOutputPin::GetDeliveryBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop,
                                              DWORD flags) {
  // The sample is asked for only once there is data for it. So the thread is free to tell the end of the stream to a
  // receiver that keeps the one sample until it hears of that. Ends: as in FillBuffer().
  return rendezvous.take() != nullptr ? CSourceStream::GetDeliveryBuffer(sample, start, stop, flags) : finish();
}

HRESULT MSDfilterOutputPin::Deliver(IMediaSample* sample) {
  const HRESULT result = CSourceStream::Deliver(sample);
  ++moved;
  return result;
}

HRESULT MSDfilterOutputPin::DeliverEndOfStream() {
  const HRESULT result = CSourceStream::DeliverEndOfStream();
  ++moved;
  return result;
}

HRESULT MSDfilterOutputPin::Active() {
  hasEnded = false;
  rendezvous.expect();
  const HRESULT result = CSourceStream::Active();
  if (FAILED(result)) {
    rendezvous.leave();
  }
  return result;
}

HRESULT MSDfilterOutputPin::Inactive() {
  rendezvous.callAway();  // What FillBuffer() waits for is not an event, so that stopRequest() does not wake it.
  return CSourceStream::Inactive();
}

HRESULT MSDfilterOutputPin::OnThreadStartPlay() {
  DeliverNewSegment(0, std::numeric_limits<REFERENCE_TIME>::max(), 1.0);
  return S_OK;
}

HRESULT MSDfilterOutputPin::FillBuffer(IMediaSample* sample) {
  // Data that does not fit is a failure of its giver alone: the sample waits for the next data. Ends: with data that
  // fits, the end of the stream or a request to stop.
  while (const HandOff* const handOff = rendezvous.take()) {
    const bool isFilled = fill(*sample, *handOff);
    rendezvous.taken(isFilled);
    ++moved;
    if (isFilled) {
      return S_OK;
    }
  }
  return finish();
}

/// Ends the pushing, since there is no data: for the end of the stream, or for a stop.
HRESULT MSDfilterOutputPin::finish() {
  if (rendezvous.isCalledAway()) {
    // Ends: whoever calls the taker away requests the stop next. To return before that would look like the end of the
    // stream.
    stopRequest().wait();
  } else {
    hasEnded = true;
  }
  return S_FALSE;
}

MSDfilter::MSDfilter(HRESULT* result, IUnknown* outer, const VIDEOINFOHEADER* format)
    : CSource(outer, filterClass),
      pin(addPin(std::make_unique<MSDfilterOutputPin>(result, *this, L"Video MSD output pin", format, nullptr, 0UL))) {}

MSDfilter::MSDfilter(HRESULT* result, IUnknown* outer, const WAVEFORMATEX* format, unsigned long samplesPerBuffer)
    : CSource(outer, filterClass),
      pin(addPin(std::make_unique<MSDfilterOutputPin>(result, *this, L"Audio MSD output pin", nullptr, format,
                                                      samplesPerBuffer))) {}

bool MSDfilter::deliver(unsigned char* data, long size, const REFERENCE_TIME* start, const REFERENCE_TIME* stop,
                        bool keyFrame) {
  if (data == nullptr) {
    // Without the lock: a delivery that waits for its turn in the file may come back only when this stream, or another
    // one, has ended.
    pin.endStream();
    return false;
  }
  const std::lock_guard guard(deliveryLock);
  return pin.deliver(data, size, start, stop, keyFrame);
}

}  // namespace quillet
