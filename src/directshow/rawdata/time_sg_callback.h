// The callbacks that count a stream's samples from its start, up to a number or up to a time.

#pragma once

#include <limits>

#include "directshow/rawdata/sample_range.h"
#include "directshow/source/sg_callback.h"

namespace quillet {

/// Holds at the first sample whose range reaches the target. What that means is the subclass's.
class TimeSGCallback : public SGCallback {
 public:
  /// @param numbering how the samples are numbered.
  explicit TimeSGCallback(const SampleNumbering& numbering) : numbering(numbering) {}

  /// Forgets all samples, for the counting to begin again.
  void restart();

  /// @name Results, while a sample is held or the graph is stopped or has ended
  /// @{

  /// A sample without a time has come: numbers and times can only be estimated.
  bool isRough() const { return rough; }

  bool hasCounted() const { return counted; }

  /// The range counted last.
  const SampleRange& lastRange() const { return range; }

  /// Whether the range counted last is the first one that reaches `wanted`.
  bool isFirstToReach(long long wanted) const { return counted && reachedBefore < wanted && wanted <= reachOf(range); }

  /// Whether no range counted so far reaches `wanted`.
  bool isAhead(long long wanted) const { return reachedBefore < wanted && (!counted || reachOf(range) < wanted); }
  /// @}

  /// Written while no sample can come.
  long long target = 0;

 private:
  /// The farthest target that a range can serve.
  virtual long long reachOf(const SampleRange& candidate) const = 0;
  void receive(double time, IMediaSample* sample) override;

  static constexpr long long nothing = std::numeric_limits<long long>::min();

  const SampleNumbering numbering;
  SampleRange range;
  long long reachedBefore = nothing;  // By the ranges before that one.
  bool counted = false;
  bool rough = false;
};

/// From samples to times: the target is a number.
class TimeSGCallback1 : public TimeSGCallback {
 public:
  using TimeSGCallback::TimeSGCallback;

 private:
  long long reachOf(const SampleRange& candidate) const override { return candidate.last(); }
};

/// From times to samples: the target is a time, in units of 100 ns.
class TimeSGCallback2 : public TimeSGCallback {
 public:
  using TimeSGCallback::TimeSGCallback;

 private:
  long long reachOf(const SampleRange& candidate) const override { return candidate.timeOf(candidate.last()); }
};

}  // namespace quillet
