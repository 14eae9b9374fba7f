// The property pages that a filter brings along.

#pragma once

#include <windows.h>

#include <strmif.h>
#include <wrl/client.h>

#include "platform/handles.h"

namespace quillet {

/// The pages of a filter, kept with the filter's name until they are shown.
class PropertyPages {
 public:
  explicit PropertyPages(IBaseFilter& filter);

  /// Whether the filter has any.
  bool exist() const { return count > 0; }

  /// Shows the pages and waits until they are closed.
  /// @return whether they could be shown.
  bool show(HWND parent) const;

 private:
  Microsoft::WRL::ComPtr<IUnknown> object;
  FILTER_INFO info = {};
  ULONG count = 0;
  CoTaskMemory<GUID> ids;
};

}  // namespace quillet
