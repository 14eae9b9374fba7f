// Room for what AVIFile reads.

#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <new>

#include <windows.h>

namespace quillet {

/// A buffer that only grows. What it holds is lost when it does.
class ReadBuffer {
 public:
  /// Makes room for `size` bytes. The buffer stays as it is when there is no memory for them (std::bad_alloc), so that the
  /// next read finds one: without a buffer AVIFile would tell sizes instead of reading.
  void reserve(std::int64_t size) {
    if (bytes != nullptr && size <= capacity) {
      return;
    }
    if (size > std::numeric_limits<LONG>::max()) {
      throw std::bad_alloc();  // More than AVIFile can read at once.
    }
    bytes.reset(new BYTE[static_cast<std::size_t>(size)]);
    capacity = static_cast<LONG>(size);
  }

  BYTE* data() const { return bytes.get(); }
  LONG size() const { return capacity; }

 private:
  std::unique_ptr<BYTE[]> bytes;
  LONG capacity = 0;
};

}  // namespace quillet
