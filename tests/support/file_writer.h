// A writer of files, which does what Windows documents of its own.

#pragma once

#include <memory>
#include <string>

#include <windows.h>

#include <strmif.h>

#include "directshow/base/c_base_filter.h"
#include "directshow/base/c_media_type.h"
#include "support/input_pin.h"

namespace quillet::test {

/// What a writer refuses to do. Shared by the test and the writers of its making.
struct WriterFaults {
  bool noFileSink2 = false;
  HRESULT setFileName = S_OK;
  HRESULT receive = S_OK;
};

/// The renderer, CLSID_FileWriter: the times of a sample are its place in the file. Where Windows' documentation is silent, it is assumed
/// that SetFileName makes the file and leaves it empty or as it is; it is open while the filter is not stopped, and
/// emptied, or with other flags than AM_FILE_OVERWRITE left as it is, when the filter leaves the stopped state. The pin
/// has no IStream, since the tests' multiplexer needs none.
class FileWriter : public WithInterfaces<CBaseFilter, IFileSinkFilter2, IAMFilterMiscFlags> {
 public:
  explicit FileWriter(std::shared_ptr<WriterFaults> writerFaults);

  // IFileSinkFilter2
  STDMETHODIMP SetFileName(LPCOLESTR newName, const AM_MEDIA_TYPE* newType) override;
  STDMETHODIMP GetCurFile(LPOLESTR* nameResult, AM_MEDIA_TYPE* typeResult) override;
  STDMETHODIMP SetMode(DWORD newFlags) override { return give(&flags, newFlags); }
  STDMETHODIMP GetMode(DWORD* result) override { return give(result, flags); }

  // IAMFilterMiscFlags
  STDMETHODIMP_(ULONG) GetMiscFlags() override { return AM_FILTER_MISC_FLAGS_IS_RENDERER; }

 protected:
  IUnknown* findInterface(REFIID id) override;

 private:
  class Input;

  const std::shared_ptr<WriterFaults> faults;
  std::wstring name;
  CMediaType type;
  DWORD flags = 0;
};

}  // namespace quillet::test
