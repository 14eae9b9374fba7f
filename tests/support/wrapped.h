// Objects of the platform's, with some interfaces of the tests' own.

#pragma once

#include <windows.h>

#include "support/com_object.h"

namespace quillet::test {

/// Has an object of the platform's as its part, and these interfaces beside or in place of the part's.
template <class... Interfaces>
class Wrapped : public ComObject<Interfaces...> {
 public:
  /// Makes the part, of a whole that somebody holds. Asks the module itself: the class may be overridden.
  void takeIn(const char* module, REFCLSID classId) {
    const auto getClassObject = reinterpret_cast<LPFNGETCLASSOBJECT>(
        reinterpret_cast<void*>(GetProcAddress(LoadLibraryA(module), "DllGetClassObject")));
    Microsoft::WRL::ComPtr<IClassFactory> factory;
    getClassObject(classId, IID_PPV_ARGS(&factory));
    factory->CreateInstance(this->innerUnknown(), IID_PPV_ARGS(&part));
  }

 protected:
  IUnknown* findInterface(REFIID id) override {
    IUnknown* const own = ComObject<Interfaces...>::findInterface(id);
    return own != nullptr ? own : ofPart(id);
  }

  /// An interface of the part, not counted: its references count for the whole, which the part lives as long as.
  IUnknown* ofPart(REFIID id) {
    Microsoft::WRL::ComPtr<IUnknown> found;
    part->QueryInterface(id, reinterpret_cast<void**>(found.GetAddressOf()));
    return found.Get();
  }

 private:
  Microsoft::WRL::ComPtr<IUnknown> part;
};

}  // namespace quillet::test
