// What the Video for Windows sources share: an open AVIFile stream and its format.

#pragma once

#include <vector>

#include <windows.h>

#include <quillet/vfw_source_stream.h>

#include "core/handles.h"

struct VfWSourceStream::Source {
  quillet::AviStreamHandle aviStream;

  /// Opens a stream of the file.
  /// @param kind streamtypeVIDEO or streamtypeAUDIO.
  /// @param index number among the file's streams of that kind.
  /// @return a vfw_error code.
  int open(const char* fileName, DWORD kind, int index);

  /// Reads the format of the stream's first sample.
  /// @param format receives the format as the file holds it, filled up with zeros to `recordSize` bytes.
  /// @param leastSize bytes without which the format says nothing.
  /// @param recordSize bytes that the caller looks at whatever the file holds.
  /// @return a vfw_error code.
  int readFormat(std::vector<BYTE>& format, LONG leastSize, std::size_t recordSize) const;

  /// Length in AVIFile's samples: frames, or blocks of audio; -1 on failure.
  LONG length() const { return AVIStreamLength(aviStream.get()); }
};
