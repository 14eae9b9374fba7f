#include "formats/media_type.h"

#include <cstring>
#include <new>
#include <utility>

#include <objbase.h>
#include <uuids.h>

#include "platform/guarded.h"

namespace quillet {
namespace {

bool sameFormat(const AM_MEDIA_TYPE& one, const AM_MEDIA_TYPE& other) {
  return one.cbFormat == other.cbFormat &&
         (one.cbFormat == 0 || std::memcmp(one.pbFormat, other.pbFormat, one.cbFormat) == 0);
}

}  // namespace

void FreeMediaType(AM_MEDIA_TYPE& mediaType) {
  if (mediaType.cbFormat != 0) {  // Otherwise the pointer need not have been set.
    CoTaskMemFree(mediaType.pbFormat);
  }
  mediaType.cbFormat = 0;
  mediaType.pbFormat = nullptr;
  if (mediaType.pUnk != nullptr) {
    mediaType.pUnk->Release();
    mediaType.pUnk = nullptr;
  }
}

void deleteMediaType(AM_MEDIA_TYPE* mediaType) {
  FreeMediaType(*mediaType);
  CoTaskMemFree(mediaType);
}

CMediaType::CMediaType(const AM_MEDIA_TYPE& other) : AM_MEDIA_TYPE(other) {
  // They are the other's still: setFormat frees what it replaces.
  pbFormat = nullptr;
  cbFormat = 0;
  pUnk = nullptr;
  setFormat(other.pbFormat, other.pbFormat != nullptr ? other.cbFormat : 0);
  if (other.pUnk != nullptr) {
    pUnk = other.pUnk;
    pUnk->AddRef();
  }
}

CMediaType::CMediaType(CMediaType&& other) noexcept : AM_MEDIA_TYPE(std::exchange<AM_MEDIA_TYPE>(other, {})) {}

CMediaType& CMediaType::operator=(CMediaType other) noexcept {
  std::swap<AM_MEDIA_TYPE>(*this, other);
  return *this;
}

CMediaType::~CMediaType() {
  FreeMediaType(*this);
}

void CMediaType::setFormat(const void* data, ULONG size) {
  BYTE* copy = nullptr;
  if (size > 0) {
    copy = static_cast<BYTE*>(CoTaskMemAlloc(size));
    if (copy == nullptr) {
      throw std::bad_alloc();
    }
    std::memcpy(copy, data, size);
  }
  CoTaskMemFree(pbFormat);
  pbFormat = copy;
  cbFormat = size;
}

bool CMediaType::operator==(const CMediaType& other) const {
  return IsEqualGUID(majortype, other.majortype) && IsEqualGUID(subtype, other.subtype) &&
         IsEqualGUID(formattype, other.formattype) && sameFormat(*this, other);
}

bool CMediaType::isPartial() const {
  return IsEqualGUID(majortype, GUID_NULL) || IsEqualGUID(formattype, GUID_NULL);
}

bool CMediaType::matchesPartial(const AM_MEDIA_TYPE& pattern) const {
  const auto fits = [](const GUID& own, const GUID& wanted) {
    return IsEqualGUID(wanted, GUID_NULL) || IsEqualGUID(own, wanted);
  };
  return fits(majortype, pattern.majortype) && fits(subtype, pattern.subtype) && fits(formattype, pattern.formattype) &&
         (IsEqualGUID(pattern.formattype, GUID_NULL) || pattern.cbFormat == 0 || sameFormat(*this, pattern));
}

void CMediaType::copyTo(AM_MEDIA_TYPE& target) const {
  CMediaType copy(*this);
  target = std::exchange<AM_MEDIA_TYPE>(copy, {});
}

HRESULT CreateAudioMediaType(const WAVEFORMATEX* format, AM_MEDIA_TYPE* mediaType, BOOL setFormat) {
  if (format == nullptr || mediaType == nullptr) {
    return E_POINTER;
  }
  return guardedMethod([&] {
    CMediaType type;
    type.majortype = MEDIATYPE_Audio;
    type.subtype = MEDIASUBTYPE_PCM;  // The ids of all tags differ in their first 32 bits only.
    type.subtype.Data1 = format->wFormatTag;
    constexpr WORD extension = sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX);
    if (format->wFormatTag == WAVE_FORMAT_EXTENSIBLE && format->cbSize >= extension) {
      type.subtype = reinterpret_cast<const WAVEFORMATEXTENSIBLE*>(format)->SubFormat;
    }
    type.bFixedSizeSamples = TRUE;
    type.lSampleSize = format->nBlockAlign;
    type.formattype = FORMAT_WaveFormatEx;
    if (setFormat) {
      // A PCM format may end before its cbSize: what stands there then says nothing.
      WAVEFORMATEX pcm = {};
      const bool isPcm = format->wFormatTag == WAVE_FORMAT_PCM;
      std::memcpy(&pcm, format, sizeof(PCMWAVEFORMAT));
      type.setFormat(isPcm ? &pcm : format, sizeof pcm + (isPcm ? 0U : format->cbSize));
    }
    *mediaType = std::exchange<AM_MEDIA_TYPE>(type, {});
    return S_OK;
  });
}

}  // namespace quillet
