#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include <dshow.h>
#include <wrl/client.h>

#include <quillet/ds_audio_source_stream.h>
#include <quillet/error_codes.h>

#include "core/operation.h"
#include "core/owned.h"
#include "core/time_units.h"
#include "directshow/graph/pins.h"
#include "directshow/source/audio_sg_callback.h"
#include "directshow/source/progress_step.h"
#include "directshow/source/source_graph.h"
#include "formats/media_type.h"
#include "formats/silence.h"
#include "formats/usable_formats.h"
#include "platform/guarded.h"
#include "ui/run_dialog.h"
#include "ui/source_tuning_dialog.h"

namespace ds_error = quillet::ds_error;

using Microsoft::WRL::ComPtr;
using quillet::roundedHalfUp;
using quillet::unitsPerSecond;

namespace {

constexpr long unknownEnd = std::numeric_limits<long>::max();

/// How many steps before the wanted sample a seek goes, for the decoder to know by then what it knows when it reads in
/// order. A step is about a block.
constexpr int prerollSteps = 8;

/// Whether samples may be decoded on their way to the grabber: unless PCM comes all the way. A splitter that is given a
/// file's bytes may decode them, too, which nobody can see.
bool comesDecoded(IPin* grabberInput) {
  ComPtr<IPin> input = grabberInput;
  // Ends: at the filter that reads the file; a graph has no circles.
  while (input != nullptr) {
    quillet::CMediaType type;
    if (FAILED(input->ConnectionMediaType(&type))) {
      return false;
    }
    if (!IsEqualGUID(type.majortype, MEDIATYPE_Audio) || !IsEqualGUID(type.subtype, MEDIASUBTYPE_PCM)) {
      return true;
    }
    const ComPtr<IPin> output = quillet::peerOf(input.Get());
    const ComPtr<IBaseFilter> filter = output != nullptr ? quillet::filterOf(output.Get()) : nullptr;
    input = filter != nullptr ? quillet::firstConnectedPin(filter.Get(), PINDIR_INPUT) : nullptr;
  }
  return false;
}

/// Whether the format is the extended form of integer PCM. One that is cut off before its kind can only be that: the grabber
/// lets nothing else through.
bool isExtendedPcm(const quillet::CMediaType& type) {
  const auto& format = *reinterpret_cast<const WAVEFORMATEXTENSIBLE*>(type.pbFormat);
  return format.Format.wFormatTag == WAVE_FORMAT_EXTENSIBLE &&
         (type.cbFormat < sizeof format || IsEqualGUID(format.SubFormat, MEDIASUBTYPE_PCM));
}

}  // namespace

/// What became of the attempt to read a run.
enum class DSAudioSourceStream::Reading {
  complete,
  gap,        ///< The run begins in a gap, up to the sample that the callback names.
  lateStart,  ///< The run begins before the stream does.
  failed,
};

/// The run returned last, and what was learnt about the stream.
struct DSAudioSourceStream::Search {
  quillet::AudioSGCallback* callback = nullptr;  // The graph's.

  std::unique_ptr<BYTE[]> runBuffer;
  long runCapacity = 0;  // Samples.
  long cachedFirst = 0;  // The run that the buffer holds; none while cachedLast is -1.
  long cachedLast = -1;
  bool cachedShifted = false;  // The run began in a gap: its samples are not those of their numbers.

  // The last sample that the stream really has, once a run came out short; silence follows.
  long endOfData = unknownEnd;
  bool startsLate = false;  // Not even the start of the stream had a sample that was asked for.
  long dataStart = 0;       // The first sample that this run can have: before it the stream has none.
  bool isDecoded = false;   // Decoders remember: after a seek something has to pass.
  int stepBack = 1024;      // Samples; used while the size of a block is unknown.

  bool hasCached(long first, long last) const {
    return cachedShifted ? first == cachedFirst && last == cachedLast : first >= cachedFirst && last <= cachedLast;
  }
};

DSAudioSourceStream* DSAudioSourceStream::open(const wchar_t* fileName, int streamNumber,
                                               QuilletNotification* notification) {
  auto* const stream = new (std::nothrow) DSAudioSourceStream;
  return quillet::openNew(stream, notification, [&] { return stream->openSource(fileName, streamNumber); });
}

DSAudioSourceStream::~DSAudioSourceStream() {
  shutDown();  // First: the search is destroyed after it, and the graph, which is the base class's, at the end.
}

int DSAudioSourceStream::openSource(const wchar_t* fileName, int streamNumber) {
  graph.reset(new Graph);
  search.reset(new Search);
  quillet::CMediaType type;
  if (const int error = graph->build(fileName, {MEDIATYPE_Audio, MEDIASUBTYPE_PCM, streamNumber}, type)) {
    return error;
  }
  if (type.formattype != FORMAT_WaveFormatEx || type.pbFormat == nullptr || type.cbFormat < sizeof(PCMWAVEFORMAT)) {
    return ds_error::improperStreamFormat;
  }
  std::memcpy(&waveFormat, type.pbFormat, std::min<std::size_t>(type.cbFormat, sizeof waveFormat));
  const bool isPcm = waveFormat.wFormatTag == WAVE_FORMAT_PCM || isExtendedPcm(type);
  // The record is kept whole: without the extension, which tells of channels what their order tells as well.
  waveFormat.wFormatTag = WAVE_FORMAT_PCM;
  waveFormat.cbSize = 0;
  if (!isPcm || !quillet::isUsable(waveFormat, sizeof waveFormat)) {
    return ds_error::improperStreamFormat;
  }
  if (const int error = graph->queryInterfaces()) {
    return error;
  }
  search->isDecoded = comesDecoded(graph->grabberInput.Get());
  length = roundedHalfUp<long>(static_cast<double>(graph->duration) / unitsPerSecond * waveFormat.nSamplesPerSec);
  auto callback =
      std::make_unique<quillet::AudioSGCallback>(static_cast<int>(waveFormat.nSamplesPerSec), waveFormat.nBlockAlign);
  search->callback = callback.get();
  graph->installCallback(std::move(callback));
  if (const int error = graph->runner.requireEvents()) {
    return error;
  }
  return graph->filters.removeClock() ? ds_error::success : ds_error::cannotChangeReferenceClock;
}

unsigned char* DSAudioSourceStream::getSamples(long first, long last) {
  if (!requireOpened()) {
    return nullptr;
  }
  if (first < 0 || first >= length || last < 0 || last >= length || last < first) {
    lastError = ds_error::parameterOutOfRange;
    return nullptr;
  }
  lastError = quillet::guarded([&] { return reserveRun(last - first + 1); });
  if (lastError != ds_error::success) {
    return nullptr;
  }
  if (search->hasCached(first, last)) {
    return search->runBuffer.get() + static_cast<std::size_t>(first - search->cachedFirst) * waveFormat.nBlockAlign;
  }
  search->cachedFirst = first;
  search->cachedLast = -1;
  search->cachedShifted = false;
  const quillet::AudioSGCallback& callback = *search->callback;
  if (first > search->endOfData && !callback.blockHolds(first)) {
    return silentRun(last);
  }
  search->dataStart = search->startsLate ? callback.lowestFirst : 0;
  Reading reading = readRun(first, last);
  // Ends: each round reads from a later sample than the one before, and none reads beyond `last`. Only the first round
  // in the stream's life that meets a late start may be repeated as it was.
  while (reading == Reading::gap || reading == Reading::lateStart) {
    if (reading == Reading::lateStart) {
      // A stream that is known to start late may come with other times after another seek.
      search->dataStart = search->startsLate ? callback.firstAvailable : callback.lowestFirst;
      search->startsLate = true;
    } else {
      // Kept for clients (see CONTRIBUTING.md): the samples after a gap go to the start of the run, with silence
      // behind.
      first = callback.firstAvailable;
      silentRun(last);
      if (last < first) {
        return search->runBuffer.get();
      }
      search->cachedShifted = true;
    }
    reading = readRun(first, last);
  }
  search->cachedLast = reading == Reading::complete ? last : -1;
  return reading == Reading::complete ? search->runBuffer.get() : nullptr;
}

/// Reads samples `first` to `last` to the start of the run buffer: from the block that the callback keeps, and from the
/// graph.
DSAudioSourceStream::Reading DSAudioSourceStream::readRun(long first, long last) {
  quillet::AudioSGCallback& callback = *search->callback;
  const std::size_t sampleSize = waveFormat.nBlockAlign;
  BYTE* destination = search->runBuffer.get();
  if (first < search->dataStart) {
    if (last < search->dataStart) {
      silentRun(last);
      return Reading::complete;
    }
    const std::size_t silence = (search->dataStart - first) * sampleSize;
    std::memset(destination, quillet::silenceOf(waveFormat), silence);
    destination += silence;
    first = search->dataStart;
  }
  if (callback.blockHolds(first)) {
    const long inBlock = std::min<long>(callback.blockLast, last) - first + 1;
    std::memcpy(destination, callback.blockFrom(first), inBlock * sampleSize);
    if (callback.blockLast >= last) {
      return Reading::complete;
    }
    destination += inBlock * sampleSize;
    first = callback.blockLast + 1;
  }
  // What the stream does not deliver is silent.
  std::memset(destination, quillet::silenceOf(waveFormat), (last - first + 1) * sampleSize);
  callback.destination = destination;
  callback.start = first;
  callback.end = last;
  callback.overlap = false;
  return fetchRun() ? concludeRun(last) : Reading::failed;
}

/// Makes room for `count` samples in the run buffer; a new buffer holds no run.
int DSAudioSourceStream::reserveRun(long count) {
  if (search->runBuffer != nullptr && search->runCapacity >= count) {
    return ds_error::success;
  }
  const std::int64_t bytes = std::int64_t{count} * waveFormat.nBlockAlign;
  if (bytes > std::numeric_limits<long>::max()) {
    return ds_error::notEnoughMemory;
  }
  search->cachedLast = -1;
  search->runBuffer.reset();
  search->runBuffer.reset(new BYTE[static_cast<std::size_t>(bytes)]);
  search->runCapacity = count;
  return ds_error::success;
}

/// Makes the whole run, up to `last`, silent.
unsigned char* DSAudioSourceStream::silentRun(long last) {
  BYTE* const run = search->runBuffer.get();
  std::memset(run, quillet::silenceOf(waveFormat),
              static_cast<std::size_t>(last - search->cachedFirst + 1) * waveFormat.nBlockAlign);
  search->cachedLast = last;
  return run;
}

/// Has the graph deliver the run that was asked of the callback: from where it holds when that is near, else after a seek,
/// and from further back while the first block comes too late.
bool DSAudioSourceStream::fetchRun() {
  const quillet::AudioSGCallback& callback = *search->callback;
  const long long preroll = search->isDecoded ? static_cast<long long>(prerollSteps) * search->stepBack : 0;
  long long position = std::max(callback.start - preroll, 0LL) * unitsPerSecond / waveFormat.nSamplesPerSec;

  // What would pass after a seek as well is no loss.
  const long long quickBytes = static_cast<long long>(graph->quickDecodeThreshold) * callback.blockBytes;
  const long long reach = callback.blockLast + 1 + quickBytes / waveFormat.nBlockAlign + preroll;
  // A block that came late is held, but not kept: running on would lose it.
  const bool isNear = callback.hasReceivedBlock() && graph->runner.isHolding() && !callback.late &&
                      callback.start > callback.blockLast && callback.start <= reach;
  bool hasSought = !isNear;
  if (hasSought && !seekBlocks(position)) {
    return false;
  }
  if (!runToBlock()) {
    return false;
  }
  // Ends at the start of the stream at the latest: every step goes back.
  while ((position != 0 || !hasSought) && callback.late && !callback.before) {
    position = std::max(position - stepBackUnits(), 0LL);
    hasSought = true;
    if (!settle(quillet::reportStep(notification, 2)) || !seekBlocks(position) || !runToBlock()) {
      return false;
    }
  }
  return true;
}

/// Seeks, to `position` in units of 100 ns: the blocks that come then are numbered anew.
bool DSAudioSourceStream::seekBlocks(long long position) {
  const bool isThere = seek(position, false);
  search->callback->seeked();
  return isThere;
}

/// Lets the graph run until the callback has decided on the run.
bool DSAudioSourceStream::runToBlock() {
  quillet::AudioSGCallback& callback = *search->callback;
  callback.late = false;
  callback.before = false;
  callback.outOfMemory = false;
  if (!run()) {
    return false;
  }
  if (callback.outOfMemory) {
    lastError = ds_error::notEnoughMemory;
  }
  return !callback.outOfMemory;
}

/// One step back, in units of 100 ns: the duration of the last block or, while there was none, the step set by config().
long long DSAudioSourceStream::stepBackUnits() const {
  const quillet::AudioSGCallback& callback = *search->callback;
  const bool knowsBlock = callback.hasReceivedBlock() && callback.blockBytes > 0 && waveFormat.nAvgBytesPerSec > 0;
  const long long units = knowsBlock ? callback.blockBytes * unitsPerSecond / waveFormat.nAvgBytesPerSec
                                     : search->stepBack * unitsPerSecond / waveFormat.nSamplesPerSec;
  return std::max(units, 1LL);
}

/// Completes a run that the graph was made to deliver, with silence where it has none.
DSAudioSourceStream::Reading DSAudioSourceStream::concludeRun(long last) {
  const quillet::AudioSGCallback& callback = *search->callback;
  if (!callback.late) {
    const long filledUpTo = callback.overlap ? callback.filledUpTo : callback.start - 1;
    if (filledUpTo < last) {
      // Was made silent before, unless blocks have come out of order.
      const std::size_t filled = static_cast<std::size_t>(filledUpTo + 1 - callback.start) * waveFormat.nBlockAlign;
      const std::size_t rest = static_cast<std::size_t>(last - filledUpTo) * waveFormat.nBlockAlign;
      std::memset(callback.destination + filled, quillet::silenceOf(waveFormat), rest);
      learnEnd(filledUpTo);
    }
    return Reading::complete;
  }
  if (callback.before) {
    return Reading::gap;
  }
  // Not even the start of the stream has the sample: its audio starts later.
  if (!search->startsLate || callback.firstAvailable <= last) {
    return Reading::lateStart;
  }
  // The stream does not deliver again what it has delivered.
  lastError = ds_error::noFrameFound;
  return Reading::failed;
}

/// Takes `filledUpTo` for the last sample of the stream, but only when the run came out short because the stream has
/// ended: it might also have met a gap.
void DSAudioSourceStream::learnEnd(long filledUpTo) {
  if (!graph->runner.hasEnded()) {
    return;
  }
  // Continued numbers may lag behind the times, by which the samples are found after a seek.
  const long end = search->callback->overlap ? std::max<long>(filledUpTo, search->callback->nextStamp - 1) : filledUpTo;
  search->endOfData = search->endOfData == unknownEnd ? end : std::max(search->endOfData, end);
}

void DSAudioSourceStream::config(int quickDecode, int stepBack) {
  if (!requireOpened()) {
    return;
  }
  DSSourceStream::config(quickDecode);
  search->stepBack = stepBack > 0 ? stepBack : 1024;
}

void DSAudioSourceStream::configure(void* parentWindow) {
  if (!requireOpened()) {
    return;
  }
  quillet::SearchTuning tuning = {graph->quickDecodeThreshold, search->stepBack};
  const INT_PTR result = quillet::showSourceTuningDialog(static_cast<HWND>(parentWindow), tuning);
  if (result == IDOK) {
    config(tuning.quickDecode, tuning.stepBack);
  }
  lastError = quillet::codeOf(result, ds_error::success, ds_error::cannotDisplayDialog);
}

double DSAudioSourceStream::StreamSampleToTime(long& sample) {
  if (!requireOpened()) {
    return -1.0;
  }
  lastError = sample >= 0 ? ds_error::success : ds_error::parameterOutOfRange;
  return sample >= 0 ? sample * static_cast<double>(quillet::msPerSecond) / waveFormat.nSamplesPerSec : -1.0;
}

long DSAudioSourceStream::StreamTimeToSample(double& time) {
  if (!requireOpened()) {
    return -1;
  }
  const long sample = quillet::sampleAtMs(time, waveFormat.nSamplesPerSec);
  lastError = sample != -1 ? ds_error::success : ds_error::parameterOutOfRange;
  return sample;
}
