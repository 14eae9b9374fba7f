// COM objects of the tests, and their use in place of the system's.

#pragma once

#include <atomic>
#include <functional>
#include <utility>

#include <windows.h>

#include <objbase.h>
#include <wrl/client.h>

namespace quillet::test {

/// A reference-counted object that answers to IUnknown and to `Interfaces`, the first of them being the object's
/// identity. Made by makeCom().
template <class First, class... Others>
class ComObject : public First, public Others... {
 public:
  ComObject() = default;
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;
  virtual ~ComObject() = default;

  STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
    if (object == nullptr) {
      return E_POINTER;
    }
    *object = nullptr;
    if (iid == __uuidof(IUnknown) || iid == __uuidof(First)) {
      *object = static_cast<First*>(this);
    } else {
      ((iid == __uuidof(Others) ? void(*object = static_cast<Others*>(this)) : void()), ...);
    }
    if (*object == nullptr) {
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --references;
    if (left == 0) {
      delete this;
    }
    return left;
  }

 private:
  std::atomic<ULONG> references = 1;
};

template <class Object, class... Arguments>
Microsoft::WRL::ComPtr<Object> makeCom(Arguments&&... arguments) {
  Microsoft::WRL::ComPtr<Object> object;
  // Not Attach: MinGW's adds a reference of its own.
  *object.GetAddressOf() = new Object(std::forward<Arguments>(arguments)...);
  return object;
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

}  // namespace quillet::test
