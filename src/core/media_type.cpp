#include "core/media_type.h"

#include <objbase.h>

namespace quillet {

void FreeMediaType(AM_MEDIA_TYPE& mediaType) {
  CoTaskMemFree(mediaType.pbFormat);
  mediaType.cbFormat = 0;
  mediaType.pbFormat = nullptr;
  if (mediaType.pUnk != nullptr) {
    mediaType.pUnk->Release();
    mediaType.pUnk = nullptr;
  }
}

}  // namespace quillet
