// The conversion of written samples to a compressed format by the Audio Compression Manager, block by block.

#pragma once

#include <vector>

#include <windows.h>

#include <mmreg.h>
#include <vfw.h>

#include "platform/handles.h"

namespace quillet {

class AudioCompression {
 public:
  bool isSet() const { return acmStream != nullptr; }

  /// Makes `chosen` the compression: what the client gave, of which only the record is copied, or this object's own
  /// options, filled in by choose().
  /// @return vfw_error::success or cannotSetCompressor.
  int set(const AVICOMPRESSOPTIONS& chosen, const WAVEFORMATEX& source);

  /// Lets the user choose a format that `source` can be converted to.
  /// @return an error code.
  int choose(HWND parent, const WAVEFORMATEX& source);

  AVICOMPRESSOPTIONS& options() { return chosenOptions; }

  /// The format that samples are converted to, once a compressor is set.
  const WAVEFORMATEX& format() const { return *static_cast<const WAVEFORMATEX*>(chosenOptions.lpFormat); }

  /// Readies for a stream of samples that come in at most `mostBytes` at a time.
  /// @return vfw_error::success, notEnoughMemory or cannotInitializeAudioCompressor.
  int start(long long mostBytes);

  /// Converts as many whole blocks as the samples in `data` make with what is still unconverted. output() has the blocks.
  /// @return vfw_error::success, audioCompressionFailure, or audioCompressionOverflow, which takes none of them.
  int convert(const unsigned char* data, DWORD size);

  /// Converts what is left, at the end of the stream. output() has the blocks.
  /// @return whether there are any.
  bool finish();

  /// Lets the compressor go: isSet() is false then.
  void close();

  /// What was converted last: `outputBlocks` of the format's blocks, whose number in the stream is `nextBlock`.
  unsigned char* output() { return compressed.data(); }
  DWORD outputSize() { return conversion->cbDstLengthUsed; }
  DWORD outputBlocks() { return outputSize() / format().nBlockAlign; }
  long nextBlock = 0;

 private:
  AVICOMPRESSOPTIONS chosenOptions = {};
  std::vector<BYTE> chosenFormat;  // From the dialog; the options point at it then.
  AcmStreamHandle acmStream;
  std::vector<BYTE> samples;
  std::vector<BYTE> compressed;
  AcmHeader conversion;  // Its source length counts the unconverted bytes. Stands behind what it is prepared for.
  bool conversionStarted = false;
};

}  // namespace quillet
