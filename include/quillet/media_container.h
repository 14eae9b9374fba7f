#pragma once

/// @file
/// What a media file holds.

#include <quillet/export.h>

/// Looks into a media file before any of its streams is opened. So far it only explains the errors of doing so.
class QUILLET_API MediaContainer {
 public:
  /// What can go wrong while a file's streams are counted.
  enum Error : int {
    Success = 0,
    NotEnoughMemory = 1,
    NoMediaDetector = 2,
    CannotOpenSourceFile = 3,
    CannotRetrieveStreamsNumber = 4,
    CannotSelectStream = 5,
    UnreadableMediaType = 6,
    NoGraphBuilderNorMediaDetector = 7,
    CannotCreateVideoRenderer = 8,
    CannotAddVideoRenderer = 9,
    CannotCreateAudioRenderer = 10,
    CannotAddAudioRenderer = 11,
    CannotRenderSourceFile = 12,
    NoRendererInputPin = 13
  };

  MediaContainer() = delete;

  /// @return the text of `e`, in one buffer that all callers share: valid until the next call on any thread, and not to
  ///     be called from two threads at once. NULL when `e` is outside 0..13.
  static const char* Message(Error e);
};
