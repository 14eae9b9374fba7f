// The tests' multiplexer and file writer as a DLL: registered in a Wine prefix, they are what all programs there write
// AVI files with.

#include <string>

#include <windows.h>

#include <strmif.h>
#include <uuids.h>

#include "core/guarded.h"
#include "support/avi_mux.h"
#include "support/file_writer.h"

using namespace quillet::test;

namespace {

const CLSID* const classes[] = {&CLSID_AviDest, &CLSID_FileWriter};

class Factory : public ComObject<IClassFactory> {
 public:
  explicit Factory(ClassObjectOverride::Create create) : create(std::move(create)) {}

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    return outer != nullptr ? CLASS_E_NOAGGREGATION : quillet::guardedMethod([&] { return create(iid, object); });
  }
  STDMETHODIMP LockServer(BOOL) override { return S_OK; }

 private:
  const ClassObjectOverride::Create create;
};

std::wstring serverKey(const CLSID& id) {
  wchar_t text[39];
  StringFromGUID2(id, text, static_cast<int>(std::size(text)));
  return std::wstring(L"CLSID\\") + text + L"\\InprocServer32";
}

}  // namespace

STDAPI DllGetClassObject(REFCLSID id, REFIID iid, void** object) {
  return quillet::guardedMethod([&] {
    const auto create = id == CLSID_AviDest      ? aviMux(std::make_shared<MuxScript>())
                        : id == CLSID_FileWriter ? fileWriter(std::make_shared<WriterFaults>())
                                                 : nullptr;
    return create ? makeCom<Factory>(create)->QueryInterface(iid, object) : CLASS_E_CLASSNOTAVAILABLE;
  });
}

STDAPI DllCanUnloadNow() {
  return S_FALSE;  // Nobody counts the filters: the module stays for as long as the program runs.
}

STDAPI DllRegisterServer() {
  HMODULE module = nullptr;
  wchar_t path[MAX_PATH] = {};
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCWSTR>(classes), &module);
  GetModuleFileNameW(module, path, MAX_PATH);
  LSTATUS status = ERROR_SUCCESS;
  for (const CLSID* const id : classes) {
    const std::wstring key = serverKey(*id);
    status |= RegSetKeyValueW(HKEY_CLASSES_ROOT, key.c_str(), nullptr, REG_SZ, path, sizeof path);
    status |= RegSetKeyValueW(HKEY_CLASSES_ROOT, key.c_str(), L"ThreadingModel", REG_SZ, L"Both", sizeof L"Both");
  }
  return status == ERROR_SUCCESS ? S_OK : E_ACCESSDENIED;
}

/// The system's own classes are back when its modules are registered again.
STDAPI DllUnregisterServer() {
  for (const CLSID* const id : classes) {
    RegDeleteTreeW(HKEY_CLASSES_ROOT, serverKey(*id).c_str());
  }
  return S_OK;
}
