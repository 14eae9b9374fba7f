// The source of a writer's graph: pushes what the writer's caller hands in, frame by frame or run by run.

#pragma once

#include <atomic>
#include <utility>

#include <windows.h>

#include <strmif.h>

#include <quillet/platform_formats.h>

#include "directshow/base/c_source.h"
#include "directshow/output/rendezvous.h"
#include "platform/critical_section.h"

namespace quillet {

/// The pin of a video or an audio stream. Its one buffer makes every write wait for the one before.
class MSDfilterOutputPin : public CSourceStream {
 public:
  /// @param result receives a failure when the format gives frames or samples no time; left alone otherwise.
  /// @param videoFormat, audioFormat one of them, the other null; not copied: must outlive the pin.
  /// @param samplesPerBuffer audio samples that one media sample can take.
  MSDfilterOutputPin(HRESULT* result, CSource& filter, const wchar_t* name, const VIDEOINFOHEADER* videoFormat,
                     const WAVEFORMATEX* audioFormat, unsigned long samplesPerBuffer);

  /// Hands data to the streaming thread and waits until it is in a media sample.
  /// @return whether that failed: the sample is too small for it, or the stream does not run any more.
  bool deliver(const unsigned char* data, long size, const REFERENCE_TIME* start, const REFERENCE_TIME* stop,
               bool keyFrame);

  /// Has the streaming thread end the stream after what is being delivered. Waits for nothing.
  void endStream() { rendezvous.end(); }

  /// Whether the streaming thread has gone before the end of the stream.
  bool hasBrokenOff() {
    // In this order: the thread first tells that the stream has ended, then leaves.
    return !rendezvous.hasTaker() && !hasEnded;
  }

  /// @return a number that grows with everything that the streaming thread gets done: data that it has taken, and a sample
  ///     or the end of the stream that the receiver has taken from it.
  unsigned long movement() const { return moved; }

  /// Takes effect with the next connection.
  /// @return the number before.
  unsigned long setSamplesPerBuffer(unsigned long samples) { return std::exchange(samplesPerBuffer, samples); }

  // CSourceStream
  using CSourceStream::GetMediaType;
  HRESULT GetMediaType(CMediaType* type) override;
  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;
  HRESULT GetDeliveryBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop, DWORD flags) override;
  HRESULT Deliver(IMediaSample* sample) override;
  HRESULT DeliverEndOfStream() override;
  HRESULT Active() override;
  HRESULT Inactive() override;

 protected:
  HRESULT FillBuffer(IMediaSample* sample) override;
  HRESULT OnThreadStartPlay() override;
  void OnThreadStopPlay() override { rendezvous.leave(); }

 private:
  HRESULT getVideoType(CMediaType& type) const;
  HRESULT getAudioType(CMediaType& type) const;
  HRESULT finish();

  const VIDEOINFOHEADER* const videoFormat;
  const WAVEFORMATEX* const audioFormat;
  unsigned long samplesPerBuffer;
  Rendezvous rendezvous;
  std::atomic<bool> hasEnded = false;
  std::atomic<unsigned long> moved = 0;
};

/// The filter: one stream, and the order of those who write it.
class MSDfilter : public CSource {
 public:
  /// @param result receives a failure when the filter could not be made; left alone otherwise.
  /// @param outer the object that this one is to be a part of; null when it stands alone.
  /// @param format not copied: must outlive the filter.
  MSDfilter(HRESULT* result, IUnknown* outer, const VIDEOINFOHEADER* format);

  /// @param samplesPerBuffer samples that one write can take.
  MSDfilter(HRESULT* result, IUnknown* outer, const WAVEFORMATEX* format, unsigned long samplesPerBuffer);

  /// Delivers data, or the end of the stream for null. Waits until the data is taken; the end is only asked for. What comes
  /// after it fails, so that nobody takes for written what is not in the file.
  /// @return whether it failed.
  bool deliver(unsigned char* data, long size, const REFERENCE_TIME* start, const REFERENCE_TIME* stop, bool keyFrame);

  MSDfilterOutputPin& output() { return pin; }

 private:
  MSDfilterOutputPin& pin;
  CriticalSection deliveryLock;  // One delivery at a time.
};

}  // namespace quillet
