// The enumerators of pins and of media types.

#pragma once

#include <algorithm>
#include <utility>
#include <vector>

#include <windows.h>

#include <vfwmsgs.h>

#include "directshow/base/com_object.h"
#include "platform/guarded.h"

namespace quillet {

/// An enumerator over a snapshot of what `Source` has.
///
/// A Source knows the interface, what it enumerates, and where that comes from:
///   Interface, Element        IEnumPins and IPin*, for example
///   snapshot()                a vector of everything that there is now; Reset() takes it anew
///   isCurrent()               whether the snapshot still holds; Next() and Skip() fail once it does not
///   give(item)                a counted reference to, or a copy of, an item of the snapshot, owned by a UniqueHandle
template <class Source>
class Enumerator final : public WithInterfaces<ComObject, typename Source::Interface> {
  using Interface = typename Source::Interface;
  using Element = typename Source::Element;

 public:
  /// Makes an enumerator that begins with the first item.
  static HRESULT create(Source source, Interface** result) {
    if (result == nullptr) {
      return E_POINTER;
    }
    *result = nullptr;
    return guardedMethod([&] {
      auto items = source.snapshot();
      return hand(new Enumerator(std::move(source), std::move(items), 0), result);
    });
  }

  STDMETHODIMP Next(ULONG count, Element* elements, ULONG* fetched) override {
    if (elements == nullptr) {
      return E_POINTER;
    }
    if (fetched == nullptr && count != 1) {
      return E_INVALIDARG;
    }
    if (!source.isCurrent()) {
      return VFW_E_ENUM_OUT_OF_SYNC;
    }
    return guardedMethod([&] {
      // Complete before the first is handed over: a failure hands over nothing.
      std::vector<decltype(source.give(items.front()))> given;
      const std::size_t number = std::min<std::size_t>(count, items.size() - position);
      for (std::size_t i = 0; i < number; ++i) {
        given.push_back(source.give(items[position + i]));
      }
      for (auto& one : given) {
        *elements++ = one.release();
      }
      position += number;
      if (fetched != nullptr) {
        *fetched = static_cast<ULONG>(number);
      }
      return number == count ? S_OK : S_FALSE;
    });
  }

  STDMETHODIMP Skip(ULONG count) override {
    if (!source.isCurrent()) {
      return VFW_E_ENUM_OUT_OF_SYNC;
    }
    const std::size_t number = std::min<std::size_t>(count, items.size() - position);
    position += number;
    return number == count ? S_OK : S_FALSE;
  }

  STDMETHODIMP Reset() override {
    return guardedMethod([&] {
      items = source.snapshot();
      position = 0;
      return S_OK;
    });
  }

  STDMETHODIMP Clone(Interface** result) override {
    if (result == nullptr) {
      return E_POINTER;
    }
    *result = nullptr;
    if (!source.isCurrent()) {
      return VFW_E_ENUM_OUT_OF_SYNC;
    }
    return guardedMethod([&] { return hand(new Enumerator(source, items, position), result); });
  }

 private:
  using Items = decltype(std::declval<Source&>().snapshot());

  Enumerator(Source itemSource, Items snapshot, std::size_t start)
      : WithInterfaces<ComObject, Interface>(nullptr),
        source(std::move(itemSource)),
        items(std::move(snapshot)),
        position(start) {}

  static HRESULT hand(Enumerator* enumerator, Interface** result) {
    enumerator->AddRef();
    *result = enumerator;
    return S_OK;
  }

  Source source;
  Items items;
  std::size_t position;
};

}  // namespace quillet
