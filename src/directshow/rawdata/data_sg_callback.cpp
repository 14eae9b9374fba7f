#include "directshow/rawdata/data_sg_callback.h"

#include <algorithm>
#include <utility>

#include <quillet/error_codes.h>

#include "platform/guarded.h"

namespace quillet {

void DataSGCallback::receive(double time, IMediaSample* sample) {
  if (parseMode) {  // Asked before `stop`, which endParse() sets first: so no sample comes through between the two.
    countSample(time);
    if (parseFlag) {
      const SampleRange range = numbering.rangeOf(time, sample);
      farthestEnd = std::max(farthestEnd, range.last() + 1);
      farthestEndTime = std::max({farthestEndTime, range.startTime + 1, range.endTime});
    }
    return;
  }
  if (stop) {
    return;
  }
  const SampleRange range = numbering.rangeOf(time, sample);
  if (searchesKey) {
    if (sample->IsSyncPoint() == S_OK) {
      firstKey = std::max(range.start, 0LL);  // What comes before the start belongs to it.
      hold();
    }
    return;
  }
  bool isDecided = true;
  isOutOfMemory = guarded([&] {
                    isDecided = isEachTaken ? takeNext(range, sample) : take(range, sample);
                    return static_cast<int>(common_error::success);
                  }) != common_error::success;
  if (isDecided) {
    hold();
  }
}

/// Keeps a sample, and settles what it means for those that were kept before.
/// @return whether the wanted sample is reached or passed.
bool DataSGCallback::take(const SampleRange& range, IMediaSample* sample) {
  sampleArrived = true;
  keep(range, sample);
  if (wantedSample < range.start) {
    previousSample.endAt(range.start);
    needEarlier = !previousSample.isPresent;
    return true;
  }
  retirePrevious(range.start);
  const bool isEndUnknown = range.end == SampleRange::unknown;
  if (isEndUnknown) {
    std::swap(previousSample, currentSample);
    currentSample.isPresent = false;
  }
  needEarlier = false;
  passedOver = passedOver || (!isEndUnknown && range.end <= wantedSample);
  return !isEndUnknown && wantedSample < range.end;
}

/// Keeps a sample as the next one in the stream's order.
/// @return false when it is the next one but has to wait for the one behind it, which tells where it ends.
bool DataSGCallback::takeNext(const SampleRange& range, IMediaSample* sample) {
  keep(range, sample);
  if (previousSample.isPresent) {
    previousSample.endAt(range.start);
    return true;
  }
  if (range.end == SampleRange::unknown) {
    std::swap(previousSample, currentSample);
    return false;
  }
  return true;
}

/// Copies the sample into the current slot. What the slot holds was passed over, but may be the last key sample.
void DataSGCallback::keep(const SampleRange& range, IMediaSample* sample) {
  if (currentSample.isFit(true)) {
    std::swap(lastKeySample, currentSample);
  }
  currentSample.isPresent = false;
  BYTE* bytes = nullptr;
  const bool hasData = SUCCEEDED(sample->GetPointer(&bytes));
  const long size = hasData ? std::max(sample->GetActualDataLength(), 0L) : 0;
  currentSample.data.clear();  // Nothing to keep, should the room have to grow.
  currentSample.data.reserve(static_cast<std::size_t>(std::max(size, 1L)));  // An empty sample has an address, too.
  currentSample.data.assign(bytes, bytes + size);
  currentSample.start = range.start;
  currentSample.end = range.end;
  currentSample.startTime = range.hasTime ? range.startTime : SampleRange::unknown;
  currentSample.key = sample->IsSyncPoint() == S_OK;
  currentSample.isPresent = true;
}

/// Lets the previous sample go, unless it is the last key sample.
/// @param end where it ends, unless it has told that itself.
void DataSGCallback::retirePrevious(long long end) {
  if (previousSample.end == SampleRange::unknown) {
    previousSample.endAt(end);
  }
  if (previousSample.isFit(true)) {
    std::swap(lastKeySample, previousSample);
  }
  previousSample.isPresent = false;
}

const KeptSample* DataSGCallback::find(long sample, bool keyWanted) const {
  for (const KeptSample* slot : {&previousSample, &currentSample}) {
    if (slot->covers(sample) && slot->isFit(keyWanted)) {
      return slot;
    }
  }
  // Here a key sample is wanted, and the last one before a sample that is none.
  if (currentSample.covers(sample) && previousSample.isFit(true)) {
    return &previousSample;
  }
  return currentSample.covers(sample) || previousSample.covers(sample) ? lastKey() : nullptr;
}

void DataSGCallback::rotate(bool seeking) {
  if (seeking) {
    forget();
  } else {
    retirePrevious(currentSample.start);
    std::swap(previousSample, currentSample);
  }
  sampleArrived = false;
  passedOver = false;
  isOutOfMemory = false;
}

void DataSGCallback::forget() {
  for (KeptSample* slot : {&previousSample, &currentSample, &lastKeySample}) {
    slot->isPresent = false;
  }
}

void DataSGCallback::takeEach(bool on) {
  isEachTaken = on;
  forget();
}

const KeptSample* DataSGCallback::shift() {
  // When the sample handed out last had to wait for its end, the one that told it is still to be handed out.
  currentSample.isPresent = currentSample.isPresent && previousSample.isPresent;
  std::swap(previousSample, currentSample);
  currentSample.isPresent = false;
  isOutOfMemory = false;
  return previousSample.isPresent && previousSample.end != SampleRange::unknown ? &previousSample : nullptr;
}

const KeptSample* DataSGCallback::lastOfAll(long length) {
  if (!previousSample.isPresent) {
    return nullptr;
  }
  previousSample.endAt(length);
  return &previousSample;
}

const KeptSample* DataSGCallback::findHeld(bool keyWanted) const {
  if (needEarlier) {
    return nullptr;
  }
  const KeptSample& candidate = previousSample.isPresent ? previousSample : currentSample;
  return candidate.isFit(keyWanted) ? &candidate : lastKey();
}

const KeptSample* DataSGCallback::findAtEnd(bool keyWanted, long length, bool& isBeyond) {
  if (!sampleArrived) {
    return nullptr;
  }
  KeptSample& candidate = previousSample.isPresent ? previousSample : currentSample;
  if (candidate.end == SampleRange::unknown) {
    candidate.endAt(length);
  }
  const KeptSample* const found = candidate.isFit(keyWanted) ? &candidate : lastKey();
  isBeyond = found != nullptr && &candidate == &currentSample;
  return found;
}

bool DataSGCallback::isFarFrom(long sample, long long lookAhead) const {
  const KeptSample& earliest = previousSample.isPresent ? previousSample : currentSample;
  if (!earliest.isPresent || sample < earliest.start) {
    return true;
  }
  const bool isEndKnown = currentSample.isPresent && currentSample.end != SampleRange::unknown;
  const KeptSample& latest = isEndKnown ? currentSample : earliest;
  return sample > std::max(latest.start, latest.end) + lookAhead;
}

long DataSGCallback::lastSize() const {
  const KeptSample& latest = currentSample.isPresent ? currentSample : previousSample;
  return latest.isPresent ? static_cast<long>(latest.data.size()) : 0;
}

}  // namespace quillet
