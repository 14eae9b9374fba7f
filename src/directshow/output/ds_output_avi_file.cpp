#include <quillet/ds_output_avi_file.h>

#include <algorithm>
#include <new>
#include <string>
#include <vector>

#include <dshow.h>

#include <quillet/error_codes.h>
#include <quillet/thread.h>

#include "core/admit.h"
#include "core/operation.h"
#include "core/owned.h"
#include "core/time_units.h"
#include "directshow/graph/pins.h"
#include "directshow/output/compressor_configuration.h"
#include "directshow/output/compressor_list.h"
#include "directshow/output/output_graph.h"
#include "formats/format_sizes.h"
#include "platform/guarded.h"
#include "ui/compressor_dialog.h"
#include "ui/run_dialog.h"

namespace ds_error = quillet::ds_error;
namespace output_error = quillet::output_error;
using Microsoft::WRL::ComPtr;

namespace {

/// Lets the user choose one of the system's compressors.
/// @return the code of the outcome.
int askForCompressor(HWND parent, bool isVideo, ComPtr<IMoniker>& chosen) {
  quillet::CompressorList compressors;
  if (const int error = compressors.open(isVideo)) {
    return error;
  }
  std::vector<std::string> names;
  if (const int error = compressors.readNames(names)) {
    return error;
  }
  std::size_t choice = 0;
  const INT_PTR result = quillet::showCompressorDialog(parent, names, choice);
  return result == IDOK ? compressors.find(names[choice], chosen)
                        : quillet::codeOf(result, output_error::dialogCancelled, ds_error::cannotDisplayDialog);
}

}  // namespace

DSOutputAVIFile::DSOutputAVIFile() = default;

DSOutputAVIFile::~DSOutputAVIFile() {
  DSOutputAVIFile::close();
}

DSOutputAVIFile* DSOutputAVIFile::create(const wchar_t* fileName, const VIDEOINFOHEADER* video, bool compressVideo,
                                         const WAVEFORMATEX* audio, bool compressAudio) {
  auto* const file = new (std::nothrow) DSOutputAVIFile;
  if (file != nullptr) {
    file->video = video;
    file->compressVideo = compressVideo;
    file->audio = audio;
    file->compressAudio = compressAudio;
    file->finishOpening(quillet::guarded([&] { return file->createGraph(fileName); }));
  }
  return file;
}

int DSOutputAVIFile::createGraph(const wchar_t* fileName) {
  if (!acceptableFormats()) {
    return lastError;
  }
  if (audio != nullptr && !quillet::canBeWhole(*audio)) {
    return ds_error::improperStreamFormat;
  }
  graph.reset(new Graph);
  if (const int error = graph->build(fileName)) {
    return error;
  }
  if (const int error = addVideoSource()) {
    return error;
  }
  if (const int error = addAudioSource()) {
    return error;
  }
  if (const int error = graph->filters.queryControl()) {
    return error;
  }
  return graph->requireEvents();
}

int DSOutputAVIFile::addVideoSource() {
  if (video == nullptr) {
    return ds_error::success;
  }
  HRESULT result = S_OK;
  graph->video.source = new quillet::MSDfilter(&result, nullptr, video);
  if (FAILED(result)) {
    return ds_error::videoSourceCreationFailed;
  }
  if (const int error = graph->addSource(graph->video, L"video source")) {
    return error;
  }
  return compressVideo ||
                 quillet::connectPair(graph->filters.builder.Get(), graph->video.source.Get(), graph->mux.Get(), 0)
             ? ds_error::success
             : ds_error::videoStreamCopyImpossible;
}

int DSOutputAVIFile::addAudioSource() {
  if (audio == nullptr) {
    return ds_error::success;
  }
  bufferSamples = graph->audioSamplesPerBuffer(*audio);
  HRESULT result = S_OK;
  graph->audio.source = new quillet::MSDfilter(&result, nullptr, audio, static_cast<unsigned long>(bufferSamples));
  if (FAILED(result)) {
    return ds_error::audioSourceCreationFailed;
  }
  if (const int error = graph->addSource(graph->audio, L"audio source")) {
    return error;
  }
  return compressAudio || SUCCEEDED(graph->connectToMux(graph->audio)) ? ds_error::success
                                                                       : ds_error::audioStreamCopyImpossible;
}

bool DSOutputAVIFile::canRun() {
  return requireOpened() &&
         quillet::guardedBy(false, [this] { return graph->video.isConnected() && graph->audio.isConnected(); });
}

bool DSOutputAVIFile::start() {
  if (!requireOpened()) {
    return false;
  }
  if (!canRun()) {
    lastError = ds_error::graphNotFullyConfigured;
    return false;
  }
  lastError = ds_error::success;
  if (graph->worker.isStarted()) {
    return true;
  }
  nextFrame = 0;
  nextSample = 0;
  const bool isUnpaced = graph->filters.removeClock();
  constexpr unsigned stackSize = 32768;
  if (!graph->worker.start(runGraph, this, stackSize)) {
    lastError = ds_error::cannotCreateThread;
    return false;
  }
  // Ends: the thread signals the one when it has tried to run the graph, or the other should it end before.
  waitForFirst(graph->graphStarted, graph->worker.ended());
  if (graph->startResult != ds_error::success) {
    lastError = graph->startResult;
    // Ends: a thread that could not run the graph does nothing more.
    graph->worker.join();
    graph->graphStarted.reset();
    return false;
  }
  if (!isUnpaced) {
    lastError = ds_error::cannotChangeReferenceClock;
  }
  return true;
}

/// The worker thread: runs the graph until the file is complete.
void DSOutputAVIFile::runGraph(void* file) {
  Graph& graph = *static_cast<DSOutputAVIFile*>(file)->graph;
  QuilletThread();
  graph.startResult = graph.run();
  graph.graphStarted.set();
  if (graph.startResult == ds_error::success) {
    graph.result = graph.runToEnd();
  }
}

bool DSOutputAVIFile::close() {
  if (!requireOpened()) {
    return false;
  }
  if (!graph->worker.isStarted()) {
    lastError = ds_error::graphNotStarted;
    return false;
  }
  // Ends: the thread waits for nothing but the request and, after it, for the end of the graph, which comes in any case.
  graph->stopRequested.signalAndWait(graph->worker.ended());
  const bool isLost = graph->result == ds_error::success && !graph->hasArrived();
  lastError = isLost ? static_cast<int>(ds_error::writeError) : graph->result;
  // The thread stays known, for a write of another thread that is under way and may look for it.
  notOpened = true;
  return lastError == ds_error::success;
}

bool DSOutputAVIFile::writeFrame(long frame, unsigned char* data, long count, long bytes, bool key) {
  if (!requireRunning(true) ||
      !quillet::admit(*this, frame, data, count, bytes, quillet::uncompressedFrameSize(video->bmiHeader))) {
    return false;
  }
  const REFERENCE_TIME start = frame * video->AvgTimePerFrame;
  const REFERENCE_TIME stop = start + video->AvgTimePerFrame * count;
  if (graph->video.source->deliver(data, bytes, &start, &stop, key)) {
    lastError = ds_error::writeError;
    return false;
  }
  graph->video.written += static_cast<unsigned long>(bytes);
  nextFrame = frame + count;
  lastError = ds_error::success;
  return true;
}

bool DSOutputAVIFile::writeSample(long sample, unsigned char* data, long count, long bytes, bool key) {
  if (!requireRunning(false) ||
      !quillet::admit(*this, sample, data, count, bytes, quillet::bitsPerSample(*audio), quillet::bitsPerByte)) {
    return false;
  }
  const auto timeOf = [this](long long number) { return number * quillet::unitsPerSecond / audio->nSamplesPerSec; };
  const REFERENCE_TIME start = timeOf(sample);
  const REFERENCE_TIME stop = timeOf(static_cast<long long>(sample) + count);
  if (graph->audio.source->deliver(data, bytes, &start, &stop, key)) {
    lastError = ds_error::writeError;
    return false;
  }
  graph->audio.written += static_cast<unsigned long>(bytes);
  nextSample = sample + count;
  lastError = ds_error::success;
  return true;
}

/// Sets a code unless the file is open, has the stream and is being written.
bool DSOutputAVIFile::requireRunning(bool isVideo) {
  if (!requireStream(isVideo)) {
    return false;
  }
  if (!graph->worker.isStarted()) {
    lastError = ds_error::graphNotStarted;
  }
  return graph->worker.isStarted();
}

bool DSOutputAVIFile::canSetCompressor(bool isVideo) {
  const bool isSet = !notOpened && graph->stream(isVideo).compressor != nullptr;
  if (!requireUnsetCompressor(isVideo, isSet)) {
    return false;
  }
  lastError = ds_error::success;
  return true;
}

bool DSOutputAVIFile::setCompressor(bool isVideo, void* compressor) {
  if (!canSetCompressor(isVideo)) {
    return false;
  }
  lastError = quillet::guarded([&] {
    Graph::Stream& stream = graph->stream(isVideo);
    if (compressor != nullptr) {
      return graph->insertCompressor(stream, *static_cast<IMoniker*>(compressor),
                                     isVideo ? L"video compressor" : L"audio compressor");
    }
    return SUCCEEDED(graph->connectToMux(stream)) ? static_cast<int>(ds_error::success)
                                                  : ds_error::cannotConnectFilters;
  });
  if (lastError == ds_error::success && compressor == nullptr) {
    (isVideo ? compressVideo : compressAudio) = false;
  }
  return lastError == ds_error::success;
}

bool DSOutputAVIFile::isCompressorSet(bool isVideo) {
  return quillet::beginOperation(*this) && graph->stream(isVideo).compressor != nullptr;
}

bool DSOutputAVIFile::chooseCompressor(void* parentWindow, bool isVideo) {
  if (!canSetCompressor(isVideo)) {
    return false;
  }
  ComPtr<IMoniker> chosen;
  lastError = quillet::guarded([&] { return askForCompressor(static_cast<HWND>(parentWindow), isVideo, chosen); });
  return lastError == ds_error::success && setCompressor(isVideo, chosen.Get());
}

void DSOutputAVIFile::configureCompressor(void* parentWindow, bool isVideo) {
  if (!requireOpened()) {
    return;
  }
  const auto configure = isVideo ? quillet::configureVideoCompressor : quillet::configureAudioCompressor;
  lastError = quillet::guarded(
      [&] { return configure(static_cast<HWND>(parentWindow), graph->stream(isVideo).compressor.Get()); });
}

template <class Operation>
bool DSOutputAVIFile::Graph::withInterleaving(DSOutputAVIFile& file, Operation operation) {
  if (!file.requireOpened()) {
    return false;
  }
  ComPtr<IConfigInterleaving> interleaving;
  const bool isDone = SUCCEEDED(file.graph->mux.As(&interleaving)) && SUCCEEDED(operation(*interleaving.Get()));
  file.lastError = isDone ? ds_error::success : ds_error::noInterleavingProperties;
  return isDone;
}

bool DSOutputAVIFile::isAutomaticallyInterleaved() {
  InterleavingMode mode = INTERLEAVE_NONE;
  return Graph::withInterleaving(*this, [&](IConfigInterleaving& settings) { return settings.get_Mode(&mode); }) &&
         (mode == INTERLEAVE_CAPTURE || mode == INTERLEAVE_FULL);
}

long long DSOutputAVIFile::interleavingPeriod() {
  REFERENCE_TIME period = 0;
  REFERENCE_TIME preroll = 0;
  const bool isKnown = Graph::withInterleaving(
      *this, [&](IConfigInterleaving& settings) { return settings.get_Interleaving(&period, &preroll); });
  return isKnown ? period : 0;
}

bool DSOutputAVIFile::setAutomaticInterleaving(bool on) {
  return Graph::withInterleaving(
      *this, [on](IConfigInterleaving& settings) { return settings.put_Mode(on ? INTERLEAVE_FULL : INTERLEAVE_NONE); });
}

bool DSOutputAVIFile::setInterleavingPeriod(long long period) {
  const REFERENCE_TIME wanted = std::max(period, 1LL);
  REFERENCE_TIME before = 0;
  REFERENCE_TIME preroll = 0;
  const bool isSet = Graph::withInterleaving(*this, [&](IConfigInterleaving& settings) {
    const HRESULT result = settings.get_Interleaving(&before, &preroll);
    return SUCCEEDED(result) ? settings.put_Interleaving(&wanted, &preroll) : result;
  });
  if (isSet && !renegotiateAudioBuffer(true)) {
    Graph::withInterleaving(
        *this, [&](IConfigInterleaving& settings) { return settings.put_Interleaving(&before, &preroll); });
    lastError = ds_error::cannotChangeInterleavingPeriod;
  }
  return lastError == ds_error::success;
}

void DSOutputAVIFile::configureAVI(void* parentWindow) {
  const long long before = interleavingPeriod();
  if (lastError != ds_error::success) {
    return;
  }
  if (!graph->showMuxPages(static_cast<HWND>(parentWindow))) {
    lastError = ds_error::cannotDisplayDialog;
    return;
  }
  if (interleavingPeriod() != before) {
    renegotiateAudioBuffer(false);
  }
}

/// Adapts the audio buffers to the multiplexer's interleaving period, and has the audio source agree on their new size with
/// what it is connected to.
/// @param atOnce whether that must have happened when this returns.
bool DSOutputAVIFile::renegotiateAudioBuffer(bool atOnce) {
  if (audio == nullptr || lastError != ds_error::success) {
    return lastError == ds_error::success;
  }
  const long samples = graph->audioSamplesPerBuffer(*audio);
  const auto resize = atOnce ? &Graph::resizeAudioBuffer : &Graph::resizeAudioBufferLater;
  if (!((*graph).*resize)(static_cast<unsigned long>(samples))) {
    lastError = ds_error::cannotChangeInterleavingPeriod;
    return false;
  }
  bufferSamples = samples;
  return true;
}
