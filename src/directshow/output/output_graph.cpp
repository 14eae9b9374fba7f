#include "directshow/output/output_graph.h"

#include <algorithm>

#include <dshow.h>

#include <quillet/error_codes.h>

#include "core/time_units.h"
#include "directshow/graph/pins.h"
#include "directshow/graph/stall_watch.h"
#include "platform/files.h"
#include "ui/property_pages.h"

namespace ds_error = quillet::ds_error;
using End = quillet::FilterGraph::End;

bool DSOutputAVIFile::Graph::Stream::isConnected() const {
  return source == nullptr || quillet::firstUnconnectedPin(source.Get(), PINDIR_OUTPUT) == nullptr;
}

bool DSOutputAVIFile::Graph::Stream::leadsTo(IBaseFilter* mux) const {
  const ComPtr<IPin> receiver = source != nullptr ? quillet::peerOf(&source->output()) : nullptr;
  return receiver != nullptr && quillet::filterOf(receiver.Get()).Get() == mux;
}

int DSOutputAVIFile::Graph::build(const wchar_t* fileName) {
  if (fileName != nullptr) {
    const std::wstring name = quillet::fullName(fileName);
    wideName = quillet::constOLEstring(quillet::nameForFilters(name.c_str(), quillet::FileUse::write));
  }
  if (const int error = filters.create()) {
    return error;
  }
  ComPtr<IBaseFilter> writer;
  if (const int error = addFileWriter(writer)) {
    return error;
  }
  if (const int error = addMux()) {
    return error;
  }
  return quillet::connectPair(filters.builder.Get(), mux.Get(), writer.Get(), 0) ? ds_error::success
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
  return SUCCEEDED(filters.builder->AddFilter(writer.Get(), L"output file writer")) ? ds_error::success
                                                                                    : ds_error::cannotAddFilter;
}

int DSOutputAVIFile::Graph::addMux() {
  if (FAILED(CoCreateInstance(CLSID_AviDest, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&mux)))) {
    return ds_error::noAviMultiplexer;
  }
  return SUCCEEDED(filters.builder->AddFilter(mux.Get(), L"AVI mux")) ? ds_error::success : ds_error::cannotAddFilter;
}

int DSOutputAVIFile::Graph::addSource(const Stream& stream, const wchar_t* name) {
  return SUCCEEDED(filters.builder->AddFilter(stream.source.Get(), name)) ? ds_error::success
                                                                          : ds_error::cannotAddFilter;
}

HRESULT DSOutputAVIFile::Graph::connectToMux(const Stream& stream) {
  IBaseFilter* const upstream = stream.compressor != nullptr ? stream.compressor.Get() : stream.source.Get();
  const ComPtr<IPin> output = quillet::firstPin(upstream, PINDIR_OUTPUT);
  const ComPtr<IPin> input = quillet::firstUnconnectedPin(mux.Get(), PINDIR_INPUT);
  return output != nullptr && input != nullptr ? filters.builder->Connect(output.Get(), input.Get()) : E_FAIL;
}

int DSOutputAVIFile::Graph::insertCompressor(Stream& stream, IMoniker& moniker, const wchar_t* name) {
  if (FAILED(moniker.BindToObject(nullptr, nullptr, IID_PPV_ARGS(&stream.compressor)))) {
    stream.compressor.Reset();
    return ds_error::cannotFetchCompressor;
  }
  if (FAILED(filters.builder->AddFilter(stream.compressor.Get(), name))) {
    return ds_error::cannotAddFilter;
  }
  return quillet::connectPair(filters.builder.Get(), stream.source.Get(), stream.compressor.Get(), 0) &&
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

bool DSOutputAVIFile::Graph::resizeAudioBuffer(unsigned long samples) {
  quillet::MSDfilterOutputPin& pin = audio.source->output();
  ComPtr<IPin> receiver;
  if (FAILED(pin.ConnectedTo(&receiver))) {
    pin.setSamplesPerBuffer(samples);
    return true;
  }
  if (FAILED(filters.builder->Disconnect(&pin))) {
    return false;  // The graph runs.
  }
  filters.builder->Disconnect(receiver.Get());
  const unsigned long before = pin.setSamplesPerBuffer(samples);
  const auto connect = [&] { return SUCCEEDED(filters.builder->ConnectDirect(&pin, receiver.Get(), nullptr)); };
  if (connect()) {
    return true;
  }
  pin.setSamplesPerBuffer(before);
  connect();
  return false;
}

bool DSOutputAVIFile::Graph::resizeAudioBufferLater(unsigned long samples) {
  quillet::MSDfilterOutputPin& pin = audio.source->output();
  const unsigned long before = pin.setSamplesPerBuffer(samples);
  const HRESULT result = filters.builder->Reconnect(&pin);
  const bool isResized = result == S_OK || result == VFW_E_NOT_CONNECTED;
  if (!isResized) {
    pin.setSamplesPerBuffer(before);
  }
  return isResized;
}

bool DSOutputAVIFile::Graph::showMuxPages(HWND parent) const {
  return quillet::PropertyPages(*mux.Get()).show(parent);
}

int DSOutputAVIFile::Graph::requireEvents() const {
  return graphStarted && stopRequested ? ds_error::success : ds_error::noSynchronizationObject;
}

int DSOutputAVIFile::Graph::run() {
  filters.forgetEvents();  // What a start that failed has left would be taken for the end of this one.
  if (SUCCEEDED(filters.control->Run())) {
    return ds_error::success;
  }
  filters.stopFilters();  // Not waited for: nothing was written yet that could be on its way.
  return ds_error::cannotRunGraph;
}

int DSOutputAVIFile::Graph::runToEnd() {
  const End end = filters.waitForEnd(stopRequested.get());
  const bool isComplete = end == End::completed || (end == End::interrupted && endStreams());
  // This frees streams that have stalled, too: a receiver lets go of the source's thread when it is stopped, an
  // allocator when it is decommitted. With the thread the write comes back that waits for it.
  const int stopError = filters.stop();
  return stopError == ds_error::success && !isComplete ? static_cast<int>(ds_error::writeError) : stopError;
}

/// Ends the streams and waits until the file is complete.
/// @return whether it is.
bool DSOutputAVIFile::Graph::endStreams() {
  // Both ends are asked for before either has come: the multiplexer may hold a stream back until it hears of the
  // other's.
  for (const Stream* const stream : {&video, &audio}) {
    if (stream->source != nullptr) {
      stream->source->deliver(nullptr, 0, nullptr, nullptr, false);
    }
  }
  // Ends: with the completion or the abort that the multiplexer and the writer tell; when it is seen that neither can come
  // any more; or when nothing moves, as when a compressor swallows the end.
  quillet::StallWatch watch(movement());
  do {
    const bool mayComplete = canComplete();
    const End end = filters.waitForEnd(nullptr, mayComplete ? quillet::StallWatch::lookAfterMs : 0);
    if (end != End::timedOut || !mayComplete) {
      return end == End::completed;
    }
  } while (!watch.hasStalled(movement()));
  return false;
}

/// @return a number that changes with everything that is seen to move: what the sources get done, how far the
///     multiplexer has come, and how long the file is. The last two since a compressor may still have pictures when its
///     stream has ended.
std::uint64_t DSOutputAVIFile::Graph::movement() const {
  std::uint64_t sum = 0;
  for (const Stream* const stream : {&video, &audio}) {
    sum += stream->source != nullptr ? stream->source->output().movement() : 0;
  }
  ComPtr<IMediaSeeking> progress;
  LONGLONG position = 0;
  if (SUCCEEDED(mux.As(&progress)) && SUCCEEDED(progress->GetCurrentPosition(&position))) {
    sum += static_cast<std::uint64_t>(position);
  }
  return sum + quillet::fileLength(wideName.get()).value_or(0);
}

bool DSOutputAVIFile::Graph::hasArrived() const {
  std::uint64_t written = 0;
  for (const Stream* const stream : {&video, &audio}) {
    written += stream->leadsTo(mux.Get()) ? stream->written.load() : 0;
  }
  const std::optional<std::uint64_t> length = quillet::fileLength(wideName.get());
  return length && *length >= written;
}

/// Whether the ended streams can still be on their way: not when somebody has stopped the graph, or a filter has refused to
/// take more of a stream. Where somebody has paused it, it goes on: paused, the file writer would not tell of the end.
bool DSOutputAVIFile::Graph::canComplete() {
  if (!filters.keepsRunning()) {
    return false;
  }
  const Stream* const streams[] = {&video, &audio};
  return std::ranges::none_of(streams, [](const Stream* stream) {
    return stream->source != nullptr && stream->source->output().hasBrokenOff();
  });
}
