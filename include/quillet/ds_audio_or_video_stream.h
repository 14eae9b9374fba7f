#pragma once

/// @file
/// The root of the DirectShow backend.

#include <quillet/audio_or_video_stream.h>

/// Root of every DirectShow object: where its messages lie and which of its codes (ds_error) are fatal.
class QUILLET_API DSAudioOrVideoStream : public virtual AudioOrVideoStream {
 public:
  int maxLocalErrorCode() override;
  int errorMessages_resourceBase() override;
  bool local_ErrorIsFatal(int code) override;
  /// Closes what the object has open.
  ~DSAudioOrVideoStream() override;
  bool usesDirectShow() override;

 protected:
  /// An object that is not open.
  DSAudioOrVideoStream() = default;
};
