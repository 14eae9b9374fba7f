#include "directshow/source/source_graph.h"

#include <algorithm>
#include <utility>

#include <dshow.h>

#include <quillet/error_codes.h>

#include "core/time_units.h"
#include "directshow/graph/pins.h"
#include "platform/files.h"

namespace quillet {
namespace {

/// What the grabber calls for each sample: SampleCB.
constexpr long sampleCallbackMethod = 0;

}  // namespace

SourceGraph::~SourceGraph() {
  if (callback != nullptr) {
    // Whoever else holds the grabber outlives the callback.
    grabberControl->SetCallback(nullptr, sampleCallbackMethod);
  }
}

int SourceGraph::build(const wchar_t* fileName, const Choice& streamChoice, CMediaType& type) {
  choice = streamChoice;
  if (fileName != nullptr) {
    wideName = constOLEstring(nameForFilters(fileName, FileUse::read));
    // Told without a graph, which may keep threads for files that it does not find.
    if (isMissing(wideName.get())) {
      return ds_error::cannotOpenSourceFile;
    }
  }
  if (const int error = filters.create()) {
    return error;
  }
  if (const int error = addFilters(wideName.get())) {
    return error;
  }
  return grabberInput != nullptr && SUCCEEDED(grabberInput->ConnectionMediaType(&type)) ? ds_error::success
                                                                                        : ds_error::unreadableMediaType;
}

int SourceGraph::buildLike(const SourceGraph& other) {
  choice = other.choice;
  const int error = filters.create(false);
  return error != ds_error::success ? error : addFilters(other.wideName.get());
}

int SourceGraph::addFilters(const OLECHAR* fileName) {
  ComPtr<IBaseFilter> source;
  if (fileName == nullptr || FAILED(filters.builder->AddSourceFilter(fileName, L"source", &source))) {
    return ds_error::cannotOpenSourceFile;
  }
  if (const int error = addGrabber()) {
    return error;
  }
  if (const int error =
          connectSourceToGrabber(filters.builder.Get(), source.Get(), sampleGrabber.Get(), choice.streamNumber)) {
    return error;
  }
  return addRenderer();
}

int SourceGraph::addGrabber() {
  if (FAILED(CoCreateInstance(CLSID_SampleGrabber, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&sampleGrabber))) ||
      FAILED(sampleGrabber.As(&grabberControl))) {
    return ds_error::noSampleGrabber;
  }
  if (FAILED(filters.builder->AddFilter(sampleGrabber.Get(), L"sample_grabber"))) {
    return ds_error::cannotAddFilter;
  }
  grabberInput = firstPin(sampleGrabber.Get(), PINDIR_INPUT);
  AM_MEDIA_TYPE wanted = {};
  wanted.majortype = choice.majorType;
  wanted.subtype = choice.subtype;
  return SUCCEEDED(grabberControl->SetMediaType(&wanted)) ? ds_error::success : ds_error::cannotSetMediaType;
}

int SourceGraph::addRenderer() {
  if (FAILED(CoCreateInstance(CLSID_NullRenderer, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&renderer)))) {
    return ds_error::noNullRenderer;
  }
  if (FAILED(filters.builder->AddFilter(renderer.Get(), L"null_renderer"))) {
    return ds_error::cannotAddFilter;
  }
  return connectPair(filters.builder.Get(), sampleGrabber.Get(), renderer.Get(), 0) ? ds_error::success
                                                                                    : ds_error::cannotConnectFilters;
}

int SourceGraph::queryInterfaces() {
  if (FAILED(filters.builder.As(&mediaSeeking))) {
    return ds_error::noMediaSeeking;
  }
  if (FAILED(mediaSeeking->SetTimeFormat(&TIME_FORMAT_MEDIA_TIME))) {
    return ds_error::mediaTimeRejected;
  }
  if (FAILED(mediaSeeking->GetDuration(&duration))) {
    return ds_error::undefinedStreamDuration;
  }
  return filters.queryControl();
}

void SourceGraph::installCallback(std::unique_ptr<SGCallback> sampleCallback) {
  callback = std::move(sampleCallback);
  grabberControl->SetCallback(callback.get(), sampleCallbackMethod);
  grabberControl->SetOneShot(FALSE);
  grabberControl->SetBufferSamples(FALSE);
}

/// Where a graph is to stop that shall play its whole stream: behind its duration, which some splitters only estimate.
/// But not too far behind: a splitter that counts samples in 32 bits would make an early stop of that.
LONGLONG SourceGraph::behindTheEnd() const {
  constexpr LONGLONG tenHours = 10LL * 60 * 60 * unitsPerSecond;
  return std::max(duration, tenHours);
}

bool SourceGraph::moveTo(long long position, bool toKeyFrame) {
  const DWORD flags = AM_SEEKING_AbsolutePositioning | (toKeyFrame ? AM_SEEKING_SeekToKeyFrame : 0);
  LONGLONG end = duration;
  if (FAILED(mediaSeeking->SetPositions(&position, flags, &end, AM_SEEKING_AbsolutePositioning))) {
    return false;
  }
  callback->streamTime.seeked(grabberInput.Get(), position);
  return true;
}

bool SourceGraph::moveToStart() {
  LONGLONG first = 0;
  LONGLONG end = behindTheEnd();
  const auto moveWith = [&](DWORD endFlags) {
    return SUCCEEDED(mediaSeeking->SetPositions(&first, AM_SEEKING_AbsolutePositioning, &end, endFlags));
  };
  if (!moveWith(AM_SEEKING_AbsolutePositioning) && !moveWith(AM_SEEKING_NoPositioning)) {
    return false;
  }
  callback->streamTime.seeked(grabberInput.Get(), first);
  return true;
}

void SourceGraph::playWholeStream() {
  LONGLONG unused = 0;
  LONGLONG end = behindTheEnd();
  // Where the end cannot be moved, the estimated duration has to do.
  mediaSeeking->SetPositions(&unused, AM_SEEKING_NoPositioning, &end, AM_SEEKING_AbsolutePositioning);
}

}  // namespace quillet
