#include "directshow/output/output_graph.h"

#include <algorithm>

#include <dshow.h>

#include <olectl.h>

#include <quillet/error_codes.h>

#include "core/time_units.h"
#include "directshow/graph/pins.h"

namespace ds_error = quillet::ds_error;

bool DSOutputAVIFile::Graph::Stream::isConnected() const {
  return source == nullptr || quillet::firstUnconnectedPin(source.Get(), PINDIR_OUTPUT) == nullptr;
}

int DSOutputAVIFile::Graph::build(const char* fileName) {
  wideName = quillet::constOLEstring(fileName);
  if (FAILED(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&graph)))) {
    return ds_error::noGraphBuilder;
  }
  registration.add(graph.Get());
  ComPtr<IBaseFilter> writer;
  if (const int error = addFileWriter(writer)) {
    return error;
  }
  if (const int error = addMux()) {
    return error;
  }
  return quillet::connectPair(graph.Get(), mux.Get(), writer.Get(), 0) ? ds_error::success
                                                                       : ds_error::cannotConnectFilters;
}

int DSOutputAVIFile::Graph::addFileWriter(ComPtr<IBaseFilter>& writer) {
  if (FAILED(CoCreateInstance(CLSID_FileWriter, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&writer)))) {
    return ds_error::noFileWriter;
  }
  ComPtr<IFileSinkFilter2> sink;
  if (FAILED(writer.As(&sink))) {
    return ds_error::noFileSinkFilter2;
  }
  sink->SetMode(AM_FILE_OVERWRITE);
  AM_MEDIA_TYPE type = {};
  type.majortype = MEDIATYPE_Stream;
  if (wideName.get() == nullptr || FAILED(sink->SetFileName(wideName.get(), &type))) {
    return ds_error::cannotOpenSourceFile;
  }
  return SUCCEEDED(graph->AddFilter(writer.Get(), L"output file writer")) ? ds_error::success
                                                                          : ds_error::cannotAddFilter;
}

int DSOutputAVIFile::Graph::addMux() {
  if (FAILED(CoCreateInstance(CLSID_AviDest, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&mux)))) {
    return ds_error::noAviMultiplexer;
  }
  return SUCCEEDED(graph->AddFilter(mux.Get(), L"AVI mux")) ? ds_error::success : ds_error::cannotAddFilter;
}

int DSOutputAVIFile::Graph::addSource(Stream& stream, quillet::MSDfilter* source, const wchar_t* name) {
  stream.source = source;
  return SUCCEEDED(graph->AddFilter(source, name)) ? ds_error::success : ds_error::cannotAddFilter;
}

HRESULT DSOutputAVIFile::Graph::connectToMux(const Stream& stream) {
  IBaseFilter* const upstream = stream.compressor != nullptr ? stream.compressor.Get() : stream.source.Get();
  const ComPtr<IPin> output = quillet::firstPin(upstream, PINDIR_OUTPUT);
  const ComPtr<IPin> input = quillet::firstUnconnectedPin(mux.Get(), PINDIR_INPUT);
  return output != nullptr && input != nullptr ? graph->Connect(output.Get(), input.Get()) : E_FAIL;
}

int DSOutputAVIFile::Graph::insertCompressor(Stream& stream, IMoniker& moniker, const wchar_t* name) {
  if (FAILED(moniker.BindToObject(nullptr, nullptr, IID_PPV_ARGS(&stream.compressor)))) {
    stream.compressor.Reset();
    return ds_error::cannotFetchCompressor;
  }
  if (FAILED(graph->AddFilter(stream.compressor.Get(), name))) {
    return ds_error::cannotAddFilter;
  }
  return quillet::connectPair(graph.Get(), stream.source.Get(), stream.compressor.Get(), 0) &&
                 SUCCEEDED(connectToMux(stream))
             ? ds_error::success
             : ds_error::cannotConnectFilters;
}

long DSOutputAVIFile::Graph::audioSamplesPerBuffer(const WAVEFORMATEX& format) const {
  ComPtr<IConfigInterleaving> settings;
  REFERENCE_TIME period = 0;
  REFERENCE_TIME preroll = 0;
  if (FAILED(mux.As(&settings)) || FAILED(settings->get_Interleaving(&period, &preroll)) || period <= 0) {
    period = quillet::unitsPerSecond;
  }
  // A format without a rate will be refused by its source.
  return std::max(quillet::samplesInPeriod(period, std::max(format.nSamplesPerSec, 1UL)), 1L);
}

HRESULT DSOutputAVIFile::Graph::resizeAudioBuffer(unsigned long samples) {
  audio.source->output().setSamplesPerBuffer(samples);
  return graph->Reconnect(&audio.source->output());
}

bool DSOutputAVIFile::Graph::showMuxPages(HWND parent) const {
  ComPtr<ISpecifyPropertyPages> pages;
  CAUUID ids = {};
  if (FAILED(mux.As(&pages)) || FAILED(pages->GetPages(&ids))) {
    return false;
  }
  const quillet::CoTaskMemory<GUID> ownedIds(ids.pElems);
  FILTER_INFO info = {};
  if (FAILED(mux->QueryFilterInfo(&info))) {
    return false;
  }
  if (info.pGraph != nullptr) {
    info.pGraph->Release();
  }
  IUnknown* object = mux.Get();
  return SUCCEEDED(
      OleCreatePropertyFrame(parent, 0, 0, info.achName, 1, &object, ids.cElems, ids.pElems, 0, 0, nullptr));
}

int DSOutputAVIFile::Graph::createEvents() {
  graphStarted.reset(CreateEventA(nullptr, TRUE, FALSE, nullptr));
  stopRequested.reset(CreateEventA(nullptr, TRUE, FALSE, nullptr));
  return graphStarted && stopRequested ? ds_error::success : ds_error::noSynchronizationObject;
}

int DSOutputAVIFile::Graph::run() {
  if (SUCCEEDED(control.control->Run())) {
    return ds_error::success;
  }
  control.stop();  // Part of the graph may be running.
  return ds_error::cannotRunGraph;
}

int DSOutputAVIFile::Graph::runToEnd() {
  End end = waitForEnd(true);
  if (end == End::stopRequested) {
    // Both are asked for before either has come: the multiplexer may hold a stream back until it hears of the other.
    for (const Stream* const stream : {&video, &audio}) {
      if (stream->source != nullptr) {
        stream->source->deliver(nullptr, 0, nullptr, nullptr, false);
      }
    }
    end = waitForEnd(false);
  }
  const int stopError = control.stop();
  return stopError == ds_error::success && end == End::aborted ? static_cast<int>(ds_error::writeError) : stopError;
}

/// Waits until the graph has completed the file or aborted.
/// @param untilRequest wait for the request to stop as well.
DSOutputAVIFile::Graph::End DSOutputAVIFile::Graph::waitForEnd(bool untilRequest) {
  const HANDLE wakers[] = {control.eventWaiting(), stopRequested.get()};
  if (wakers[0] == nullptr) {
    return End::aborted;
  }
  // Ends: with the request, which the owner makes before it goes. After it with the completion or the abort that the
  // multiplexer and the writer tell, unless it is seen that neither can come any more.
  constexpr DWORD lookAfterMs = 500;
  for (;;) {
    const DWORD count = untilRequest ? 2 : 1;
    switch (WaitForMultipleObjects(count, wakers, FALSE, untilRequest ? INFINITE : lookAfterMs)) {
      case WAIT_OBJECT_0:
        if (const long code = control.takeEvents()) {
          return code == EC_COMPLETE ? End::completed : End::aborted;
        }
        break;
      case WAIT_OBJECT_0 + 1:
        return End::stopRequested;
      case WAIT_TIMEOUT:
        if (!canComplete()) {
          return control.takeEvents() == EC_COMPLETE ? End::completed : End::aborted;
        }
        break;
      default:
        return End::aborted;
    }
  }
}

/// Whether the ended streams can still be on their way: not when somebody has stopped the graph, or a filter has refused to
/// take more of a stream.
bool DSOutputAVIFile::Graph::canComplete() const {
  OAFilterState state = State_Stopped;
  if (FAILED(control.control->GetState(0, &state)) || state == State_Stopped) {
    return false;
  }
  for (const Stream* const stream : {&video, &audio}) {
    if (stream->source != nullptr && stream->source->output().hasBrokenOff()) {
      return false;
    }
  }
  return true;
}
