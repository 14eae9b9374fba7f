#include "support/file_writer.h"

#include <utility>

#include <strmif.h>
#include <uuids.h>

namespace quillet::test {
namespace {

class FileWriter : public Wrapped<IFileSinkFilter2> {
 public:
  explicit FileWriter(std::shared_ptr<WriterFaults> writerFaults) : faults(std::move(writerFaults)) {}

  // IFileSinkFilter2
  STDMETHODIMP SetFileName(LPCOLESTR name, const AM_MEDIA_TYPE* type) override {
    return FAILED(faults->setFileName) ? faults->setFileName : sink()->SetFileName(name, type);
  }
  STDMETHODIMP GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE* type) override { return sink()->GetCurFile(name, type); }
  STDMETHODIMP SetMode(DWORD newFlags) override { return give(&faults->mode, newFlags); }
  STDMETHODIMP GetMode(DWORD* result) override { return give(result, faults->mode); }

 protected:
  IUnknown* findInterface(REFIID id) override {
    if (id == __uuidof(IFileSinkFilter)) {
      return static_cast<IFileSinkFilter2*>(this);
    }
    return faults->noFileSink2 && id == __uuidof(IFileSinkFilter2) ? nullptr : Wrapped::findInterface(id);
  }

 private:
  IFileSinkFilter* sink() { return static_cast<IFileSinkFilter*>(ofPart(__uuidof(IFileSinkFilter))); }

  const std::shared_ptr<WriterFaults> faults;
};

}  // namespace

ClassObjectOverride::Create fileWriter(std::shared_ptr<WriterFaults> faults) {
  return [faults = std::move(faults)](REFIID iid, void** object) {
    if (FAILED(faults->create)) {
      return faults->create;
    }
    const auto writer = makeCom<FileWriter>(faults);
    writer->takeIn("qcap.dll", CLSID_FileWriter);
    return writer->QueryInterface(iid, object);
  };
}

}  // namespace quillet::test
