// A video codec of the tests' own, known to the system while it lives.

#pragma once

#include <windows.h>

#include "support/temp_file.h"

namespace quillet::test {

/// Decompresses frames of the FOURCC QLTD to 24-bit RGB: a frame is added, byte by byte, to the one before it, or to
/// black for a key frame. A frame of a wrong size cannot be decompressed.
class TestCodec {
 public:
  static constexpr DWORD fourcc = 'Q' | 'L' << 8 | 'T' << 16 | 'D' << 24;

  TestCodec();
  TestCodec(const TestCodec&) = delete;
  TestCodec& operator=(const TestCodec&) = delete;
  ~TestCodec();
};

}  // namespace quillet::test
