#pragma once

/// @file
/// The root of the Video for Windows backend.

#include <quillet/audio_or_video_stream.h>

/// Root of every Video for Windows object: where its messages lie and which of its codes (vfw_error) are fatal.
class QUILLET_API VfWAudioOrVideoStream : public virtual AudioOrVideoStream {
 public:
  int maxLocalErrorCode() override;
  int errorMessages_resourceBase() override;
  bool local_ErrorIsFatal(int code) override;
  /// Closes what the object has open.
  ~VfWAudioOrVideoStream() override;
  bool usesDirectShow() override;

 protected:
  /// An object that is not open.
  VfWAudioOrVideoStream() = default;
};
