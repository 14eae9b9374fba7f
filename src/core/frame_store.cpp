#include "core/frame_store.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>

namespace quillet {
namespace {

constexpr std::int64_t mebibyte = 1 << 20;

/// What a stream may keep that was given no budget: 72 frames of 1280 x 720, so that what it costs to come to them, with
/// key frames 10 seconds apart, is spread over enough.
constexpr std::int64_t defaultBudget = 192 * mebibyte;

/// What all of these together may keep: an eighth of the addresses that a 32-bit process has.
constexpr std::int64_t commonBudget = 256 * mebibyte;

constinit std::atomic<std::int64_t> commonUse = 0;
constinit std::atomic<int> commonUsers = 0;  // That keep anything.

long distance(long one, long other) {
  return one < other ? other - one : one - other;
}

}  // namespace

void FrameStore::setBudget(std::int64_t bytes) {
  forgetAll();
  keeping = false;
  ownBudget = bytes >= 0 ? std::optional(bytes) : std::nullopt;
}

/// Bytes that a kept frame takes, with what there is around its pixels.
std::int64_t FrameStore::cost() const {
  constexpr std::int64_t bookkeeping = 96;
  return static_cast<std::int64_t>(frameSize) + bookkeeping;
}

std::size_t FrameStore::capacity() const {
  const int users = commonUsers + (frames.empty() ? 1 : 0);
  const std::int64_t share = std::min(defaultBudget, commonBudget / std::max(users, 1));
  return static_cast<std::size_t>(ownBudget.value_or(share) / cost());
}

void FrameStore::note(long frame) {
  constexpr std::size_t longWay = 50;
  earlierFirst = false;
  backAgain = 0;
  if (frame < last) {
    backAgain = keeping ? last - frame : 0;
    keeping = capacity() > 0;
    forwards = 0;
  } else if (keeping && frame > last && ++forwards > std::max(capacity(), longWay)) {
    keeping = false;
    forgetAll();
  }
  last = frame;
  while (frames.size() > capacity()) {
    forget(leastWanted());  // Other streams keep frames now.
  }
}

std::optional<FrameStore::Frame> FrameStore::find(long frame) const {
  auto found = frames.upper_bound(frame);
  if (found == frames.begin()) {
    return std::nullopt;
  }
  const auto& [number, kept] = *--found;
  return frame == number || frame < kept.next ? std::optional(Frame{number, kept.bits.get()}) : std::nullopt;
}

void FrameStore::keep(long number, long next, Bits& bits) noexcept {
  if (const auto place = placeFor(number); place != frames.end()) {
    place->second.bits.swap(bits);
    place->second.next = next;
  }
}

void FrameStore::keepCopy(long number, const unsigned char* bits) noexcept {
  if (const auto place = placeFor(number); place != frames.end()) {
    std::memcpy(place->second.bits.get(), bits, frameSize);
    place->second.next = number;
  }
}

/// The place of a frame, which may hold another picture: where it is kept, a new one, or that of a frame less wanted.
/// @return `end` for none.
FrameStore::Frames::iterator FrameStore::placeFor(long number) noexcept {
  if (const auto known = frames.find(number); known != frames.end()) {
    return known;
  }
  if (const auto added = add(number); added != frames.end()) {
    return added;
  }
  const auto given = leastWanted();
  if (given == frames.end() || !isLessWanted(given->first, number)) {
    return frames.end();
  }
  auto node = frames.extract(given);
  node.key() = number;
  return frames.insert(std::move(node)).position;
}

/// A new place, `end` when the budget or the memory has no room for it.
FrameStore::Frames::iterator FrameStore::add(long number) noexcept try {
  if (frames.size() >= capacity()) {
    return frames.end();
  }
  Bits bits(new unsigned char[frameSize]);
  const auto added = frames.try_emplace(number, Kept{std::move(bits), number}).first;
  if (!ownBudget) {
    commonUsers += frames.size() == 1 ? 1 : 0;
    if ((commonUse += cost()) > commonBudget) {
      forget(added);
      return frames.end();
    }
  }
  return added;
} catch (const std::bad_alloc&) {
  return frames.end();
}

/// The frame to be given up first, `end` when there is none.
FrameStore::Frames::iterator FrameStore::leastWanted() {
  if (frames.empty()) {
    return frames.end();
  }
  const auto latest = std::prev(frames.end());
  return isLessWanted(latest->first, frames.begin()->first) ? latest : frames.begin();
}

/// Whether a frame is less wanted than another one: farther from the frame noted last.
bool FrameStore::isLessWanted(long number, long than) const {
  if (earlierFirst && (number > last) != (than > last)) {
    return number > last;
  }
  return distance(number, last) > distance(than, last);
}

void FrameStore::forget(Frames::iterator frame) {
  frames.erase(frame);
  if (!ownBudget) {
    commonUse -= cost();
    commonUsers -= frames.empty() ? 1 : 0;
  }
}

void FrameStore::forgetAll() {
  while (!frames.empty()) {
    forget(frames.begin());
  }
}

}  // namespace quillet
