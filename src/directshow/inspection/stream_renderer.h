// A renderer that streams of one kind end in, without a window, a sound device or a decoder.

#pragma once

#include <windows.h>

#include <strmif.h>

#include "directshow/base/c_base_filter.h"

namespace quillet {

/// A renderer for graphs that are built but never run. The system's own will not do to find a file's streams: the audio
/// renderer needs a sound device, the video renderer a decoder, and the null renderer takes the file itself before it is
/// split into its streams.
class StreamRenderer : public CBaseFilter {
 public:
  /// @param takes whether a stream of a type may end here. MEDIATYPE_Stream never may: that is what is still to be split.
  explicit StreamRenderer(bool (*takes)(const AM_MEDIA_TYPE&));

 private:
  class Input;
};

}  // namespace quillet
