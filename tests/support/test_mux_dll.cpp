// The tests' multiplexer and file writer as a DLL: registered in a Wine prefix, they are what every program there writes
// AVI files with.

#include <iterator>
#include <string>

#include <windows.h>

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

bool setValue(const std::wstring& key, const wchar_t* name, const std::wstring& value) {
  return RegSetKeyValueW(HKEY_CLASSES_ROOT, key.c_str(), name, REG_SZ, value.c_str(),
                         static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

}  // namespace

STDAPI DllGetClassObject(REFCLSID id, REFIID iid, void** object) {
  return quillet::guardedMethod([&] {
    if (id != CLSID_AviDest && id != CLSID_FileWriter) {
      return CLASS_E_CLASSNOTAVAILABLE;
    }
    const auto create = id == CLSID_AviDest ? creating<AviMux>(std::make_shared<MuxScript>())
                                            : creating<FileWriter>(std::make_shared<WriterFaults>());
    return makeCom<Factory>(create)->QueryInterface(iid, object);
  });
}

STDAPI DllCanUnloadNow() {
  return S_FALSE;  // Nobody counts the filters: the module stays for as long as the program runs.
}

STDAPI DllRegisterServer() {
  HMODULE module = nullptr;
  wchar_t path[MAX_PATH] = {};
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<LPCWSTR>(classes), &module);
  GetModuleFileNameW(module, path, MAX_PATH);
  for (const CLSID* const id : classes) {
    if (!setValue(serverKey(*id), nullptr, path) || !setValue(serverKey(*id), L"ThreadingModel", L"Both")) {
      return E_ACCESSDENIED;
    }
  }
  return S_OK;
}

/// The system's own classes are back when its modules are registered again.
STDAPI DllUnregisterServer() {
  for (const CLSID* const id : classes) {
    RegDeleteTreeW(HKEY_CLASSES_ROOT, serverKey(*id).c_str());
  }
  return S_OK;
}
