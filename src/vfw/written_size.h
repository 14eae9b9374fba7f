// How large a file has become that AVIFile writes, as far as that follows from what it was given: AVIFile itself tells
// neither that a file is full nor that a disk is.

#pragma once

#include <algorithm>
#include <cstdint>

namespace quillet {

class WrittenSize {
 public:
  /// What a write puts into the file.
  struct Piece {
    bool isVideo;
    long start;
    long samples;
    long long bytes;
  };

  /// Whether the file is sure to keep within the 2^31-1 bytes whose places AVIFile can count: beyond, it overwrites the
  /// beginning of the file.
  bool admits(const Piece& piece) const { return most + sizeAtMost(piece) <= limit; }

  void add(const Piece& piece) {
    most += sizeAtMost(piece);
    long long& end = endOf[piece.isVideo];
    if (piece.start >= end) {
      least += piece.bytes;  // Others may have taken the place of what was there.
    }
    end = std::max(end, static_cast<long long>(piece.start) + piece.samples);
  }

  /// Bytes that the file must have.
  std::uint64_t atLeast() const { return static_cast<std::uint64_t>(least); }

 private:
  static constexpr long long limit = 0x7FFFFFFF;

  // Each format has at most 64 KB and some palette; the rest of the headers is padded to a few.
  static constexpr long long headers = 1 << 20;

  // A chunk's header and padding, and its entry in the index that the closing writes.
  static constexpr long long aroundChunk = 8 + 1 + 16;

  /// What the file grows by at most: there is a chunk for each frame, for each frame before it that is missing, and for
  /// each piece of audio.
  long long sizeAtMost(const Piece& piece) const {
    const long long missing = std::max(piece.start - endOf[true], 0LL);
    const long long chunks = piece.isVideo ? missing + std::max(piece.samples, 1L) : 1;
    return piece.bytes + chunks * aroundChunk;
  }

  long long most = headers;
  long long least = 0;
  long long endOf[2] = {};  // The number behind the last one, of audio and of video.
};

}  // namespace quillet
