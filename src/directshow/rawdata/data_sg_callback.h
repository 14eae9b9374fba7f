// The callback of the raw-data source: keeps the sample that covers the wanted one, the one before and the last key
// sample; or, of a stream that is read in its own order, each sample until the next one.

#pragma once

#include <algorithm>
#include <vector>

#include "directshow/rawdata/sample_range.h"
#include "directshow/source/sg_callback.h"

namespace quillet {

/// A sample that is kept. Such samples are swapped rather than copied, so that their buffers are used again.
struct KeptSample {
  bool isPresent = false;
  std::vector<BYTE> data;
  long long start = SampleRange::unknown;
  long long end = SampleRange::unknown;        ///< Exclusive.
  long long startTime = SampleRange::unknown;  ///< Units of 100 ns; unknown when the sample carries no time.
  bool key = false;

  bool covers(long sample) const { return isPresent && start <= sample && sample < end; }
  bool isFit(bool keyWanted) const { return isPresent && (key || !keyWanted); }

  /// Sets the end; times that go backwards leave the sample one number.
  void endAt(long long number) { end = std::max(number, start + 1); }
};

class DataSGCallback : public SGCallback {
 public:
  /// @name Finding, while a sample is held or no run is active
  /// @{

  /// @return what serves a request without another sample; null when there is none.
  const KeptSample* find(long sample, bool keyWanted) const;

  /// Makes room for the next samples, and forgets all of them before a seek.
  void rotate(bool seeking);

  /// Prepares a request: `sample` is to be looked for.
  void want(long sample) { wantedSample = sample; }

  /// @return what the held sample has decided; null when the search has to go back.
  const KeptSample* findHeld(bool keyWanted) const;

  /// @param length samples of the stream, which has ended before the wanted one was passed.
  /// @param isBeyond receives whether the sample found lies before the wanted one.
  /// @return what the end has decided; null when the search has to go back.
  const KeptSample* findAtEnd(bool keyWanted, long length, bool& isBeyond);

  /// Whether a sample that ends before the wanted one has come since rotate(): then none further back covers the wanted
  /// one.
  bool hasPassedOver() const { return passedOver; }

  /// Whether `sample` lies before what is kept, or more than `lookAhead` samples behind it.
  bool isFarFrom(long sample, long long lookAhead) const;

  /// The size of the sample that came last; 0 while there is none.
  long lastSize() const;

  /// A sample could not be kept.
  bool outOfMemory() const { return isOutOfMemory; }
  /// @}

  /// @name Reading in the stream's order, instead of looking for samples by number
  /// @{

  /// Holds at each sample from now on, or no longer. What was kept is forgotten.
  void takeEach(bool on);

  bool takesEach() const { return isEachTaken; }

  /// Makes room for the next sample.
  /// @return it, when it has come along with the one before; otherwise null.
  const KeptSample* shift();

  /// @return the sample that is held.
  const KeptSample* heldNext() const { return previousSample.isPresent ? &previousSample : &currentSample; }

  /// @param length see findAtEnd().
  /// @return the sample that the end of the stream has decided; null when none was left.
  const KeptSample* lastOfAll(long length);
  /// @}

  /// Holds at the first key sample instead of looking for one by number.
  void searchKey(bool on) {
    searchesKey = on;
    firstKey = on ? -1 : firstKey;
  }

  /// The number of that first key sample; -1 while there is none.
  long long firstKeySample() const { return firstKey; }

  /// The end of the farthest range seen while parsing with the flag set, and when it ends, as far as can be told.
  long long parsedEnd() const { return farthestEnd; }
  long long parsedEndTime() const { return farthestEndTime; }

  SampleNumbering numbering;

 private:
  void receive(double time, IMediaSample* sample) override;
  bool take(const SampleRange& range, IMediaSample* sample);
  bool takeNext(const SampleRange& range, IMediaSample* sample);
  void keep(const SampleRange& range, IMediaSample* sample);
  void forget();
  void retirePrevious(long long end);
  const KeptSample* lastKey() const { return lastKeySample.isPresent ? &lastKeySample : nullptr; }

  KeptSample currentSample;   // Delivered last.
  KeptSample previousSample;  // Kept until the next one tells where it ends.
  KeptSample lastKeySample;   // The last key sample before these.
  long wantedSample = 0;
  bool sampleArrived = false;  // Since rotate().
  bool passedOver = false;     // A sample that ends before the wanted one has come since then.
  bool needEarlier = false;    // The graph has passed the wanted sample, and nothing before it was delivered.
  bool isOutOfMemory = false;
  bool isEachTaken = false;
  bool searchesKey = false;
  long long firstKey = -1;
  long long farthestEnd = 0;
  long long farthestEndTime = 0;
};

}  // namespace quillet
