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

// What the platform's classes are registered under.
constexpr const wchar_t* serverKeys[] = {L"CLSID\\{E2510970-F137-11CE-8B67-00AA00A3F1A6}\\InprocServer32",
                                         L"CLSID\\{8596E5F0-0DA5-11D0-BD21-00A0C911CE86}\\InprocServer32"};

}  // namespace

STDAPI DllGetClassObject(REFCLSID id, REFIID iid, void** object) {
  return quillet::guardedMethod([&] {
    if (id != CLSID_AviDest && id != CLSID_FileWriter) {
      return CLASS_E_CLASSNOTAVAILABLE;
    }
    return makeClassObject(id == CLSID_AviDest ? aviMux(std::make_shared<MuxScript>())
                                               : fileWriter(std::make_shared<WriterFaults>()))
        ->QueryInterface(iid, object);
  });
}

STDAPI DllCanUnloadNow() {
  return S_FALSE;  // Nobody counts the filters: the module stays for as long as the program runs.
}

STDAPI DllRegisterServer() {
  HMODULE module = nullptr;
  wchar_t path[MAX_PATH] = {};
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCWSTR>(serverKeys), &module);
  GetModuleFileNameW(module, path, MAX_PATH);
  LSTATUS status = ERROR_SUCCESS;
  for (const wchar_t* const key : serverKeys) {
    status |= RegSetKeyValueW(HKEY_CLASSES_ROOT, key, nullptr, REG_SZ, path, 2 * (lstrlenW(path) + 1));
    status |= RegSetKeyValueW(HKEY_CLASSES_ROOT, key, L"ThreadingModel", REG_SZ, L"Both", sizeof L"Both");
  }
  return status == ERROR_SUCCESS ? S_OK : E_ACCESSDENIED;
}

/// The system's own classes are back when its modules are registered again.
STDAPI DllUnregisterServer() {
  for (const wchar_t* const key : serverKeys) {
    RegDeleteTreeW(HKEY_CLASSES_ROOT, key);
  }
  return S_OK;
}
