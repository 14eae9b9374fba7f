#include "directshow/source/source_graph.h"

#include <algorithm>
#include <utility>

#include <dshow.h>

#include <quillet/error_codes.h>

#include "core/time_units.h"
#include "directshow/graph/pins.h"
#include "directshow/graph/stall_watch.h"

namespace ds_error = quillet::ds_error;
using End = quillet::FilterGraph::End;

namespace {

/// What the grabber calls for each sample: SampleCB.
constexpr long sampleCallbackMethod = 0;

}  // namespace

DSSourceStream::Graph::~Graph() {
  if (callback != nullptr) {
    // Whoever else holds the grabber outlives the callback.
    grabberControl->SetCallback(nullptr, sampleCallbackMethod);
  }
}

int DSSourceStream::Graph::build(const char* fileName, const Choice& streamChoice) {
  choice = streamChoice;
  wideName = quillet::constOLEstring(fileName);
  if (fileName != nullptr && wideName.get() == nullptr) {
    return ds_error::notEnoughMemory;
  }
  if (wideName.isOfMissingFile()) {
    return ds_error::cannotOpenSourceFile;  // Without a graph, which may keep threads for files that it does not find.
  }
  if (const int error = graph.create()) {
    return error;
  }
  return addFilters(wideName.get());
}

int DSSourceStream::Graph::buildLike(const Graph& other) {
  choice = other.choice;
  const int error = graph.create(false);
  return error != ds_error::success ? error : addFilters(other.wideName.get());
}

int DSSourceStream::Graph::addFilters(const OLECHAR* fileName) {
  ComPtr<IBaseFilter> source;
  if (fileName == nullptr || FAILED(graph.builder->AddSourceFilter(fileName, L"source", &source))) {
    return ds_error::cannotOpenSourceFile;
  }
  if (const int error = addGrabber()) {
    return error;
  }
  if (const int error = quillet::connectSourceToGrabber(graph.builder.Get(), source.Get(), sampleGrabber.Get(),
                                                        choice.streamNumber)) {
    return error;
  }
  return addRenderer();
}

int DSSourceStream::Graph::addGrabber() {
  if (FAILED(CoCreateInstance(CLSID_SampleGrabber, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&sampleGrabber))) ||
      FAILED(sampleGrabber.As(&grabberControl))) {
    return ds_error::noSampleGrabber;
  }
  if (FAILED(graph.builder->AddFilter(sampleGrabber.Get(), L"sample_grabber"))) {
    return ds_error::cannotAddFilter;
  }
  grabberInput = quillet::firstPin(sampleGrabber.Get(), PINDIR_INPUT);
  AM_MEDIA_TYPE wanted = {};
  wanted.majortype = choice.majorType;
  wanted.subtype = choice.subtype;
  return SUCCEEDED(grabberControl->SetMediaType(&wanted)) ? ds_error::success : ds_error::cannotSetMediaType;
}

int DSSourceStream::Graph::addRenderer() {
  if (FAILED(CoCreateInstance(CLSID_NullRenderer, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&renderer)))) {
    return ds_error::noNullRenderer;
  }
  if (FAILED(graph.builder->AddFilter(renderer.Get(), L"null_renderer"))) {
    return ds_error::cannotAddFilter;
  }
  return quillet::connectPair(graph.builder.Get(), sampleGrabber.Get(), renderer.Get(), 0)
             ? ds_error::success
             : ds_error::cannotConnectFilters;
}

int DSSourceStream::Graph::readConnectionType(quillet::CMediaType& type) {
  return grabberInput != nullptr && SUCCEEDED(grabberInput->ConnectionMediaType(&type)) ? ds_error::success
                                                                                        : ds_error::unreadableMediaType;
}

int DSSourceStream::Graph::querySeeking() {
  if (FAILED(graph.builder.As(&mediaSeeking))) {
    return ds_error::noMediaSeeking;
  }
  if (FAILED(mediaSeeking->SetTimeFormat(&TIME_FORMAT_MEDIA_TIME))) {
    return ds_error::mediaTimeRejected;
  }
  return SUCCEEDED(mediaSeeking->GetDuration(&duration)) ? ds_error::success : ds_error::undefinedStreamDuration;
}

void DSSourceStream::Graph::installCallback(std::unique_ptr<quillet::SampleGrabberCallback> sampleCallback) {
  callback = std::move(sampleCallback);
  grabberControl->SetCallback(callback.get(), sampleCallbackMethod);
  grabberControl->SetOneShot(FALSE);
  grabberControl->SetBufferSamples(FALSE);
}

int DSSourceStream::Graph::createEvents() {
  for (quillet::KernelHandle* event : {&runRequested, &stopRequested, &runEnded}) {
    event->reset(CreateEventA(nullptr, FALSE, FALSE, nullptr));
  }
  return callback->createEvents() && runRequested && stopRequested && runEnded ? ds_error::success
                                                                               : ds_error::noSynchronizationObject;
}

HRESULT DSSourceStream::Graph::start() {
  running = true;
  return graph.control->Run();
}

int DSSourceStream::Graph::runUntilEnd() {
  runEnd = End::aborted;
  if (FAILED(start())) {
    return ds_error::cannotRunGraph;
  }
  switch (waitForEnd(stopRequested.get())) {
    case End::completed:
      // A stream ends after its last sample: while one is held, the event is somebody else's.
      runEnd = callback->isHolding() ? End::aborted : End::completed;
      return ds_error::success;
    case End::aborted:
      return ds_error::success;
    case End::interrupted:
      runEnd = End::interrupted;
      return stop();
    default:
      return ds_error::cannotRunGraph;
  }
}

End DSSourceStream::Graph::waitForEnd(HANDLE interruption) {
  using quillet::StallWatch;
  StallWatch watch(callback->received());
  // Ends: with the end of the stream, an abort or the interruption; and, while no sample is held, when somebody has
  // stopped the graph, or it has delivered nothing for as long as makes a stall. While a sample is held the graph is
  // left alone: if somebody is stopping it, that waits for the reader, and so would a question for the graph's state.
  for (;;) {
    const End end = graph.waitForEnd(interruption, StallWatch::lookAfterMs);
    if (end != End::timedOut) {
      return end;
    }
    if (callback->isHolding()) {
      continue;
    }
    if (!graph.keepsRunning()) {
      return End::timedOut;
    }
    if (watch.hasStalled(callback->received())) {
      return End::aborted;
    }
  }
}

void DSSourceStream::Graph::playToEnd() {
  // Only the stop is moved: the graph stands at its first position, to which not every seek comes back. Where the stop
  // cannot be moved, the estimated duration has to do.
  LONGLONG unused = 0;
  LONGLONG stop = behindTheEnd();
  mediaSeeking->SetPositions(&unused, AM_SEEKING_NoPositioning, &stop, AM_SEEKING_AbsolutePositioning);
  runEnd = SUCCEEDED(start()) ? waitForEnd(nullptr) : End::failed;
}

/// Where a graph is to stop that shall play its whole stream: behind its duration, which some splitters only estimate.
/// But not too far behind: a splitter that counts samples in 32 bits would make an early stop of that.
LONGLONG DSSourceStream::Graph::behindTheEnd() const {
  constexpr LONGLONG tenHours = 10LL * 60 * 60 * quillet::unitsPerSecond;
  return std::max(duration, tenHours);
}

int DSSourceStream::Graph::rewind() {
  if (const int error = stop()) {
    return error;
  }
  LONGLONG first = 0;
  LONGLONG stop = behindTheEnd();
  const auto moveTo = [&](DWORD stopFlags) {
    return SUCCEEDED(mediaSeeking->SetPositions(&first, AM_SEEKING_AbsolutePositioning, &stop, stopFlags));
  };
  if (!moveTo(AM_SEEKING_AbsolutePositioning) && !moveTo(AM_SEEKING_NoPositioning)) {
    return ds_error::unseekableMedia;
  }
  moved(first);
  return ds_error::success;
}

bool DSSourceStream::Graph::seek(long long position, bool toKeyFrame) {
  const DWORD flags = AM_SEEKING_AbsolutePositioning | (toKeyFrame ? AM_SEEKING_SeekToKeyFrame : 0);
  LONGLONG end = duration;
  if (FAILED(mediaSeeking->SetPositions(&position, flags, &end, AM_SEEKING_AbsolutePositioning))) {
    return false;
  }
  moved(position);
  return true;
}

void DSSourceStream::Graph::moved(long long position) {
  ended = false;
  callback->streamTime.seeked(grabberInput.Get(), position);
}

int DSSourceStream::Graph::stop() {
  callback->dismiss(!destroying);
  if (const int error = graph.stop()) {
    return error;
  }
  running = false;
  // Samples that were let go may have carried the stream to its end: that completion is not the next run's. An abort that
  // waits behind the completion of this run is the truth about it: sources that fail end their stream first.
  if (graph.forgetEvents() && runEnd == End::completed) {
    runEnd = End::aborted;
  }
  return ds_error::success;
}
