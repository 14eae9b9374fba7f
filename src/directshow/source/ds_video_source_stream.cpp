#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <utility>

#include <dshow.h>

#include <quillet/ds_video_source_stream.h>
#include <quillet/error_codes.h>

#include "core/frame_store.h"
#include "core/operation.h"
#include "core/owned.h"
#include "core/time_units.h"
#include "directshow/graph/pins.h"
#include "directshow/source/progress_step.h"
#include "directshow/source/reading_costs.h"
#include "directshow/source/source_graph.h"
#include "directshow/source/video_sg_callback.h"
#include "formats/format_sizes.h"
#include "formats/media_type.h"
#include "formats/video_format.h"
#include "ui/run_dialog.h"
#include "ui/source_tuning_dialog.h"

namespace ds_error = quillet::ds_error;

using Microsoft::WRL::ComPtr;
using quillet::roundedHalfUp;
using quillet::truncated;
using quillet::unitsPerSecond;

namespace {

/// The number of no frame: below every frame number, so that the first request seeks.
constexpr long noFrame = -2147483647;

/// Looks for the time per frame in the connections upstream of `input`, filter by filter.
/// @return units of 100 ns, 0 when none tells.
REFERENCE_TIME timePerFrameUpstream(ComPtr<IPin> input) {
  // Ends: a graph has no circles, so every step comes nearer to its source.
  while (input != nullptr) {
    const ComPtr<IPin> output = quillet::peerOf(input.Get());
    quillet::CMediaType type;
    if (output == nullptr || FAILED(output->ConnectionMediaType(&type))) {
      return 0;
    }
    if (const REFERENCE_TIME time = quillet::timePerFrame(type); time != 0) {
      return time;
    }
    const ComPtr<IBaseFilter> filter = quillet::filterOf(output.Get());
    input = filter != nullptr ? quillet::firstConnectedPin(filter.Get(), PINDIR_INPUT) : nullptr;
  }
  return 0;
}

}  // namespace

/// The window of two decoded frames that slides over the stream. Buffer B is good only while `next` differs from
/// `current`.
struct DSVideoSourceStream::Search {
  quillet::VideoSGCallback* callback = nullptr;  // The graph's.
  long current = noFrame;                        // Number of the frame in buffer A.
  long next = noFrame;                           // Number of the first frame after it that the stream has.
  bool standsIn = false;                         // Buffer A holds what is not frame `current`, but a later one.
  BYTE* frameBits = nullptr;                     // The frame found last.
  bool isTuned = false;                          // The client has said when a seek is the quicker way.
  long lateness = 0;                             // By how many frames seeks have landed late.
  int backtrackStep = 1;                         // Frames.
  int growthRatio = 2;
  quillet::ReadingCosts costs;

  /// Whether the way to a frame is the one that was quicker so far.
  bool choosesWay(const quillet::FrameStore& frames) const { return !isTuned && frames.capacity() > 0; }

  /// Learns from a seek to `frame` that has gone past it, so that the next ones begin so much earlier.
  void expectLateness(long frame) {
    constexpr long most = 16;  // Beyond it is a hole, or a chance.
    if (callback->later) {
      lateness = std::clamp(callback->numberAt(callback->timeB) - frame, lateness, most);
    }
  }

  /// Forgets both frames, so that the next request seeks: after a failure nobody knows what the buffers hold.
  /// @return the number of no frame found.
  long forget() {
    current = next = noFrame;
    standsIn = false;
    callback->forgetBoth();
    return -1;
  }
};

DSVideoSourceStream* DSVideoSourceStream::open(const wchar_t* fileName, int streamNumber,
                                               QuilletNotification* notification) {
  auto* const stream = new (std::nothrow) DSVideoSourceStream;
  return quillet::openNew(stream, notification, [&] { return stream->openSource(fileName, streamNumber); });
}

DSVideoSourceStream::~DSVideoSourceStream() {
  shutDown();  // First: the search is destroyed after it, and the graph, which is the base class's, at the end.
}

int DSVideoSourceStream::openSource(const wchar_t* fileName, int streamNumber) {
  graph.reset(new Graph);
  search.reset(new Search);
  quillet::CMediaType type;
  if (const int error = graph->build(fileName, {MEDIATYPE_Video, MEDIASUBTYPE_RGB24, streamNumber}, type)) {
    return error;
  }
  if (type.formattype != FORMAT_VideoInfo || !quillet::tellsUsableFrames(type)) {
    return ds_error::improperStreamFormat;
  }
  const auto& videoFormat = *reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat);
  bitmapFormat = videoFormat.bmiHeader;
  if (bitmapFormat.biBitCount != 24) {
    return ds_error::improperStreamFormat;
  }
  // Formats without compression need not tell the size, and a file may tell a wrong one.
  bitmapFormat.biSizeImage =
      std::max(bitmapFormat.biSizeImage, static_cast<DWORD>(quillet::uncompressedFrameSize(bitmapFormat)));

  REFERENCE_TIME frameTime = videoFormat.AvgTimePerFrame;
  if (frameTime == 0) {
    frameTime = timePerFrameUpstream(graph->grabberInput);
  }
  if (const int error = graph->queryInterfaces()) {
    return error;
  }
  if (frameTime > 0) {
    rate = static_cast<double>(unitsPerSecond) / static_cast<double>(frameTime);
    length = roundedHalfUp<long>(static_cast<double>(graph->duration) / unitsPerSecond * rate);
  }
  graph->filters.removeClock();  // With a clock the stream only plays at its own speed; that is no error.
  auto callback = std::make_unique<quillet::VideoSGCallback>(bitmapFormat.biSizeImage);
  search->callback = callback.get();
  frames.reset(new quillet::FrameStore(bitmapFormat.biSizeImage));
  graph->installCallback(std::move(callback));
  if (const int error = graph->runner.requireEvents()) {
    return error;
  }
  if (frameTime <= 0) {
    if (const int error = parseFrameRate()) {
      return error;
    }
  }
  search->callback->samplePeriod = 1.0 / rate;
  search->callback->rate = rate;
  search->callback->tolerance = 0.5 / rate;
  return ds_error::success;
}

/// Finds the frame rate and the length of a stream that tells no frame time, by counting its frames.
int DSVideoSourceStream::parseFrameRate() {
  if (const int error = parseStream(false, ds_error::cannotRetrieveFrameRate)) {
    return error;
  }
  const int count = search->callback->sampleCount;
  const double lastTime = search->callback->lastTime;
  if (count <= 1 || lastTime <= 0.0) {
    return ds_error::cannotRetrieveFrameRate;
  }
  length = count;
  rate = (count - 1) / lastTime;
  graph->duration = truncated<LONGLONG>(length * static_cast<double>(unitsPerSecond) / rate);
  return ds_error::success;
}

long DSVideoSourceStream::findFrame(long frame) {
  if (!quillet::beginOperation(*this)) {
    return -1;
  }
  if (frame < 0 || frame >= length) {
    lastError = ds_error::parameterOutOfRange;
    return -1;
  }
  frames->note(frame);
  // Between the current frame and the next one the stream has none: the current one stands for them.
  if (frame == search->current || (search->current < frame && frame < search->next)) {
    search->frameBits = search->callback->frameA();
    return search->current;
  }
  if (frame == search->next) {
    search->frameBits = search->callback->frameB();
    return search->next;
  }
  if (const auto kept = frames->find(frame)) {
    if (search->standsIn) {
      search->forget();  // From here on the frames before the stream's first are none again, with a warning.
    }
    search->frameBits = kept->bits;
    return kept->number;
  }
  return searchFrame(frame);
}

/// Whether the way to `frame` begins with a seek, or with the frame that the graph holds.
bool DSVideoSourceStream::mustSeek(long frame) {
  const Search& window = *search;
  if (window.current == noFrame || frame < window.current) {
    return true;
  }
  const long long ahead = static_cast<long long>(frame) - window.next;
  if (!window.choosesWay(*frames) || ahead <= graph->quickDecodeThreshold) {
    return ahead > graph->quickDecodeThreshold;
  }
  return !search->costs.isQuickerToDecode(static_cast<long>(ahead));
}

/// How many frames before `frame` a seek is to pass on its way, to be kept: those to which the next steps back will lead.
long DSVideoSourceStream::framesToPass(long frame) const {
  const long step = frames->stepBackAgain();
  if (step == 0 || frames->find(frame - 1)) {
    return 0;
  }
  // A few of those kept behind the frame stay, for a turn forwards.
  const auto room = static_cast<long>(frames->capacity()) / 8 * 7;
  const long passed = std::min({search->costs.worthPassing(), room, frame});
  // Of long steps too few would find their frame there.
  return passed / 2 >= step || passed == frame ? passed : 0;
}

/// Where to seek to reach a frame, in units of 100 ns.
long long DSVideoSourceStream::positionOf(long frame) const {
  // Half a frame beyond its time the wanted frame has begun for sure. For the last frame that might be beyond the stream.
  return frame == length - 1 ? std::max(truncated<long long>(frame / rate * unitsPerSecond) - 1, 0LL)
                             : truncated<long long>((frame / rate + search->callback->tolerance) * unitsPerSecond);
}

/// Has the graph deliver from the frame that it holds on, to the target.
bool DSVideoSourceStream::readOn() {
  if (search->next != search->current) {
    search->callback->advance();
    search->current = search->next;
  }
  return run();
}

/// Seeks to `frame`, by way of so many frames before it, and goes back from there while the stream has nothing at its time.
bool DSVideoSourceStream::seekFrame(long frame, long passed) {
  Search& window = *search;
  if (passed > 0) {
    frames->preferEarlier();
  }
  window.callback->keepBoth();
  const long early = window.choosesWay(*frames) ? passed + window.lateness : passed;
  const long long position = positionOf(std::max(frame - early, 0L));
  if (!seek(position, false) || !run()) {
    return false;
  }
  if (!window.callback->found) {
    window.expectLateness(frame);
    searchBackward(position);
  }
  return lastError == ds_error::success;
}

/// Moves the window to `frame`: by decoding on when it is near, else by a seek.
long DSVideoSourceStream::searchFrame(long frame) {
  Search& window = *search;
  quillet::VideoSGCallback& callback = *window.callback;
  callback.target = frame / rate;
  callback.found = false;
  callback.later = false;
  callback.arrived = 0;
  callback.keeper = frames->isKeeping() ? &*frames : nullptr;
  window.standsIn = false;

  using Clock = quillet::VideoSGCallback::Clock;
  const auto start = Clock::now();
  const bool isSeeking = mustSeek(frame);
  const long passed = isSeeking ? framesToPass(frame) : 0;
  const bool hasRun = isSeeking ? seekFrame(frame, passed) : readOn();
  if (!hasRun) {
    return window.forget();
  }
  if (!callback.found && !isSeeking) {
    // The graph went past the target at once: the frame before it stands for the target.
    if (graph->runner.isHolding()) {
      window.next = callback.numberAt(callback.timeB);
    }
    window.frameBits = callback.frameA();
    return window.current;
  }
  if (callback.found) {
    const auto end = Clock::now();
    window.costs.decoded(end - (isSeeking ? callback.firstArrival : start), callback.arrived - (isSeeking ? 1 : 0));
    if (isSeeking) {
      window.costs.sought(end - start, passed);
    }
    window.current = callback.numberAt(callback.timeA);
    window.next = callback.later ? callback.numberAt(callback.timeB) : window.current;
    window.frameBits = callback.frameA();
    return window.current;
  }
  if (callback.later) {
    // Nothing at or before the target, even from the start. The first frame there is stands for all before it, from
    // number 0 on.
    callback.copyLaterFrame();
    window.standsIn = true;
    window.current = 0;
    window.next = callback.numberAt(callback.timeB);
    window.frameBits = callback.frameB();
    lastError = ds_error::nextFrameReturned;
    return window.next;
  }
  lastError = ds_error::noFrameFound;
  return window.forget();
}

/// Goes back from `position` in growing steps until a frame at or before the target comes, or the start is reached.
void DSVideoSourceStream::searchBackward(long long position) {
  constexpr long long farthest = std::numeric_limits<long long>::max();
  long long step = std::max(truncated<long long>(search->backtrackStep / rate * unitsPerSecond), 1LL);
  // Ends: every step goes back, and none from the start.
  while (!search->callback->found && position != 0) {
    position = std::max(position - step, 0LL);
    search->callback->keepBoth();
    search->callback->arrived = 0;
    if (!settle(quillet::reportStep(notification, 2)) || !seek(position, false) || !run()) {
      return;
    }
    step = step <= farthest / search->growthRatio ? step * search->growthRatio : farthest;
  }
}

unsigned char* DSVideoSourceStream::getFrameBits(long& frame) {
  frame = findFrame(frame);
  return frame != -1 ? search->frameBits : nullptr;
}

void DSVideoSourceStream::config(int quickDecode, int backtrackStep, int growthRatio) {
  if (!requireOpened()) {
    return;
  }
  DSSourceStream::config(quickDecode);
  search->isTuned = true;
  search->backtrackStep = backtrackStep > 0 ? backtrackStep : graph->quickDecodeThreshold;
  search->growthRatio = growthRatio > 0 ? growthRatio : 2;
}

void DSVideoSourceStream::configure(void* parentWindow) {
  if (!requireOpened()) {
    return;
  }
  quillet::FrameSearchTuning tuning = {{graph->quickDecodeThreshold, search->backtrackStep}, search->growthRatio};
  const INT_PTR result = quillet::showSourceTuningDialog(static_cast<HWND>(parentWindow), tuning);
  if (result == IDOK) {
    config(tuning.quickDecode, tuning.stepBack, tuning.growthRatio);
  }
  lastError = quillet::codeOf(result, ds_error::success, ds_error::cannotDisplayDialog);
}

double DSVideoSourceStream::StreamSampleToTime(long& frame) {
  if (!requireOpened()) {
    return -1.0;
  }
  lastError = frame >= 0 ? ds_error::success : ds_error::parameterOutOfRange;
  return frame >= 0 ? frame / rate * quillet::msPerSecond : -1.0;
}

long DSVideoSourceStream::StreamTimeToSample(double& time) {
  if (!requireOpened()) {
    return -1;
  }
  const long frame = quillet::sampleAtMs(time, rate);
  lastError = frame != -1 ? ds_error::success : ds_error::parameterOutOfRange;
  return frame;
}
