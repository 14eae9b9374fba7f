// A renderer that streams of one kind end in, without a window, a sound device or a decoder.

#pragma once

#include <windows.h>

#include <strmif.h>

#include "directshow/base/c_base_filter.h"

namespace quillet {

/// A renderer for graphs that are built but never run. Neither the system's audio renderer, which needs a sound device,
/// nor its null renderer, to which a graph connects the file itself instead of its streams, finds streams everywhere.
class StreamRenderer : public CBaseFilter {
 public:
  /// @param takes whether a stream of a type may end here. Byte streams may not: a file has to be split into its streams.
  explicit StreamRenderer(bool (*takes)(const AM_MEDIA_TYPE&));

 private:
  class Input;
};

}  // namespace quillet
