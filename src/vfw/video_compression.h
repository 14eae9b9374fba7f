// The choice of a video compressor, with its settings, and all that has to be freed with it.

#pragma once

#include <memory>

#include <windows.h>

#include <vfw.h>

namespace quillet {

class VideoCompression {
 public:
  VideoCompression() = default;
  VideoCompression(const VideoCompression&) = delete;
  VideoCompression& operator=(const VideoCompression&) = delete;
  ~VideoCompression();

  bool isSet() const { return hasCompressor; }

  /// Makes `chosen` the compression: what the client gave, of which only the record is copied, or this object's own
  /// options, filled in by choose().
  void set(const AVICOMPRESSOPTIONS& chosen);

  /// Lets the user fill in the options.
  /// @return vfw_error::success, compressionDialogError or output_error::dialogCancelled.
  int choose(HWND parent, PAVISTREAM stream);

  /// Shows the compressor's own dialog, and keeps the state that it leaves.
  /// @return an error code.
  int configure(HWND parent);

  /// Forgets the compressor, and frees what came with it.
  void reset();

  AVICOMPRESSOPTIONS& options() { return chosenOptions; }

 private:
  int storeState(HIC compressor);
  void restoreState();

  AVICOMPRESSOPTIONS chosenOptions = {};
  bool hasCompressor = false;
  bool isFromDialog = false;  // AVISaveOptions allocated what the options point at.

  // The state that configure() got; the options then point at it, and here is what they pointed at before.
  std::unique_ptr<BYTE[]> configuredState;
  LPVOID savedParms = nullptr;
  DWORD savedParmsSize = 0;
};

}  // namespace quillet
