#include "directshow/output/msd_filter.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>

#include <dshow.h>

#include "core/format_sizes.h"

namespace quillet {
namespace {

constexpr CLSID filterClass = {0x512BF6CA, 0x3535, 0x4FFE, {0xB4, 0xE2, 0x40, 0xFC, 0x98, 0x96, 0x93, 0xBC}};

bool isUncompressed(const BITMAPINFOHEADER& format) {
  return format.biCompression == BI_RGB || format.biCompression == BI_BITFIELDS;
}

/// The largest frame.
ULONG frameSize(const BITMAPINFOHEADER& format) {
  return isUncompressed(format) ? static_cast<ULONG>(uncompressedFrameSize(format)) : format.biSizeImage;
}

/// The subtype of 16-bit frames, which their mask of green tells: it follows the header, whatever that says.
/// @return null for another mask.
const GUID* subtypeOf16Bits(const BITMAPINFOHEADER& format) {
  constexpr std::uint32_t green5Bits = 0x3E0;
  constexpr std::uint32_t green6Bits = 0x7E0;
  std::uint32_t masks[2] = {};
  std::memcpy(masks, &format + 1, sizeof masks);
  if (masks[1] == green5Bits) {
    return &MEDIASUBTYPE_RGB555;
  }
  return masks[1] == green6Bits ? &MEDIASUBTYPE_RGB565 : nullptr;
}

/// @return null for frames of no such type.
const GUID* subtypeOfUncompressed(const BITMAPINFOHEADER& format) {
  switch (format.biBitCount) {
    case 1:
      return &MEDIASUBTYPE_RGB1;
    case 4:
      return &MEDIASUBTYPE_RGB4;
    case 8:
      return &MEDIASUBTYPE_RGB8;
    case 16:
      return subtypeOf16Bits(format);
    case 24:
      return &MEDIASUBTYPE_RGB24;
    case 32:
      return &MEDIASUBTYPE_RGB32;
    default:
      return nullptr;
  }
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

bool MSDfilterOutputPin::deliver(unsigned char* data, long size, const REFERENCE_TIME* start,
                                 const REFERENCE_TIME* stop, bool keyFrame) {
  return !rendezvous.give({data, size, *start, *stop, keyFrame});
}

// CSourceStream

HRESULT MSDfilterOutputPin::GetMediaType(CMediaType* type) {
  const std::lock_guard guard(filter().stateLock());
  return videoFormat != nullptr ? getVideoType(*type) : getAudioType(*type);
}

HRESULT MSDfilterOutputPin::getVideoType(CMediaType& type) const {
  const BITMAPINFOHEADER& format = videoFormat->bmiHeader;
  const bool isRgb = isUncompressed(format);
  GUID subtype = MEDIATYPE_Video;  // Subtypes of FOURCCs differ from it in the code alone.
  subtype.Data1 = format.biCompression;
  if (isRgb) {
    const GUID* const known = subtypeOfUncompressed(format);
    if (known == nullptr) {
      return E_UNEXPECTED;
    }
    subtype = *known;
  }
  type.reset();
  type.majortype = MEDIATYPE_Video;
  type.subtype = subtype;
  type.bFixedSizeSamples = isRgb;
  type.bTemporalCompression = !isRgb;
  type.lSampleSize = frameSize(format);
  type.formattype = FORMAT_VideoInfo;
  // A palette or masks behind the header come along.
  type.setFormat(videoFormat, offsetof(VIDEOINFOHEADER, bmiHeader) + format.biSize);
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
  const std::uint64_t size = videoFormat != nullptr ? frameSize(videoFormat->bmiHeader)
                                                    : std::uint64_t{audioFormat->nBlockAlign} * samplesPerBuffer;
  if (size > static_cast<std::uint64_t>(std::numeric_limits<long>::max())) {
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

HRESULT MSDfilterOutputPin::Active() {
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
  // What does not fit is its giver's failure alone: the sample waits for the next. Ends with data that fits, the end of
  // the stream or a request to stop.
  while (const HandOff* const handOff = rendezvous.take()) {
    const bool isFilled = fill(*sample, *handOff);
    rendezvous.taken(isFilled);
    if (isFilled) {
      return S_OK;
    }
  }
  hasEnded = true;  // Or is being stopped.
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
    // Without the lock: a delivery that waits for its turn in the file may need the end of this stream, or of another, to
    // come back.
    endOfStreamSent = true;
    pin.endStream();
    return false;
  }
  const std::lock_guard guard(deliveryLock);
  // A delivery that the end has overtaken is no failure either.
  return !endOfStreamSent && pin.deliver(data, size, start, stop, keyFrame) && !endOfStreamSent;
}

}  // namespace quillet
