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
