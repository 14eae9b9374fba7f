// The two ways to count the streams of a media file.

#pragma once

#include <windows.h>

#include <quillet/media_container.h>

namespace quillet {

/// How many streams of each kind there are.
struct StreamCount {
  /// Counts a stream of this type.
  void add(const AM_MEDIA_TYPE& type);

  int video = 0;
  int audio = 0;
};

/// Counts the streams that the system's media detector finds in a file.
/// @throws std::bad_alloc
MediaContainer::Error countWithDetector(const OLECHAR* fileName, StreamCount& count);

/// Counts the streams of a file by the renderers that a filter graph connects them to. The graph is not run.
/// @throws std::bad_alloc
MediaContainer::Error countWithGraph(const OLECHAR* fileName, StreamCount& count);

}  // namespace quillet
