// How a stream is compressed, by the names that users have for it.

#pragma once

#include <string>
#include <utility>
#include <vector>

#include <windows.h>

#include <mmreg.h>
#include <vfw.h>

namespace quillet::client {

inline constexpr char audioFormatHelp[] =
    "compressed format of the samples: ima-adpcm, ms-adpcm, alaw, ulaw, gsm, mp3 or a format tag (default: PCM)";

/// The name of a format of audio, compressed or not, by its tag.
std::string tagName(WORD tag);

/// A compressor of Video for Windows.
class Compression {
 public:
  /// The video compressor of a FOURCC.
  static Compression ofVideo(const std::string& fourcc);

  /// The audio format of a name or number, as far as the system can convert `source` to it.
  static Compression ofAudio(const std::string& name, const WAVEFORMATEX& source);

  const std::string& name() const { return givenName; }

  /// Points into this object.
  AVICOMPRESSOPTIONS& options();

 private:
  explicit Compression(std::string name) : givenName(std::move(name)) {}

  std::string givenName;
  std::vector<BYTE> format;
  AVICOMPRESSOPTIONS chosenOptions = {};
};

}  // namespace quillet::client
