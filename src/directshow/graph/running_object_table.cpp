#include "directshow/graph/running_object_table.h"

#include <cstdint>
#include <cwchar>
#include <iterator>

#include <objbase.h>

#include <wrl/client.h>

using Microsoft::WRL::ComPtr;

namespace quillet {

RunningObjectRegistration::~RunningObjectRegistration() {
  ComPtr<IRunningObjectTable> table;
  if (cookie != 0 && SUCCEEDED(GetRunningObjectTable(0, &table))) {
    table->Revoke(cookie);
  }
}

HRESULT RunningObjectRegistration::add(IUnknown* graph) {
  ComPtr<IRunningObjectTable> table;
  if (FAILED(GetRunningObjectTable(0, &table))) {
    return E_FAIL;
  }
  // Graph viewers look for a name of just this form.
  wchar_t name[64];
  std::swprintf(name, std::size(name), L"FilterGraph %08x pid %08x",
                static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(graph)),
                static_cast<unsigned>(GetCurrentProcessId()));
  ComPtr<IMoniker> moniker;
  const HRESULT result = CreateItemMoniker(L"!", name, &moniker);
  return SUCCEEDED(result) ? table->Register(0, graph, moniker.Get(), &cookie) : result;
}

}  // namespace quillet
