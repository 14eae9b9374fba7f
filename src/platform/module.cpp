#include "platform/module.h"

namespace quillet {
namespace {

HINSTANCE instance = nullptr;

}  // namespace

void setModuleInstance(HINSTANCE module) {
  instance = module;
}

HINSTANCE moduleInstance() {
  return instance;
}

const char* loadMessage(UINT id, char (&message)[messageSize]) {
  return LoadStringA(instance, id, message, messageSize) > 0 ? message : nullptr;
}

}  // namespace quillet
