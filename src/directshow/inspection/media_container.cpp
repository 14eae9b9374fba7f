#include <quillet/media_container.h>

#include <windows.h>

#include "core/module.h"
#include "resources/resource_ids.h"

const char* MediaContainer::Message(Error e) {
  static char message[quillet::messageSize];
  if (e < Success || e > NoRendererInputPin) {
    return nullptr;
  }
  return quillet::loadMessage(IDS_MEDIA_CONTAINER_ERRORS + static_cast<UINT>(e), message);
}
