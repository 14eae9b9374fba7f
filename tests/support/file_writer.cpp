#include "support/file_writer.h"

#include <mutex>
#include <utility>

#include <evcode.h>
#include <vfwmsgs.h>

#include "core/guarded.h"
#include "core/handles.h"

namespace quillet::test {
namespace {

HRESULT openFile(const std::wstring& name, DWORD disposition, KernelHandle& file) {
  const HANDLE opened = CreateFileW(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, disposition, 0, nullptr);
  if (opened == INVALID_HANDLE_VALUE) {
    return HRESULT_FROM_WIN32(GetLastError());
  }
  file.reset(opened);
  return S_OK;
}

}  // namespace

/// The input pin, which has the open file. Its lock guards all it has against the streaming thread.
class FileWriter::Input : public InputPin {
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

  HRESULT Inactive() override {
    const std::lock_guard guard(lock);
    file.reset();
    return S_OK;
  }

  HRESULT Run(REFERENCE_TIME) override {
    const std::lock_guard guard(lock);
    isRunning = true;
    return hasEnded ? reportEnd() : S_OK;
  }

  // IMemInputPin
  STDMETHODIMP Receive(IMediaSample* sample) override {
    const std::lock_guard guard(lock);
    if (FAILED(writer.faults->receive)) {
      return writer.faults->receive;
    }
    if (file == nullptr || flushing) {
      return flushing ? S_FALSE : VFW_E_WRONG_STATE;
    }
    LARGE_INTEGER position = {};
    REFERENCE_TIME end = 0;
    BYTE* data = nullptr;
    HRESULT result = sample->GetTime(&position.QuadPart, &end);
    if (SUCCEEDED(result)) {
      result = sample->GetPointer(&data);
    }
    DWORD written = 0;
    if (SUCCEEDED(result) &&
        (!SetFilePointerEx(file.get(), position, nullptr, FILE_BEGIN) ||
         !WriteFile(file.get(), data, static_cast<DWORD>(sample->GetActualDataLength()), &written, nullptr))) {
      result = HRESULT_FROM_WIN32(GetLastError());
    }
    return result;
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

FileWriter::FileWriter(std::shared_ptr<WriterFaults> writerFaults)
    : WithInterfaces(nullptr, CLSID_FileWriter), faults(std::move(writerFaults)) {
  addPin(std::make_unique<Input>(*this));
}

IUnknown* FileWriter::findInterface(REFIID id) {
  if (id == __uuidof(IFileSinkFilter)) {
    return static_cast<IFileSinkFilter2*>(this);
  }
  return faults->noFileSink2 && id == __uuidof(IFileSinkFilter2) ? nullptr : WithInterfaces::findInterface(id);
}

// IFileSinkFilter2

STDMETHODIMP FileWriter::SetFileName(LPCOLESTR newName, const AM_MEDIA_TYPE* newType) {
  if (newName == nullptr || FAILED(faults->setFileName)) {
    return newName == nullptr ? E_POINTER : faults->setFileName;
  }
  const std::lock_guard guard(stateLock());
  return guardedMethod([&] {
    KernelHandle file;
    const HRESULT result = isStopped() ? openFile(newName, OPEN_ALWAYS, file) : VFW_E_NOT_STOPPED;
    if (SUCCEEDED(result)) {
      name = newName;
      type = newType != nullptr ? CMediaType(*newType) : CMediaType();
    }
    return result;
  });
}

STDMETHODIMP FileWriter::GetCurFile(LPOLESTR* nameResult, AM_MEDIA_TYPE* typeResult) {
  const std::lock_guard guard(stateLock());
  const std::size_t size = (name.size() + 1) * sizeof(wchar_t);
  *nameResult = static_cast<LPOLESTR>(CoTaskMemAlloc(size));
  if (*nameResult == nullptr) {
    return E_OUTOFMEMORY;
  }
  CopyMemory(*nameResult, name.c_str(), size);
  if (typeResult != nullptr) {
    type.copyTo(*typeResult);
  }
  return S_OK;
}

}  // namespace quillet::test
