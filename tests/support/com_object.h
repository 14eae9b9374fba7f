// COM objects of the tests, and their use in place of the system's.

#pragma once

#include <functional>
#include <utility>

#include <windows.h>

#include <objbase.h>
#include <wrl/client.h>

#include "directshow/base/com_object.h"

namespace quillet::test {

/// An object with these interfaces. Made by makeCom().
template <class... Interfaces>
class ComObject : public WithInterfaces<quillet::ComObject, Interfaces...> {
 public:
  ComObject() : WithInterfaces<quillet::ComObject, Interfaces...>(nullptr) {}
};

template <class Object, class... Arguments>
Microsoft::WRL::ComPtr<Object> makeCom(Arguments&&... arguments) {
  return new Object(std::forward<Arguments>(arguments)...);
}

/// Hands a value out, or takes one.
template <class Value>
HRESULT give(Value* result, const Value& value) {
  return result == nullptr ? E_POINTER : (void(*result = value), S_OK);
}

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

/// While it lives, CoCreateInstance of a class gives the test's object on every thread of the multithreaded apartment,
/// whether or not the system has the class.
class ClassObjectOverride {
 public:
  /// Makes an object and queries it for an interface; its failure is the failure of CoCreateInstance.
  using Create = std::function<HRESULT(REFIID iid, void** object)>;

  ClassObjectOverride(const CLSID& clsid, Create create);
  ClassObjectOverride(const ClassObjectOverride&) = delete;
  ClassObjectOverride& operator=(const ClassObjectOverride&) = delete;
  ~ClassObjectOverride();

 private:
  DWORD cookie = 0;
};

/// The class object that makes such objects.
Microsoft::WRL::ComPtr<IClassFactory> makeClassObject(ClassObjectOverride::Create create);

}  // namespace quillet::test
