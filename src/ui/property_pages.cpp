#include "ui/property_pages.h"

#include <ocidl.h>

// Needs ocidl.h.
#include <olectl.h>

using Microsoft::WRL::ComPtr;

namespace quillet {

PropertyPages::PropertyPages(IBaseFilter& filter) : object(&filter) {
  ComPtr<ISpecifyPropertyPages> pages;
  CAUUID list = {};
  if (SUCCEEDED(object.As(&pages)) && SUCCEEDED(pages->GetPages(&list))) {
    ids.reset(list.pElems);
    count = list.pElems != nullptr ? list.cElems : 0;
  }
  if (SUCCEEDED(filter.QueryFilterInfo(&info)) && info.pGraph != nullptr) {
    info.pGraph->Release();
  }
}

bool PropertyPages::show(HWND parent) const {
  IUnknown* objects = object.Get();
  return exist() &&
         SUCCEEDED(OleCreatePropertyFrame(parent, 0, 0, info.achName, 1, &objects, count, ids.get(), 0, 0, nullptr));
}

}  // namespace quillet
