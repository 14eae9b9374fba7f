#include "directshow/source/source_graph.h"

#include <utility>

#include <dshow.h>

#include <quillet/error_codes.h>

#include "directshow/graph/pins.h"

namespace ds_error = quillet::ds_error;

int DSSourceStream::Graph::build(const char* fileName, const Choice& streamChoice) {
  choice = streamChoice;
  if (const int error = makeGraph()) {
    return error;
  }
  wideName = quillet::constOLEstring(fileName);
  if (fileName != nullptr && wideName.get() == nullptr) {
    return ds_error::notEnoughMemory;
  }
  return addFilters(wideName.get());
}

int DSSourceStream::Graph::buildLike(const Graph& other) {
  choice = other.choice;
  const int error = makeGraph();
  return error != ds_error::success ? error : addFilters(other.wideName.get());
}

int DSSourceStream::Graph::makeGraph() {
  if (FAILED(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&graph)))) {
    return ds_error::noGraphBuilder;
  }
  registration.add(graph.Get());
  return ds_error::success;
}

int DSSourceStream::Graph::addFilters(const OLECHAR* fileName) {
  ComPtr<IBaseFilter> source;
  if (fileName == nullptr || FAILED(graph->AddSourceFilter(fileName, L"source", &source))) {
    return ds_error::cannotOpenSourceFile;
  }
  if (const int error = addGrabber()) {
    return error;
  }
  if (const int error =
          quillet::connectSourceToGrabber(graph.Get(), source.Get(), sampleGrabber.Get(), choice.streamNumber)) {
    return error;
  }
  return addRenderer();
}

int DSSourceStream::Graph::addGrabber() {
  if (FAILED(CoCreateInstance(CLSID_SampleGrabber, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&sampleGrabber))) ||
      FAILED(sampleGrabber.As(&grabberControl))) {
    return ds_error::noSampleGrabber;
  }
  if (FAILED(graph->AddFilter(sampleGrabber.Get(), L"sample_grabber"))) {
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
  if (FAILED(graph->AddFilter(renderer.Get(), L"null_renderer"))) {
    return ds_error::cannotAddFilter;
  }
  return quillet::connectPair(graph.Get(), sampleGrabber.Get(), renderer.Get(), 0) ? ds_error::success
                                                                                   : ds_error::cannotConnectFilters;
}

int DSSourceStream::Graph::readConnectionType(quillet::CMediaType& type) {
  return grabberInput != nullptr && SUCCEEDED(grabberInput->ConnectionMediaType(&type)) ? ds_error::success
                                                                                        : ds_error::unreadableMediaType;
}

int DSSourceStream::Graph::querySeeking() {
  if (FAILED(graph.As(&mediaSeeking))) {
    return ds_error::noMediaSeeking;
  }
  if (FAILED(mediaSeeking->SetTimeFormat(&TIME_FORMAT_MEDIA_TIME))) {
    return ds_error::mediaTimeRejected;
  }
  return SUCCEEDED(mediaSeeking->GetDuration(&duration)) ? ds_error::success : ds_error::undefinedStreamDuration;
}

int DSSourceStream::Graph::queryControl() {
  if (FAILED(graph->QueryInterface(IID_IMediaControl, &mediaControl))) {
    return ds_error::noMediaControl;
  }
  return SUCCEEDED(graph->QueryInterface(IID_IMediaEvent, &mediaEvent)) ? ds_error::success : ds_error::noMediaEvent;
}

bool DSSourceStream::Graph::removeClock() {
  ComPtr<IMediaFilter> filter;
  return SUCCEEDED(graph.As(&filter)) && SUCCEEDED(filter->SetSyncSource(nullptr));
}

void DSSourceStream::Graph::installCallback(std::unique_ptr<quillet::SampleGrabberCallback> sampleCallback) {
  callback = std::move(sampleCallback);
  constexpr long sampleCallbackMethod = 0;
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
  // A graph that has played to its end is still running, and a second Run would neither deliver nor complete again.
  if (running) {
    mediaControl->Pause();
  }
  running = true;
  return mediaControl->Run();
}

int DSSourceStream::Graph::runUntilEnd() {
  runEnd = RunEnd::aborted;
  if (FAILED(start()) || !waitForEnd(stopRequested.get(), runEnd)) {
    return ds_error::cannotRunGraph;
  }
  return runEnd == RunEnd::interrupted ? stop() : static_cast<int>(ds_error::success);
}

bool DSSourceStream::Graph::playToEnd() {
  RunEnd end = RunEnd::aborted;
  return SUCCEEDED(start()) && waitForEnd(nullptr, end) && end == RunEnd::completed;
}

bool DSSourceStream::Graph::waitForEnd(HANDLE interruption, RunEnd& end) {
  // IMediaEvent::WaitForCompletion does the like, but Wine's does not come back from an abort.
  HANDLE eventWaiting = nullptr;
  if (FAILED(mediaEvent->GetEventHandle(reinterpret_cast<OAEVENT*>(&eventWaiting)))) {
    return false;
  }
  const HANDLE wakers[] = {eventWaiting, interruption};
  const DWORD wakerCount = interruption != nullptr ? 2 : 1;
  for (;;) {
    // Ends: every stream ends with one of the events that takeEvents() looks for, and whoever does not want to wait for
    // that gives an event of his own.
    switch (WaitForMultipleObjects(wakerCount, wakers, FALSE, INFINITE)) {
      case WAIT_OBJECT_0:
        if (const long code = takeEvents()) {
          end = code == EC_COMPLETE ? RunEnd::completed : RunEnd::aborted;
          return true;
        }
        break;
      case WAIT_OBJECT_0 + 1:
        end = RunEnd::interrupted;
        return true;
      default:
        return false;
    }
  }
}

int DSSourceStream::Graph::rewind() {
  if (const int error = stop()) {
    return error;
  }
  LONGLONG first = 0;
  if (FAILED(mediaSeeking->SetPositions(&first, AM_SEEKING_AbsolutePositioning, nullptr, AM_SEEKING_NoPositioning))) {
    return ds_error::unseekableMedia;
  }
  callback->streamTime.seeked(grabberInput.Get(), first);
  return ds_error::success;
}

bool DSSourceStream::Graph::seek(long long position, bool toKeyFrame) {
  const DWORD flags = AM_SEEKING_AbsolutePositioning | (toKeyFrame ? AM_SEEKING_SeekToKeyFrame : 0);
  LONGLONG end = duration;
  if (FAILED(mediaSeeking->SetPositions(&position, flags, &end, AM_SEEKING_AbsolutePositioning))) {
    return false;
  }
  callback->streamTime.seeked(grabberInput.Get(), position);
  return true;
}

int DSSourceStream::Graph::stop() {
  callback->dismiss(!destroying);
  if (FAILED(mediaControl->Stop())) {
    return ds_error::cannotStopGraph;
  }
  OAFilterState state = State_Stopped;
  if (FAILED(mediaControl->GetState(static_cast<LONG>(INFINITE), &state))) {
    return ds_error::getStateFailed;
  }
  running = false;
  // Samples that were let go may have carried the stream to its end: that completion is not the next run's.
  while (takeEvents() != 0) {
  }
  return ds_error::success;
}

/// Takes the events that are waiting, up to one that means that no more samples will come.
/// @return that event's code; 0 when there was none.
long DSSourceStream::Graph::takeEvents() {
  long code = 0;
  LONG_PTR first = 0;
  LONG_PTR second = 0;
  while (SUCCEEDED(mediaEvent->GetEvent(&code, &first, &second, 0))) {
    mediaEvent->FreeEventParams(code, first, second);
    if (code == EC_COMPLETE || code == EC_ERRORABORT || code == EC_USERABORT) {
      return code;
    }
  }
  return 0;
}
