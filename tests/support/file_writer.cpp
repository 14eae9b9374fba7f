#include "support/file_writer.h"

#include <mutex>
#include <string>
#include <utility>

#include <evcode.h>
#include <shlwapi.h>
#include <vfwmsgs.h>

#include "core/guarded.h"
#include "core/handles.h"
#include "support/input_pin.h"

namespace quillet::test {
namespace {

HRESULT openFile(const std::wstring& name, DWORD disposition, KernelHandle& file) {
  const HANDLE opened = CreateFileW(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, disposition, 0, nullptr);
  const bool isOpen = opened != INVALID_HANDLE_VALUE;
  file.reset(isOpen ? opened : nullptr);
  return isOpen ? S_OK : HRESULT_FROM_WIN32(GetLastError());
}

class FileWriter : public WithInterfaces<CBaseFilter, IFileSinkFilter2, IAMFilterMiscFlags> {
 public:
  explicit FileWriter(std::shared_ptr<WriterFaults> writerFaults)
      : WithInterfaces(nullptr, CLSID_FileWriter), faults(std::move(writerFaults)) {
    addPin(std::make_unique<Input>(*this));
  }

  // IFileSinkFilter2
  STDMETHODIMP SetFileName(LPCOLESTR newName, const AM_MEDIA_TYPE*) override {
    if (FAILED(faults->setFileName)) {
      return faults->setFileName;
    }
    KernelHandle file;
    name = newName;
    return guardedMethod([&] { return openFile(name, OPEN_ALWAYS, file); });
  }
  STDMETHODIMP GetCurFile(LPOLESTR*, AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
  STDMETHODIMP SetMode(DWORD newFlags) override { return give(&flags, newFlags); }
  STDMETHODIMP GetMode(DWORD* result) override { return give(result, flags); }

  // IAMFilterMiscFlags
  STDMETHODIMP_(ULONG) GetMiscFlags() override { return AM_FILTER_MISC_FLAGS_IS_RENDERER; }

 protected:
  IUnknown* findInterface(REFIID id) override {
    if (id == __uuidof(IFileSinkFilter)) {
      return static_cast<IFileSinkFilter2*>(this);
    }
    return faults->noFileSink2 && id == __uuidof(IFileSinkFilter2) ? nullptr : WithInterfaces::findInterface(id);
  }

 private:
  /// The input pin, which has the open file. Its lock guards all it has against the streaming thread.
  class Input : public InputPin {
   public:
    explicit Input(FileWriter& owner) : InputPin(owner, L"in"), writer(owner) {}

    // CBasePin
    HRESULT CheckMediaType(const CMediaType* offered) override {
      return offered->majortype == MEDIATYPE_Stream ? S_OK : S_FALSE;
    }
    HRESULT Active() override {
      const std::lock_guard guard(lock);
      isRunning = false;
      hasEnded = false;
      return openFile(writer.name, (writer.flags & AM_FILE_OVERWRITE) != 0 ? CREATE_ALWAYS : OPEN_ALWAYS, file);
    }
    HRESULT Run(REFERENCE_TIME) override {
      const std::lock_guard guard(lock);
      isRunning = true;
      return hasEnded ? reportEnd() : S_OK;
    }
    HRESULT Inactive() override {
      const std::lock_guard guard(lock);
      file.reset();
      return S_OK;
    }

    // IMemInputPin
    STDMETHODIMP Receive(IMediaSample* sample) override {
      const std::lock_guard guard(lock);
      if (file == nullptr) {
        return VFW_E_WRONG_STATE;
      }
      LARGE_INTEGER position = {};
      REFERENCE_TIME end = 0;
      BYTE* data = nullptr;
      DWORD written = 0;
      sample->GetPointer(&data);
      sample->GetTime(&position.QuadPart, &end);
      const bool isWritten =
          SetFilePointerEx(file.get(), position, nullptr, FILE_BEGIN) &&
          WriteFile(file.get(), data, static_cast<DWORD>(sample->GetActualDataLength()), &written, nullptr);
      return isWritten ? S_OK : HRESULT_FROM_WIN32(GetLastError());
    }

    // IPin
    STDMETHODIMP EndOfStream() override {
      const std::lock_guard guard(lock);
      hasEnded = true;
      return isRunning ? reportEnd() : S_OK;  // A filter that is paused tells of its end once it runs.
    }

   private:
    HRESULT reportEnd() {
      return writer.NotifyEvent(EC_COMPLETE, S_OK, reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(&writer)));
    }

    FileWriter& writer;
    CriticalSection lock;
    KernelHandle file;
    bool isRunning = false;
    bool hasEnded = false;
  };

  const std::shared_ptr<WriterFaults> faults;
  std::wstring name;
  DWORD flags = 0;
};

}  // namespace

ClassObjectOverride::Create fileWriter(std::shared_ptr<WriterFaults> faults) {
  return creating<FileWriter>(std::move(faults));
}

}  // namespace quillet::test
