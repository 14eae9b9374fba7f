// Registration of filter graphs in the running object table, so that a graph viewer can attach to them.

#pragma once

#include <windows.h>

#include <objidl.h>

namespace quillet {

/// The registration of one graph; revoked when it is destroyed.
class RunningObjectRegistration {
 public:
  RunningObjectRegistration() = default;
  RunningObjectRegistration(const RunningObjectRegistration&) = delete;
  RunningObjectRegistration& operator=(const RunningObjectRegistration&) = delete;
  ~RunningObjectRegistration();

  /// Registers `graph` as "FilterGraph <its address> pid <the process>".
  /// @return a failure when the table cannot be had or does not take it; nothing depends on it.
  HRESULT add(IUnknown* graph);

 private:
  DWORD cookie = 0;
};

}  // namespace quillet
