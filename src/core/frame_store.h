// Decoded frames that a video source keeps, so that going back costs no seek.

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>

namespace quillet {

/// The frames kept of one stream. It is told of the frames asked for and of those decoded, and keeps nothing until somebody
/// goes back. One thread at a time.
class FrameStore {
 public:
  using Bits = std::unique_ptr<unsigned char[]>;

  struct Frame {
    long number;
    unsigned char* bits;
  };

  /// @param frameSize bytes of a frame.
  explicit FrameStore(std::size_t frameSize) : frameSize(frameSize) {}
  FrameStore(const FrameStore&) = delete;
  FrameStore& operator=(const FrameStore&) = delete;
  ~FrameStore() { forgetAll(); }

  /// Forgets all frames, and bounds what those to come may take.
  /// @param bytes 0 to keep nothing; negative for a share of what all streams of the process have that were given no budget.
  void setBudget(std::int64_t bytes);

  /// @return how many frames may be kept as things are.
  std::size_t capacity() const;

  /// To be called with each frame asked for. A step back begins the keeping, and a long way forwards ends it.
  void note(long frame);

  /// Whether frames are kept as they are decoded.
  bool isKeeping() const { return keeping; }

  /// @return how far the last step went back, 0 when it went forwards or was the first one back.
  long stepBackAgain() const { return backAgain; }

  /// Prefers the frames before the one noted last to those behind it, until another one is noted.
  void preferEarlier() { earlierFirst = true; }

  /// @return the frame that the stream has for `frame`; nothing when it is not kept.
  std::optional<Frame> find(long frame) const;

  /// Keeps a decoded frame.
  /// @param next number of the frame behind it in the stream; `number` when that is not known.
  /// @param bits receives room for another frame instead; left alone when the frame is not kept.
  void keep(long number, long next, Bits& bits) noexcept;

  /// Keeps a copy of a decoded frame that stands for no other number.
  void keepCopy(long number, const unsigned char* bits) noexcept;

 private:
  struct Kept {
    Bits bits;
    long next = 0;
  };
  using Frames = std::map<long, Kept>;

  std::int64_t cost() const;
  Frames::iterator placeFor(long number) noexcept;
  Frames::iterator add(long number) noexcept;
  Frames::iterator leastWanted();
  bool isLessWanted(long number, long than) const;
  void forget(Frames::iterator frame);
  void forgetAll();

  const std::size_t frameSize;
  std::optional<std::int64_t> ownBudget;
  Frames frames;

  long last = 0;  // The frame noted last.
  long backAgain = 0;
  std::size_t forwards = 0;  // Steps since the last one back.
  bool keeping = false;
  bool earlierFirst = false;
};

}  // namespace quillet
