// A video codec of the tests' own, known to the system while it lives.

#pragma once

#include <functional>

#include <windows.h>

#include <vfw.h>

#include "support/temp_file.h"

namespace quillet::test {

/// Compresses 24-bit RGB to frames of the FOURCC QLTD, all of them key frames, and decompresses them.
class TestCodec {
 public:
  static constexpr DWORD fourcc = 'Q' | 'L' << 8 | 'T' << 16 | 'D' << 24;

  TestCodec();
  TestCodec(const TestCodec&) = delete;
  TestCodec& operator=(const TestCodec&) = delete;
  ~TestCodec();

  enum Kind : std::uint8_t { good, bad };

  /// A frame as the codec wants it; a bad one cannot be decompressed.
  static Bytes frame(Kind kind, const Bytes& pixels);

  /// The compressor's state, and what its dialog does to it; without a dialog the result is ICERR_UNSUPPORTED.
  Bytes state = {1, 2, 3};
  std::function<void(Bytes& state)> dialog;
  HWND owner = nullptr;            // That the dialog was given.
  LRESULT stateResult = ICERR_OK;  // Of the message that gets the state.

 private:
  static LRESULT CALLBACK driver(DWORD_PTR id, HDRVR handle, UINT message, LPARAM first, LPARAM second);
};

}  // namespace quillet::test
