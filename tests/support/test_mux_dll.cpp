// The tests' multiplexer and file writer as a DLL: registered in a Wine prefix, they are what all programs there write
// AVI files with.

#include <windows.h>

#include <uuids.h>

#include "platform/guarded.h"
#include "support/avi_mux.h"

using namespace quillet::test;

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
