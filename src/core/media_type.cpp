#include "core/media_type.h"

#include <objbase.h>

namespace quillet {

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

}  // namespace quillet
