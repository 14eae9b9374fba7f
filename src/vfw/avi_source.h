// What the Video for Windows sources share: an open AVIFile stream, its format and its times.

#pragma once

#include <algorithm>
#include <vector>

#include <windows.h>

#include <vfw.h>

#include "platform/handles.h"

namespace quillet {

class AviSource {
 public:
  /// Opens a stream of the file.
  /// @param kind streamtypeVIDEO or streamtypeAUDIO.
  /// @param index number among the file's streams of that kind.
  /// @return a vfw_error code.
  int open(const wchar_t* fileName, DWORD kind, int index);

  /// Reads the format of the stream's first sample.
  /// @param format receives the format as the file holds it, filled up with zeros to `recordSize` bytes.
  /// @param leastSize bytes without which the format says nothing.
  /// @param recordSize bytes that the caller looks at whatever the file holds.
  /// @return a vfw_error code.
  int readFormat(std::vector<BYTE>& format, LONG leastSize, std::size_t recordSize) const;

  /// What AVIFile tells of the stream.
  /// @return null when it tells nothing.
  const AVISTREAMINFOA* information() const { return hasInformation ? &info : nullptr; }

  /// Whether it is audio whose samples all have one size, as they usually do: then none is empty, and each is a key sample.
  /// AVIFile need not be asked, and Wine's would answer with the number of a chunk.
  bool hasFixedSampleSize() const {
    return hasInformation && info.fccType == streamtypeAUDIO && info.dwSampleSize != 0;
  }

  /// Length in AVIFile's samples: frames, or blocks of audio; -1 on failure, and for one that cannot be, as in a stream that
  /// starts before 0.
  LONG length() const { return start() >= 0 ? std::max(AVIStreamLength(stream()), -1L) : -1; }

  /// The number of AVIFile's first sample, for a stream that starts late. AVIFile must be asked for none before it.
  LONG start() const { return AVIStreamStart(stream()); }

  /// Searches from `sample`, which may lie before the start.
  /// @param flags those of AVIStreamFindSample, with a direction.
  /// @return the number of a sample, -1 when there is none.
  LONG find(LONG sample, LONG flags) const;

  /// Finds the nearest sample at or before `sample` that is not empty.
  /// @return its number, -1 when there is none.
  LONG findPrevious(LONG sample) const;

  /// Finds the nearest sample at or before `sample` that is not empty; when there is none, the next one.
  /// @param found receives its number, -1 when there is none at all.
  /// @return vfw_error::nextFrameReturned for a later sample, noFrameFound for none.
  int findSample(LONG sample, LONG& found) const;

  /// The time of one of AVIFile's samples in milliseconds, -1 on failure, and for one that cannot be.
  LONG timeOf(LONG sample) const;

  /// One of AVIFile's samples by its time in milliseconds, -1 on failure, and for one that cannot be.
  LONG sampleAt(LONG ms) const;

  PAVISTREAM stream() const { return aviStream.get(); }

 private:
  // AVIFile divides by the scale and the rate, whatever they are.
  bool hasTimes() const { return !hasInformation || (info.dwScale != 0 && info.dwRate != 0); }

  AviStreamHandle aviStream;
  AVISTREAMINFOA info = {};
  bool hasInformation = false;
  bool isHollow = false;
};

}  // namespace quillet
