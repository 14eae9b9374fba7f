#include <quillet/ds_raw_data_source_stream.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <utility>

#include <dshow.h>

#include <quillet/error_codes.h>

#include "core/operation.h"
#include "core/owned.h"
#include "core/time_units.h"
#include "directshow/rawdata/data_sg_callback.h"
#include "directshow/rawdata/time_graph.h"
#include "directshow/source/progress_step.h"
#include "directshow/source/source_graph.h"
#include "formats/media_type.h"
#include "formats/usable_formats.h"
#include "formats/video_format.h"
#include "platform/guarded.h"
#include "ui/run_dialog.h"
#include "ui/source_tuning_dialog.h"

namespace ds_error = quillet::ds_error;

using quillet::CMediaType;
using quillet::DataSGCallback;
using quillet::roundedHalfUp;
using quillet::roundedQuotient;
using quillet::SampleRange;
using quillet::unitsPerSecond;

namespace {

constexpr long long unitsPerMs = unitsPerSecond / quillet::msPerSecond;

/// The number as the public interface has it.
long toLong(long long number) {
  using Limits = std::numeric_limits<long>;
  return static_cast<long>(std::clamp<long long>(number, Limits::min(), Limits::max()));
}

double toMs(long long units) {
  return static_cast<double>(units) / unitsPerMs;
}

/// The product of two numbers above 0, or the largest number when that is less.
long long saturatedProduct(long long a, long long b) {
  constexpr long long most = std::numeric_limits<long long>::max();
  return a <= most / b ? a * b : most;
}

unsigned char* handOut(const quillet::KeptSample& found, long& sample, long& samples, long& bytes, bool& key) {
  sample = toLong(found.start);
  samples = toLong(found.end - found.start);
  bytes = static_cast<long>(found.data.size());
  key = found.key;
  return const_cast<BYTE*>(found.data.data());
}

}  // namespace

/// What the reading of samples and the conversions work with.
struct DSRawDataSourceStream::Reader {
  DataSGCallback* callback = nullptr;  // The graph's.

  // Of audio only.
  long long bytesPerSecond = 0;
  long blockAlign = 0;

  int stepBack = 1;
  int growth = 2;

  // Made when the first conversion asks for them: from numbers to times, and back.
  std::unique_ptr<TimeGraph> bySample;
  std::unique_ptr<TimeGraph> byTime;

  bool isAudio() const { return callback->numbering.isAudio(); }

  long long position(long sample, long length) const;
  long long lookAhead(int quickDecode) const;
  long long step() const;
  long long nextStep(long long step) const;

  const quillet::KeptSample* readNext(DSRawDataSourceStream& stream) const;
  const quillet::KeptSample* search(DSRawDataSourceStream& stream, long sample, bool keyWanted) const;

  template <class Callback>
  int countTo(long long target, std::unique_ptr<TimeGraph>& timeGraph, const Graph& dataGraph) const;
};

/// Where to seek to for a sample, in units of 100 ns: of video, to the middle of the frame, for the seek not to land in the
/// one before; in the last frame, whose middle may be beyond the stream, to just before its start.
long long DSRawDataSourceStream::Reader::position(long sample, long length) const {
  const quillet::SampleNumbering& numbering = callback->numbering;
  const long long time = numbering.timeOf(sample);
  if (isAudio()) {
    return time;
  }
  return sample == length - 1 ? std::max(time - 1, 0LL) : time + numbering.frameTime() / 2;
}

/// The samples that it is quicker to read than to seek over.
long long DSRawDataSourceStream::Reader::lookAhead(int quickDecode) const {
  const long long count = quickDecode;
  return isAudio() ? count * callback->lastSize() / blockAlign : count;
}

/// The first step back, in units of 100 ns.
long long DSRawDataSourceStream::Reader::step() const {
  if (!isAudio()) {
    return saturatedProduct(stepBack, callback->numbering.frameTime());
  }
  const long size = callback->lastSize();
  const long long bytes = size > 0 ? size : stepBack;
  return std::max((bytes * unitsPerSecond + bytesPerSecond / 2) / bytesPerSecond, 1LL);
}

/// The step that follows `step`: a growing one, for streams with large gaps not to be searched block by block.
long long DSRawDataSourceStream::Reader::nextStep(long long step) const {
  const long long grown = saturatedProduct(step, growth);
  return isAudio() ? std::max(this->step(), grown) : grown;
}

/// Has the samples counted up to `target`, by a graph that is made when there is none.
/// @return a ds_error code.
template <class Callback>
int DSRawDataSourceStream::Reader::countTo(long long target, std::unique_ptr<TimeGraph>& timeGraph,
                                           const Graph& dataGraph) const {
  if (timeGraph == nullptr) {
    auto made = std::make_unique<TimeGraph>();
    if (const int error = made->open(dataGraph, std::make_unique<Callback>(callback->numbering))) {
      return error;
    }
    timeGraph = std::move(made);
  }
  if (const int error = timeGraph->advanceTo(target)) {
    return error;
  }
  const quillet::TimeSGCallback& counter = timeGraph->counter();
  return counter.isRough() || counter.hasCounted() ? ds_error::success : ds_error::dataNotFound;
}

DSRawDataSourceStream* DSRawDataSourceStream::open(const wchar_t* fileName, bool video, int streamIndex,
                                                   QuilletNotification* notification) {
  auto* const stream = new (std::nothrow) DSRawDataSourceStream;
  quillet::openNew(stream, notification, [&] { return stream->openSource(fileName, video, streamIndex); });
  if (stream != nullptr && !stream->notOpened) {
    stream->keySample = stream->_firstKeySample(!video);  // The stream stays open without one.
  }
  return stream;
}

DSRawDataSourceStream::~DSRawDataSourceStream() {
  shutDown();  // First: the reader is destroyed after it, and the graph, which is the base class's, at the end.
}

int DSRawDataSourceStream::openSource(const wchar_t* fileName, bool video, int streamIndex) {
  graph.reset(new Graph);
  reader.reset(new Reader);
  CMediaType type;
  if (const int error =
          graph->build(fileName, {video ? MEDIATYPE_Video : MEDIATYPE_Audio, GUID_NULL, streamIndex}, type)) {
    return error;
  }
  if (const int error = graph->queryInterfaces()) {
    return error;
  }
  graph->filters.removeClock();  // With a clock the stream only plays at its own speed; that is no error.
  auto callback = std::make_unique<DataSGCallback>();
  reader->callback = callback.get();
  graph->installCallback(std::move(callback));
  if (const int error = graph->runner.requireEvents()) {
    return error;
  }
  if (const int error = video ? measureVideo(type) : measureAudio(type)) {
    return error;
  }
  setSteps(0, 0);
  type.copyTo(mediaType);  // Last: the base frees it only when the stream is open.
  return ds_error::success;
}

/// Finds the length of an audio stream: of PCM from its duration, otherwise by playing it.
int DSRawDataSourceStream::measureAudio(const AM_MEDIA_TYPE& type) {
  if (type.formattype != FORMAT_WaveFormatEx || type.pbFormat == nullptr || type.cbFormat < sizeof(PCMWAVEFORMAT)) {
    return ds_error::unusableAudioFormat;
  }
  const auto& format = *reinterpret_cast<const WAVEFORMATEX*>(type.pbFormat);
  if (!quillet::isUsable(format, type.cbFormat)) {
    return ds_error::unusableAudioFormat;
  }
  reader->callback->numbering = quillet::SampleNumbering(type);
  reader->blockAlign = std::max<long>(format.nBlockAlign, 1);
  // Formats without a fixed rate of bytes may tell none: then as if a sample were a byte.
  reader->bytesPerSecond = format.nAvgBytesPerSec != 0 ? format.nAvgBytesPerSec : format.nSamplesPerSec;

  if (format.wFormatTag == WAVE_FORMAT_PCM) {
    length = roundedHalfUp<long>(static_cast<double>(graph->duration) / unitsPerSecond * format.nSamplesPerSec);
    return ds_error::success;
  }
  if (const int error = parseStream(true, ds_error::undeterminedSamplesNumber)) {
    return error;
  }
  if (reader->callback->parsedEnd() < 1) {
    return ds_error::undeterminedSamplesNumber;
  }
  length = toLong(reader->callback->parsedEnd());
  // The splitter may have underestimated what it has not seen; a seek must reach it.
  graph->duration = std::max(graph->duration, reader->callback->parsedEndTime());
  return ds_error::success;
}

/// Finds the length of a video stream: from its duration when the format tells the time per frame, otherwise by playing it,
/// which gives that time, too.
int DSRawDataSourceStream::measureVideo(const AM_MEDIA_TYPE& type) {
  if (!quillet::tellsTimePerFrame(type)) {
    return ds_error::cannotRetrieveFrameRate;
  }
  if (!quillet::tellsUsableFrames(type)) {
    return ds_error::improperStreamFormat;
  }
  long long frameTime = quillet::timePerFrame(type);
  if (frameTime > 0) {
    length = toLong(roundedQuotient(graph->duration, frameTime));
  } else {
    const DataSGCallback& callback = *reader->callback;
    if (const int error = parseStream(false, ds_error::cannotRetrieveFrameRate)) {
      return error;
    }
    if (callback.sampleCount < 2 || callback.lastTime <= 0.0) {
      return ds_error::cannotRetrieveFrameRate;
    }
    length = callback.sampleCount;
    frameTime = std::max(roundedHalfUp<long long>(callback.lastTime * unitsPerSecond) / (length - 1), 1LL);
    graph->duration = length * frameTime;
    quillet::setTimePerFrame(type, frameTime);
  }
  reader->callback->numbering = quillet::SampleNumbering(type);
  reader->callback->samplePeriod = static_cast<double>(frameTime) / unitsPerSecond;
  return ds_error::success;
}

long DSRawDataSourceStream::_firstKeySample(bool) {
  if (!quillet::beginOperation(*this)) {
    return -1;
  }
  reader->callback->takeEach(false);
  if (!seek(0, false)) {
    lastError = ds_error::cannotRewind;
    return -1;
  }
  // Ends also without a key sample: run() comes back at the end of the stream.
  DataSGCallback& callback = *reader->callback;
  callback.searchKey(true);
  run();
  settle(graph->runner.stop());
  callback.searchKey(false);
  if (lastError == ds_error::success && callback.firstKeySample() == -1) {
    lastError = ds_error::noKeySampleInStream;
  }
  return toLong(callback.firstKeySample());
}

VIDEOINFOHEADER* DSRawDataSourceStream::videoInfo(VIDEOINFOHEADER& info) {
  if (!requireOpened() || reader->isAudio()) {
    return nullptr;
  }
  const bool isStored = quillet::storeVideoInfo(mediaType, info);
  lastError = isStored ? ds_error::success : ds_error::cannotStoreVideoInfo;
  return isStored ? &info : nullptr;
}

void DSRawDataSourceStream::config(int quickDecode, int stepBack, int growth) {
  if (requireOpened()) {
    DSSourceStream::config(quickDecode);
    setSteps(stepBack, growth);
  }
}

/// Sets how to go back, or the defaults for what is below 1.
void DSRawDataSourceStream::setSteps(int stepBack, int growth) {
  const int defaultStepBack = reader->isAudio() ? 1024 : graph->quickDecodeThreshold;
  reader->stepBack = stepBack > 0 ? stepBack : defaultStepBack;
  reader->growth = growth > 0 ? growth : 2;
}

void DSRawDataSourceStream::configure(void* parentWindow) {
  if (!requireOpened()) {
    return;
  }
  auto* const parent = static_cast<HWND>(parentWindow);
  quillet::FrameSearchTuning tuning = {{graph->quickDecodeThreshold, reader->stepBack}, reader->growth};
  // The dialog of audio streams knows no growth.
  const INT_PTR result = reader->isAudio()
                             ? quillet::showSourceTuningDialog(parent, static_cast<quillet::SearchTuning&>(tuning))
                             : quillet::showSourceTuningDialog(parent, tuning);
  if (result == IDOK) {
    config(tuning.quickDecode, tuning.stepBack, tuning.growthRatio);
  }
  lastError = quillet::codeOf(result, ds_error::success, ds_error::cannotDisplayDialog);
}

unsigned char* DSRawDataSourceStream::getData(long& sample, long& samples, long& bytes, bool& key) {
  if (!quillet::beginOperation(*this)) {
    return nullptr;
  }
  if (sample < 0 || sample >= length) {
    lastError = ds_error::parameterOutOfRange;
    return nullptr;
  }
  DataSGCallback& callback = *reader->callback;
  if (callback.takesEach()) {
    callback.takeEach(false);  // Nothing is kept then, so that the search begins with a seek.
  }
  const quillet::KeptSample* found = callback.find(sample, key);
  if (found == nullptr) {
    found = reader->search(*this, sample, key);
  }
  return found != nullptr ? handOut(*found, sample, samples, bytes, key) : nullptr;
}

unsigned char* DSRawDataSourceStream::getNextData(long& sample, long& samples, long& bytes, bool& key, double& ms) {
  if (!quillet::beginOperation(*this)) {
    return nullptr;
  }
  const quillet::KeptSample* const found = reader->readNext(*this);
  if (found == nullptr) {
    reader->callback->takeEach(false);
    return nullptr;
  }
  ms = found->startTime != SampleRange::unknown ? toMs(found->startTime) : -1.0;
  return handOut(*found, sample, samples, bytes, key);
}

/// Has the graph deliver one sample more, from the stream's start when it was not read in order before.
/// @return null on failure, and at the end.
const quillet::KeptSample* DSRawDataSourceStream::Reader::readNext(DSRawDataSourceStream& stream) const {
  const bool isFirst = !callback->takesEach();
  if (isFirst) {
    callback->takeEach(true);
    // Not seek(), which lets the graph play no farther than the duration, even where the stream goes on.
    stream.settle(stream.graph->runner.rewind());
  }
  if (const quillet::KeptSample* const behind = callback->shift()) {
    return behind;
  }
  if (stream.lastError != ds_error::success || !stream.run()) {
    return nullptr;
  }
  if (callback->outOfMemory()) {
    stream.lastError = ds_error::notEnoughMemory;
    return nullptr;
  }
  if (stream.graph->runner.isHolding()) {
    return callback->heldNext();
  }
  const quillet::KeptSample* const last = callback->lastOfAll(stream.length);
  if (last == nullptr) {
    stream.lastError = ds_error::sampleBeyondData;
  }
  return last;
}

/// Has the graph deliver a sample: from where it holds when that is near, else after a seek, and from further back while the
/// stream has nothing at that place.
/// @return null on failure.
const quillet::KeptSample* DSRawDataSourceStream::Reader::search(DSRawDataSourceStream& stream, long sample,
                                                                 bool keyWanted) const {
  const long long lookAhead = this->lookAhead(stream.graph->quickDecodeThreshold);
  bool seeking = keyWanted || !stream.graph->runner.isHolding() || callback->isFarFrom(sample, lookAhead);
  long long position = this->position(sample, stream.length);
  long long step = this->step();
  callback->want(sample);
  // Ends: every turn begins farther back than the one before, and the one that begins at the start is the last.
  for (;;) {
    callback->rotate(seeking);
    if ((seeking && !stream.seek(position, keyWanted)) || !stream.run()) {
      callback->rotate(true);  // What was kept does not end where the stream broke off.
      return nullptr;
    }
    if (callback->outOfMemory()) {
      stream.lastError = ds_error::notEnoughMemory;
      return nullptr;
    }
    bool isBeyond = false;
    if (const quillet::KeptSample* const found = stream.graph->runner.isHolding()
                                                     ? callback->findHeld(keyWanted)
                                                     : callback->findAtEnd(keyWanted, stream.length, isBeyond)) {
      stream.lastError = isBeyond ? ds_error::sampleBeyondData : ds_error::success;
      return found;
    }
    if (position == 0 || (!keyWanted && callback->hasPassedOver())) {
      stream.lastError = keyWanted ? ds_error::noPrecedingKeySample : ds_error::dataNotFound;
      return nullptr;
    }
    position = std::max(position - step, 0LL);
    step = nextStep(step);
    seeking = true;
    if (!stream.settle(quillet::reportStep(stream.notification, 2))) {
      return nullptr;
    }
  }
}

double DSRawDataSourceStream::StreamSampleToTime(long& sample) {
  if (!requireOpened()) {
    return -1.0;
  }
  lastError =
      quillet::guarded([&] { return reader->countTo<quillet::TimeSGCallback1>(sample, reader->bySample, *graph); });
  if (lastError != ds_error::success) {
    return -1.0;
  }
  const quillet::TimeSGCallback& counter = reader->bySample->counter();
  if (counter.isRough()) {
    lastError = sample >= 0 ? ds_error::roughConversion : ds_error::parameterOutOfRange;
    return sample >= 0 ? sample * toMs(graph->duration) / std::max(length, 1L) : -1.0;
  }
  if (counter.isAhead(sample)) {
    return toMs(graph->duration);
  }
  const SampleRange& range = counter.lastRange();
  if (sample < range.start) {
    lastError = ds_error::nextSampleTimeReturned;
    sample = toLong(range.start);
  }
  return toMs(range.timeOf(sample));
}

long DSRawDataSourceStream::StreamTimeToSample(double& ms) {
  if (!requireOpened()) {
    return -1;
  }
  if (std::isnan(ms)) {
    lastError = ds_error::parameterOutOfRange;
    return -1;
  }
  const auto time = roundedHalfUp<long long>(ms * unitsPerMs);
  lastError = quillet::guarded([&] { return reader->countTo<quillet::TimeSGCallback2>(time, reader->byTime, *graph); });
  if (lastError != ds_error::success) {
    return -1;
  }
  const quillet::TimeSGCallback& counter = reader->byTime->counter();
  if (counter.isRough()) {
    const double sample = ms * length / std::max(toMs(graph->duration), 1.0 / unitsPerMs);
    const bool isKnown = quillet::isWithinStreams(sample);
    lastError = isKnown ? ds_error::roughConversion : ds_error::parameterOutOfRange;
    return isKnown ? roundedHalfUp<long>(sample) : -1;
  }
  if (counter.isAhead(time)) {
    return length;
  }
  const SampleRange& range = counter.lastRange();
  const long long found = range.sampleAt(time);
  if (range.timeOf(found) > time) {
    lastError = ds_error::laterSampleReturned;
    ms = toMs(range.timeOf(found));
  }
  return toLong(found);
}
