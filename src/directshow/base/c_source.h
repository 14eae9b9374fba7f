// Push sources: a filter whose pins each deliver from a thread of their own.

#pragma once

#include <functional>

#include <windows.h>

#include <strmif.h>

#include "directshow/base/c_base_filter.h"
#include "directshow/base/c_base_output_pin.h"
#include "directshow/base/worker_thread.h"

namespace quillet {

/// A filter with nothing but pins that push. A subclass adds its CSourceStream pins, usually when it is constructed.
class CSource : public WithInterfaces<CBaseFilter, IAMFilterMiscFlags> {
 public:
  /// @param outer the object that this one is to be a part of; null when it stands alone.
  CSource(IUnknown* outer, REFCLSID classId);

  // IAMFilterMiscFlags
  STDMETHODIMP_(ULONG) GetMiscFlags() override;
};

/// A pin that pushes the samples which its subclass fills, from a thread that lives while the filter is not stopped.
///
/// To stop, the pin first decommits its allocator, then signals stopRequest() and waits for the thread. That wait ends
/// because the thread can be in one of these places only: waiting for a sample, which the allocator then refuses; in a
/// subclass's FillBuffer() or GetDeliveryBuffer(), which watch stopRequest() whenever they wait; in the receiver, which
/// returns once its own filter is stopped or flushed (graphs stop receivers first); waiting for a command. A stop or a
/// seek on the streaming thread itself can never end, and is against the contract of filters.
class CSourceStream : public CBaseOutputPin {
 public:
  CSourceStream(CSource& filter, const wchar_t* name);

  /// The type of a pin that has just one; the base has none.
  virtual HRESULT GetMediaType(CMediaType* type);

  // CBasePin
  HRESULT GetMediaType(int position, CMediaType* type) override;  // The base offers the single type.
  HRESULT CheckMediaType(const CMediaType* type) override;        // The base takes what GetMediaType offers.
  HRESULT Active() override;
  HRESULT Inactive() override;

 protected:
  /// Fills a sample, time stamps and flags included: it may carry those of its last use. Called on the thread.
  /// @return S_OK to have it delivered; S_FALSE at the end of the stream; a failure to abort the graph. What is
  ///     answered other than S_OK once stopRequest() is signalled is not looked at.
  virtual HRESULT FillBuffer(IMediaSample* sample) = 0;

  /// The thread begins; a failure fails the change of state, and the thread ends.
  virtual HRESULT OnThreadCreate() { return S_OK; }

  /// The thread begins to push, after a start or a seek; a failure aborts the graph. The place to announce the segment.
  virtual HRESULT OnThreadStartPlay() { return S_OK; }

  /// The thread has stopped pushing, for whatever reason.
  virtual void OnThreadStopPlay() {}

  /// The thread ends.
  virtual void OnThreadDestroy() {}

  /// Signalled while the thread is asked to stop: every wait of a subclass on the thread waits for this event as well,
  /// unless the subclass ends the wait by itself, before Inactive().
  const Event& stopRequest() const { return worker.commandEvent(); }

  /// Moves the stream: stops pushing, flushes the receiver when the filter is active, runs `move` while the thread is
  /// idle, and pushes on from there, whatever `move` answers.
  /// @return the failure of `move`, or of what followed it.
  HRESULT reposition(const std::function<HRESULT()>& move);

 private:
  static void runThread(void* stream);
  void takeCommands();
  void push();

  WorkerThread worker;
};

}  // namespace quillet
