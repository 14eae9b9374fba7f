#include "directshow/output/compressor_list.h"

#include <optional>

#include <dshow.h>

#include <quillet/error_codes.h>

namespace quillet {
namespace {

using Microsoft::WRL::ComPtr;

/// A VARIANT that is cleared at the end.
struct Variant : VARIANT {
  Variant() { VariantInit(this); }
  Variant(const Variant&) = delete;
  Variant& operator=(const Variant&) = delete;
  ~Variant() { VariantClear(this); }
};

std::string narrow(const wchar_t* wide, int length) {
  const int size = WideCharToMultiByte(CP_ACP, 0, wide, length, nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_ACP, 0, wide, length, text.data(), size, nullptr, nullptr);
  return text;
}

/// @return no name when it cannot be read.
std::optional<std::string> friendlyName(IPropertyBag& description) {
  Variant value;
  if (description.Read(L"FriendlyName", &value, nullptr) != S_OK || value.vt != VT_BSTR) {
    return std::nullopt;
  }
  return narrow(value.bstrVal, static_cast<int>(SysStringLen(value.bstrVal)));
}

}  // namespace

int CompressorList::open(bool isVideo) {
  ComPtr<ICreateDevEnum> devices;
  if (FAILED(CoCreateInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&devices)))) {
    return ds_error::noDeviceEnumerator;
  }
  const CLSID& category = isVideo ? CLSID_VideoCompressorCategory : CLSID_AudioCompressorCategory;
  const HRESULT result = devices->CreateClassEnumerator(category, &monikers, 0);
  // Of an empty category there is nothing to enumerate, which is no failure of the system's.
  return SUCCEEDED(result) && monikers != nullptr ? ds_error::success : ds_error::cannotListCompressors;
}

/// Goes on through the list, and hands each moniker and its name to `visitor`, until that answers true.
template <class Visitor>
int CompressorList::visitAll(Visitor visitor) {
  ComPtr<IMoniker> moniker;
  while (monikers->Next(1, moniker.ReleaseAndGetAddressOf(), nullptr) == S_OK) {
    ComPtr<IPropertyBag> description;
    if (FAILED(moniker->BindToStorage(nullptr, nullptr, IID_PPV_ARGS(&description)))) {
      return ds_error::unreachableCompressorDescription;
    }
    const std::optional<std::string> name = friendlyName(*description.Get());
    if (name && visitor(moniker, *name)) {
      break;
    }
  }
  return ds_error::success;
}

int CompressorList::readNames(std::vector<std::string>& names) {
  const int error = visitAll([&](const ComPtr<IMoniker>&, const std::string& name) {
    names.push_back(name);
    return false;
  });
  // Nobody can choose from nothing.
  return error == ds_error::success && names.empty() ? ds_error::cannotListCompressors : error;
}

int CompressorList::find(const std::string& name, ComPtr<IMoniker>& found) {
  monikers->Reset();
  const int error = visitAll([&](const ComPtr<IMoniker>& moniker, const std::string& candidate) {
    if (candidate != name) {
      return false;
    }
    found = moniker;
    return true;
  });
  return error == ds_error::success && found == nullptr ? ds_error::cannotRetrieveFilter : error;
}

}  // namespace quillet
