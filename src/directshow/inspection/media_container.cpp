#include <quillet/media_container.h>

#include <windows.h>

#include "core/module.h"
#include "resources/resource_ids.h"

const char* MediaContainer::Message(Error e) {
  static char message[128];
  if (e < Success || e > NoRendererInputPin) {
    return nullptr;
  }
  const UINT id = IDS_MEDIA_CONTAINER_ERRORS + static_cast<UINT>(e);
  return LoadStringA(quillet::moduleInstance(), id, message, sizeof message) > 0 ? message : nullptr;
}
