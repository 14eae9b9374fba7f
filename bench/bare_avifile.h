// Reading and writing with AVIFile alone, for what the library is compared with.

#pragma once

#include <vector>

#include <windows.h>

#include <vfw.h>

#include <quillet/platform_formats.h>

#include "comparison.h"

namespace quillet::bench {

inline PAVISTREAM openBareStream(const char* fileName, DWORD kind) {
  PAVISTREAM stream = nullptr;
  require(AVIStreamOpenFromFileA(&stream, fileName, kind, 0, OF_READ, nullptr) == 0, "AVIStreamOpenFromFile");
  return stream;
}

/// Writes the same frame, but for its first byte, `frameCount` times.
inline void writeBareFile(const char* fileName, VIDEOINFOHEADER format, std::vector<unsigned char>& frame,
                          long frameCount) {
  PAVIFILE file = nullptr;
  require(AVIFileOpenA(&file, fileName, OF_WRITE | OF_CREATE, nullptr) == 0, "AVIFileOpen");
  AVISTREAMINFOA info = {};
  info.fccType = streamtypeVIDEO;
  info.dwScale = static_cast<DWORD>(format.AvgTimePerFrame);
  info.dwRate = 10'000'000;
  PAVISTREAM stream = nullptr;
  require(AVIFileCreateStreamA(file, &stream, &info) == 0, "AVIFileCreateStream");
  require(AVIStreamSetFormat(stream, 0, &format.bmiHeader, sizeof format.bmiHeader) == 0, "AVIStreamSetFormat");
  for (long i = 0; i < frameCount; ++i) {
    frame[0] = static_cast<unsigned char>(i);
    require(AVIStreamWrite(stream, i, 1, frame.data(), static_cast<LONG>(frame.size()), AVIIF_KEYFRAME, nullptr,
                           nullptr) == 0,
            "AVIStreamWrite");
  }
  AVIStreamRelease(stream);
  AVIFileRelease(file);
}

}  // namespace quillet::bench
