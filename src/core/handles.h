// Owners of the platform's handles and objects: each releases what it holds in the one way that the platform asks for.

#pragma once

#include <memory>
#include <type_traits>

#include <windows.h>

#include <mmreg.h>
#include <msacm.h>
#include <vfw.h>

namespace quillet {

/// Makes a unique_ptr of a platform handle: Release is the function that lets it go.
template <class Handle, auto Release>
struct HandleDeleter {
  using pointer = Handle;
  void operator()(Handle handle) const { Release(handle); }
};

template <class Handle, auto Release>
using UniqueHandle = std::unique_ptr<std::remove_pointer_t<Handle>, HandleDeleter<Handle, Release>>;

/// A thread, event or other kernel object whose creation answers null on failure.
using KernelHandle = UniqueHandle<HANDLE, CloseHandle>;

using AviStreamHandle = UniqueHandle<PAVISTREAM, AVIStreamRelease>;
using AviGetFrameHandle = UniqueHandle<PGETFRAME, AVIStreamGetFrameClose>;

inline void closeAcmStream(HACMSTREAM stream) {
  acmStreamClose(stream, 0);
}
using AcmStreamHandle = UniqueHandle<HACMSTREAM, closeAcmStream>;

/// The header of an ACM conversion, unprepared with the stream that it was prepared for.
class AcmHeader {
 public:
  AcmHeader() = default;
  AcmHeader(const AcmHeader&) = delete;
  AcmHeader& operator=(const AcmHeader&) = delete;
  ~AcmHeader() {
    if (preparedFor != nullptr) {
      acmStreamUnprepareHeader(preparedFor, &header, 0);
    }
  }

  /// Prepares the header for conversions from `source` to `destination`; the stream must outlive it.
  /// @return whether the ACM accepted it.
  bool prepare(HACMSTREAM stream, BYTE* source, DWORD sourceSize, BYTE* destination, DWORD destinationSize) {
    header = {};
    header.cbStruct = sizeof header;
    header.pbSrc = source;
    header.cbSrcLength = sourceSize;
    header.pbDst = destination;
    header.cbDstLength = destinationSize;
    if (acmStreamPrepareHeader(stream, &header, 0) != 0) {
      return false;
    }
    preparedFor = stream;
    return true;
  }

  ACMSTREAMHEADER* get() { return &header; }
  ACMSTREAMHEADER* operator->() { return &header; }

 private:
  ACMSTREAMHEADER header = {};
  HACMSTREAM preparedFor = nullptr;
};

}  // namespace quillet
