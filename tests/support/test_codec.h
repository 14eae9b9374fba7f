// A video codec of the tests' own, known to the system while it lives.

#pragma once

#include <windows.h>

#include "support/temp_file.h"

namespace quillet::test {

/// Decompresses frames of the FOURCC QLTD to 24-bit RGB. A frame is added, byte by byte, to the picture before it, or to
/// black when it is a key frame.
class TestCodec {
 public:
  static constexpr DWORD fourcc = 'Q' | 'L' << 8 | 'T' << 16 | 'D' << 24;

  TestCodec();
  TestCodec(const TestCodec&) = delete;
  TestCodec& operator=(const TestCodec&) = delete;
  ~TestCodec();

  enum Kind : std::uint8_t { key, delta, bad };

  /// A frame as the codec wants it; a bad one cannot be decompressed.
  static Bytes frame(Kind kind, const Bytes& pixels);
};

}  // namespace quillet::test
