#include "directshow/base/c_source.h"

#include <mutex>

#include <evcode.h>
#include <vfwmsgs.h>

#include <quillet/thread.h>

#include "platform/guarded.h"

using Microsoft::WRL::ComPtr;

namespace quillet {

using Command = WorkerThread::Command;

namespace {

/// Whether an allocator has refused a sample because it was decommitted. To a thread that was waiting just then some
/// answer that its time is up, though it has set none.
bool isDecommitted(HRESULT result) {
  return result == VFW_E_NOT_COMMITTED || result == VFW_E_TIMEOUT;
}

}  // namespace

CSource::CSource(IUnknown* outer, REFCLSID classId) : WithInterfaces(outer, classId) {}

// IAMFilterMiscFlags

STDMETHODIMP_(ULONG) CSource::GetMiscFlags() {
  return AM_FILTER_MISC_FLAGS_IS_SOURCE;
}

CSourceStream::CSourceStream(CSource& filter, const wchar_t* name) : CBaseOutputPin(filter, name) {}

HRESULT CSourceStream::GetMediaType(CMediaType*) {
  return E_UNEXPECTED;
}

// CBasePin

HRESULT CSourceStream::GetMediaType(int position, CMediaType* type) {
  if (position < 0) {
    return E_INVALIDARG;
  }
  return position == 0 ? GetMediaType(type) : VFW_S_NO_MORE_ITEMS;
}

HRESULT CSourceStream::CheckMediaType(const CMediaType* type) {
  CMediaType offered;
  for (int position = 0;; ++position) {
    const HRESULT result = GetMediaType(position, &offered);
    if (result != S_OK) {
      return FAILED(result) ? result : S_FALSE;
    }
    if (offered == *type) {
      return S_OK;
    }
  }
}

HRESULT CSourceStream::Active() {
  if (worker.isStarted()) {
    return S_OK;
  }
  HRESULT result = CBaseOutputPin::Active();
  if (SUCCEEDED(result)) {
    result = worker.start(runThread, this);
  }
  if (SUCCEEDED(result)) {
    result = worker.call(Command::init);
  }
  if (SUCCEEDED(result)) {
    result = worker.call(Command::play);
  }
  if (FAILED(result)) {
    Inactive();
  }
  return result;
}

HRESULT CSourceStream::Inactive() {
  // First of all: a thread that waits for a sample comes back.
  const HRESULT result = CBaseOutputPin::Inactive();
  if (worker.isStarted()) {
    worker.call(Command::stop);
    worker.call(Command::exit);
    worker.join();
  }
  return result;
}

HRESULT CSourceStream::reposition(const std::function<HRESULT()>& move) {
  const std::lock_guard guard(filter().stateLock());
  if (!worker.isStarted()) {
    return move();
  }
  // The flush brings the thread back from the receiver, and the decommit from the allocator, which may be waiting for a
  // sample that is not the receiver's to let go.
  DeliverBeginFlush();
  CBaseOutputPin::Inactive();
  worker.call(Command::stop);
  DeliverEndFlush();

  const HRESULT moved = move();
  const HRESULT active = CBaseOutputPin::Active();
  const HRESULT playing = SUCCEEDED(active) ? worker.call(Command::play) : active;
  return FAILED(moved) ? moved : playing;
}

void CSourceStream::runThread(void* stream) {
  QuilletThread();
  static_cast<CSourceStream*>(stream)->takeCommands();
}

void CSourceStream::takeCommands() {
  for (;;) {
    const Command command = worker.nextCommand();
    const HRESULT result = command == Command::init ? guardedMethod([this] { return OnThreadCreate(); }) : S_OK;
    if (command == Command::exit) {
      OnThreadDestroy();
    }
    worker.reply(result);
    if (command == Command::exit || FAILED(result)) {
      return;
    }
    if (command == Command::play) {
      push();
      OnThreadStopPlay();
    }
  }
}

/// Pushes samples until the next command, the end of the stream, or the receiver has enough.
void CSourceStream::push() {
  HRESULT result = guardedMethod([this] { return OnThreadStartPlay(); });
  while (SUCCEEDED(result) && !worker.hasCommand()) {
    ComPtr<IMediaSample> sample;
    result = GetDeliveryBuffer(&sample, nullptr, nullptr, 0);
    if (isDecommitted(result)) {
      return;  // By one side of the connection: the command to stop follows.
    }
    if (result != S_OK) {
      break;
    }
    result = guardedMethod([&] { return FillBuffer(sample.Get()); });
    if (result != S_OK) {
      break;
    }
    if (Deliver(sample.Get()) != S_OK) {
      return;  // The receiver has enough or is being stopped; had it failed, it would have told the graph.
    }
  }
  if (worker.hasCommand()) {
    return;
  }
  const HRESULT ended = DeliverEndOfStream();
  if (FAILED(ended) && SUCCEEDED(result) && !worker.hasCommand()) {
    result = ended;
  }
  if (FAILED(result)) {
    filter().NotifyEvent(EC_ERRORABORT, result, 0);
  }
}

}  // namespace quillet
