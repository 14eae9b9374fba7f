// Owners of the platform's handles and objects: each releases what it holds in the one way that the platform asks for.

#pragma once

#include <memory>
#include <type_traits>

#include <windows.h>

#include <mmreg.h>
#include <msacm.h>
#include <objbase.h>
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

/// Memory that a COM method has handed out.
template <class T>
using CoTaskMemory = UniqueHandle<T*, CoTaskMemFree>;

using AviFileHandle = UniqueHandle<PAVIFILE, AVIFileRelease>;
using AviStreamHandle = UniqueHandle<PAVISTREAM, AVIStreamRelease>;
using AviGetFrameHandle = UniqueHandle<PGETFRAME, AVIStreamGetFrameClose>;

using CompressorHandle = UniqueHandle<HIC, ICClose>;

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
  ~AcmHeader() { unprepare(); }

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
    preparedSourceSize = sourceSize;
    return true;
  }

  bool isPrepared() const { return preparedFor != nullptr; }

  /// Lets the stream and the buffers go. Does nothing when the header is not prepared.
  void unprepare() {
    if (preparedFor == nullptr) {
      return;
    }
    header.cbSrcLength = preparedSourceSize;  // The ACM wants back what it was given.
    acmStreamUnprepareHeader(preparedFor, &header, 0);
    preparedFor = nullptr;
  }

  ACMSTREAMHEADER* get() { return &header; }
  ACMSTREAMHEADER* operator->() { return &header; }

 private:
  ACMSTREAMHEADER header = {};
  HACMSTREAM preparedFor = nullptr;
  DWORD preparedSourceSize = 0;
};

}  // namespace quillet
