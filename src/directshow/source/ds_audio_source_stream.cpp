#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <utility>

#include <dshow.h>

#include <quillet/ds_source_stream.h>
#include <quillet/error_codes.h>

#include "core/guarded.h"
#include "core/open_new.h"
#include "core/time_units.h"
#include "directshow/base/c_media_type.h"
#include "directshow/graph/dialog_code.h"
#include "directshow/source/audio_sg_callback.h"
#include "directshow/source/source_graph.h"
#include "ui/source_tuning_dialog.h"

namespace ds_error = quillet::ds_error;

using quillet::roundedHalfUp;
using quillet::unitsPerSecond;

/// The run returned last, and what was learnt about the stream.
struct DSAudioSourceStream::Search {
  quillet::AudioSGCallback* callback = nullptr;  // The graph's.

  std::unique_ptr<BYTE[]> runBuffer;
  long runCapacity = 0;  // Samples.
  long cachedFirst = 0;  // The run that the buffer holds; none while cachedLast is -1.
  long cachedLast = -1;

  // The last sample that the stream really has, once a run came out short; silence follows.
  long endOfData = std::numeric_limits<long>::max();
  int stepBack = 1024;          // Samples; used while the size of a block is unknown.
  bool retriedAtStart = false;  // A request was tried again from the first sample that the stream has.
  bool retryAfterGap = false;   // The next request is tried again from the end of a gap.
};

DSAudioSourceStream* DSAudioSourceStream::open(const char* fileName, int streamNumber,
                                               QuilletNotification* notification) {
  auto* const stream = new (std::nothrow) DSAudioSourceStream;
  return openNew(stream, notification, [&] { return stream->openSource(fileName, streamNumber); });
}

DSAudioSourceStream::~DSAudioSourceStream() {
  shutDown();
  delete search;
}

int DSAudioSourceStream::openSource(const char* fileName, int streamNumber) {
  graph = new Graph;
  search = new Search;
  if (const int error = graph->build(fileName, {MEDIATYPE_Audio, MEDIASUBTYPE_PCM, streamNumber})) {
    return error;
  }
  quillet::CMediaType type;
  if (const int error = graph->readConnectionType(type)) {
    return error;
  }
  if (type.formattype != FORMAT_WaveFormatEx || type.pbFormat == nullptr || type.cbFormat < sizeof(PCMWAVEFORMAT)) {
    return ds_error::improperStreamFormat;
  }
  std::memcpy(&waveFormat, type.pbFormat, std::min<std::size_t>(type.cbFormat, sizeof waveFormat));
  const bool isPcm = waveFormat.wFormatTag == WAVE_FORMAT_PCM || waveFormat.wFormatTag == WAVE_FORMAT_EXTENSIBLE;
  const bool hasRate = waveFormat.nSamplesPerSec > 0 && waveFormat.nSamplesPerSec <= std::numeric_limits<int>::max();
  if (!isPcm || !hasRate || waveFormat.nBlockAlign == 0) {
    return ds_error::improperStreamFormat;
  }
  if (const int error = graph->querySeeking()) {
    return error;
  }
  length = roundedHalfUp<long>(static_cast<double>(graph->duration) / unitsPerSecond * waveFormat.nSamplesPerSec);
  if (const int error = graph->graph.queryControl()) {
    return error;
  }
  auto callback =
      std::make_unique<quillet::AudioSGCallback>(static_cast<int>(waveFormat.nSamplesPerSec), waveFormat.nBlockAlign);
  search->callback = callback.get();
  graph->installCallback(std::move(callback));
  if (const int error = graph->createEvents()) {
    return error;
  }
  return graph->graph.removeClock() ? ds_error::success : ds_error::cannotChangeReferenceClock;
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
  const std::size_t sampleSize = waveFormat.nBlockAlign;
  BYTE* const run = search->runBuffer.get();
  if (first >= search->cachedFirst && last <= search->cachedLast) {
    return run + (first - search->cachedFirst) * sampleSize;
  }
  search->cachedFirst = first;
  search->cachedLast = -1;
  const bool isGapRetry = std::exchange(search->retryAfterGap, false);
  if (first > search->endOfData) {
    return silentRun(last);
  }
  quillet::AudioSGCallback& callback = *search->callback;
  BYTE* destination = run;
  if (isGapRetry) {
    // The samples after a gap go to the start of the run, with silence behind them: kept so on purpose.
    silentRun(last);
    if (last < callback.firstAvailable) {
      return run;
    }
    search->cachedLast = -1;
    first = callback.firstAvailable;
  }
  if (search->retriedAtStart && first < callback.lowestFirst) {
    if (last < callback.lowestFirst) {
      return silentRun(last);
    }
    const std::size_t silence = (callback.lowestFirst - first) * sampleSize;
    std::memset(destination, 0, silence);
    destination += silence;
    first = callback.lowestFirst;
  }
  if (callback.blockHolds(first)) {
    const long inBlock = std::min<long>(callback.blockLast, last) - first + 1;
    std::memcpy(destination, callback.blockFrom(first), inBlock * sampleSize);
    if (callback.blockLast >= last) {
      search->cachedLast = last;
      return run;
    }
    destination += inBlock * sampleSize;
    first = callback.blockLast + 1;
  }
  std::memset(destination, 0, (last - first + 1) * sampleSize);  // What the stream does not deliver is silent.
  callback.destination = destination;
  callback.start = first;
  callback.end = last;
  callback.overlap = false;
  return fetchRun() ? concludeRun(last, isGapRetry) : nullptr;
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
  std::memset(run, 0, static_cast<std::size_t>(last - search->cachedFirst + 1) * waveFormat.nBlockAlign);
  search->cachedLast = last;
  return run;
}

/// Has the graph deliver the run that was asked of the callback: from where it holds when that is near, else after a seek,
/// and from further back while the first block comes too late.
bool DSAudioSourceStream::fetchRun() {
  const quillet::AudioSGCallback& callback = *search->callback;
  long long position = callback.start * unitsPerSecond / waveFormat.nSamplesPerSec;

  const long long quickBytes = static_cast<long long>(graph->quickDecodeThreshold) * callback.blockBytes;
  const long long reach = callback.blockLast + 1 + quickBytes / waveFormat.nBlockAlign;
  const bool isNear = callback.hasReceivedBlock() && callback.isHolding() && callback.start > callback.blockLast &&
                      callback.start <= reach;
  if (!isNear && !seek(position, false)) {
    return false;
  }
  if (!runToBlock()) {
    return false;
  }
  // Ends at the start of the stream at the latest: every step goes back.
  while (position != 0 && callback.late && !callback.before) {
    if (notification != nullptr) {
      notification->progress(2);
    }
    position = std::max(position - stepBackUnits(), 0LL);
    if (!seek(position, false) || !runToBlock()) {
      return false;
    }
  }
  return true;
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
unsigned char* DSAudioSourceStream::concludeRun(long last, bool isGapRetry) {
  const quillet::AudioSGCallback& callback = *search->callback;
  if (!callback.late) {
    const long filledUpTo = callback.overlap ? callback.filledUpTo : callback.start - 1;
    if (filledUpTo < last) {
      // The stream ends early. The rest was made silent before, unless blocks have come out of order.
      search->endOfData = filledUpTo;
      const std::size_t filled = static_cast<std::size_t>(filledUpTo + 1 - callback.start) * waveFormat.nBlockAlign;
      const std::size_t rest = static_cast<std::size_t>(last - filledUpTo) * waveFormat.nBlockAlign;
      std::memset(callback.destination + filled, 0, rest);
    }
    search->cachedLast = last;
    return search->runBuffer.get();
  }
  if (callback.before && !isGapRetry) {
    search->retryAfterGap = true;
    return getSamples(search->cachedFirst, last);
  }
  if (!callback.before && !search->retriedAtStart) {
    // Not even the start of the stream has the sample: its audio starts later.
    search->retriedAtStart = true;
    return getSamples(search->cachedFirst, last);
  }
  // The stream does not deliver twice what it delivered once: to try on might never end.
  lastError = ds_error::noFrameFound;
  return nullptr;
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
  lastError = quillet::codeOf(result, ds_error::success);
}

double DSAudioSourceStream::StreamSampleToTime(long& sample) {
  if (!requireOpened()) {
    return -1.0;
  }
  lastError = ds_error::success;
  return sample * static_cast<double>(quillet::msPerSecond) / waveFormat.nSamplesPerSec;
}

long DSAudioSourceStream::StreamTimeToSample(double& time) {
  if (!requireOpened()) {
    return -1;
  }
  lastError = ds_error::success;
  return quillet::sampleAtMs(time, waveFormat.nSamplesPerSec);
}
