// The sample grabber's callback: decides on the graph's streaming thread what to do with each sample, and holds the graph
// at the sample that the reading thread waits for.

#pragma once

#include <atomic>
#include <memory>

#include <windows.h>

#include <strmif.h>

#include <quillet/notification.h>

#include "directshow/graph/sample_grabber.h"
#include "directshow/graph/stream_time.h"
#include "platform/event.h"

namespace quillet {

/// What all callbacks share: the handshake with the reading thread. Not counted: the graph deletes its callback when it is
/// gone.
///
/// The reading thread writes its request and reads the results only while the callback holds a sample or no run is
/// active. The events between the two threads keep their accesses apart, so that no lock is needed. Each event is
/// waited for in one place, and that wait resets it. To reset it for each sample as well would be one more call into
/// the kernel, and such calls are what a frame costs.
class SGCallback : public ISampleGrabberCB {
 public:
  virtual ~SGCallback() = default;

  // IUnknown
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }

  // ISampleGrabberCB
  HRESULT STDMETHODCALLTYPE SampleCB(double sampleTime, IMediaSample* sample) noexcept override;
  HRESULT STDMETHODCALLTYPE BufferCB(double, BYTE*, long) override { return S_OK; }

  /// Whether the system had the events of the handshake.
  bool hasEvents() const { return delivered && proceed; }

  /// Makes the callback count samples instead of looking for one.
  /// @param flag what the counting is for; only the subclass knows what that means.
  /// @param sink told of phase 0 at each sample; the one at which it asks for a stop is held. May be null.
  void beginParse(bool flag, QuilletNotification* sink);

  /// Ends the counting; from now on every sample is ignored.
  void endParse();

  /// @name Counted while parsing
  /// @{

  /// Samples whose time is above that of the sample before.
  int sampleCount = 0;

  /// Time of the last sample, in seconds.
  double lastTime = -1.0;
  /// @}

  /// Lets the held sample go, for the next one to come.
  /// @return whether a sample was held.
  bool letGo();

  /// Has the callback ignore all samples, and let go of the one that it holds. To be called before the graph is stopped,
  /// which waits until its threads are back.
  void dismiss();

  /// @return a number that grows with each sample that comes; can be asked for at any time.
  unsigned long received() const { return receivedSamples; }

  /// Whether the streaming thread is blocked in the callback, with a sample for the reading thread.
  bool isHolding() const { return holding; }

  /// While set, every sample is ignored.
  std::atomic<bool> stop = false;

  /// Signalled when a sample is held.
  const Event delivered = Event::automatic();

  /// Tells the stream times of samples.
  StreamTime streamTime;

  /// How long a sample lasts that was not cut short, in seconds; 0 when samples differ or it is unknown.
  double samplePeriod = 0.0;

 protected:
  /// Counts a sample while parsing.
  void countSample(double time);

  /// Blocks the streaming thread until the reading thread wants the next sample or the graph is to stop.
  void hold();

  /// The subclass's second buffer (video: the frame after the target; audio: the last block).
  std::unique_ptr<BYTE[]> buffer;

  std::atomic<bool> parseMode = false;
  bool parseFlag = false;
  QuilletNotification* notification = nullptr;

 private:
  /// Deals with a sample of the stream, at `time` seconds of the stream.
  virtual void receive(double time, IMediaSample* sample) = 0;

  std::atomic<unsigned long> receivedSamples = 0;

  // Whoever turns it from true to false, and nobody else, lets the sample go: so `proceed` is signalled once for each
  // wait.
  std::atomic<bool> holding = false;

  const Event proceed = Event::automatic();
};

}  // namespace quillet
