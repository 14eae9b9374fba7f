// When to give up on a graph that plays and comes to no end.

#pragma once

#include <cstdint>

#include <windows.h>

namespace quillet {

/// Looks again and again whether something still moves. Looks are counted, since a clock would also count the hours for
/// which the machine was asleep.
class StallWatch {
 public:
  /// How long to wait between two looks.
  static constexpr DWORD lookAfterMs = 500;

  /// @param movement a number that changes with everything that moves.
  explicit StallWatch(std::uint64_t movement) : seen(movement) {}

  /// Looks.
  /// @return whether nothing has moved for so many looks that nothing will.
  bool hasStalled(std::uint64_t movement) {
    looks = movement == seen ? looks + 1 : 0;
    seen = movement;
    return looks >= stalledAfterMs / lookAfterMs;
  }

 private:
  // Each sample on its way moves something, so this is what a single one may take: many times what the slowest codec needs
  // for a picture, and what a disk needs to spin up.
  static constexpr DWORD stalledAfterMs = 20'000;

  std::uint64_t seen;
  DWORD looks = 0;
};

}  // namespace quillet
