// What every COM object here shares: the reference count, the answer to QueryInterface, and a way to add interfaces to
// a class without writing IUnknown again.

#pragma once

#include <windows.h>

#include <unknwn.h>

namespace quillet {

/// Answers a QueryInterface with an interface that the object was found to have.
/// @param found null when it has none of the id asked for.
inline HRESULT answerInterface(IUnknown* found, void** object) {
  if (object == nullptr) {
    return E_POINTER;
  }
  *object = found;
  if (found == nullptr) {
    return E_NOINTERFACE;
  }
  found->AddRef();
  return S_OK;
}

/// A reference-counted object that lives on the heap and may be aggregated.
///
/// It begins without a reference: put it into a ComPtr at once. The last release deletes it.
class ComObject {
 public:
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;
  virtual ~ComObject() = default;

  /// @return the IUnknown that counts and answers for this object alone: what a class factory hands to an outer object.
  IUnknown* innerUnknown() { return &inner; }

 protected:
  /// @param outerObject the object that this one is to be a part of, not counted; null when it stands alone.
  explicit ComObject(IUnknown* outerObject)
      : inner(*this), controlling(outerObject != nullptr ? outerObject : &inner) {}

  // What the interfaces' IUnknown methods do: see WithInterfaces.
  HRESULT queryInterface(REFIID id, void** object) { return controlling->QueryInterface(id, object); }
  ULONG addRef() { return controlling->AddRef(); }
  ULONG release() { return controlling->Release(); }

  /// @return the object's interface of this id, not counted, or null; IUnknown is not asked for.
  virtual IUnknown* findInterface(REFIID) { return nullptr; }

 private:
  class Inner final : public IUnknown {
   public:
    explicit Inner(ComObject& object) : owner(object) {}

    STDMETHODIMP QueryInterface(REFIID id, void** object) override {
      return answerInterface(IsEqualIID(id, __uuidof(IUnknown)) ? this : owner.findInterface(id), object);
    }

    STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(InterlockedIncrement(&references)); }

    STDMETHODIMP_(ULONG) Release() override {
      const LONG left = InterlockedDecrement(&references);
      if (left == 0) {
        // Whoever counts and releases the object while it is being destroyed must not bring it to 0 once more.
        references = 1;
        delete &owner;
      }
      return static_cast<ULONG>(left);
    }

   private:
    ComObject& owner;
    LONG references = 0;
  };

  Inner inner;
  IUnknown* const controlling;
};

/// Adds interfaces to a class: `Base` counts the references and knows its own interfaces already.
template <class Base, class... Interfaces>
class WithInterfaces : public Base, public Interfaces... {
 public:
  using Base::Base;

  STDMETHODIMP QueryInterface(REFIID id, void** object) override { return this->queryInterface(id, object); }
  STDMETHODIMP_(ULONG) AddRef() override { return this->addRef(); }
  STDMETHODIMP_(ULONG) Release() override { return this->release(); }

 protected:
  IUnknown* findInterface(REFIID id) override {
    IUnknown* found = nullptr;
    const auto take = [&](REFIID own, IUnknown* candidate) {
      if (found == nullptr && IsEqualIID(id, own)) {
        found = candidate;
      }
    };
    (take(__uuidof(Interfaces), static_cast<Interfaces*>(this)), ...);
    return found != nullptr ? found : Base::findInterface(id);
  }
};

}  // namespace quillet
