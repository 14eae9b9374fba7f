// A compressor filter whose configuration a test can watch.

#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <windows.h>

#include <strmif.h>
#include <wrl/client.h>

#include "directshow/base/c_media_type.h"

namespace quillet::test {

/// What a compressor offers and refuses to do, and what it was told. Shared with the test.
struct CompressorScript {
  struct Capability {
    CMediaType type;
    AUDIO_STREAM_CONFIG_CAPS choices;
  };

  HRESULT answer(const std::string& method) const { return faults.contains(method) ? faults.at(method) : S_OK; }

  template <class Value>
  HRESULT record(const std::string& method, Value value) {
    calls.push_back(method + " " + std::to_string(value));
    return answer(method);
  }

  bool hasOutput = true;
  std::vector<IID> missing = {};               ///< Interfaces that neither the filter nor its output has.
  std::map<std::string, HRESULT> faults = {};  ///< What methods answer in place of S_OK.
  std::vector<std::string> calls = {};         ///< The methods that change something, with their arguments.
  HWND owner = nullptr;                   ///< The window that was given to the codec's dialog.

  CMediaType connection = {};  ///< What the output connects with.
  CMediaType format = {};      ///< What it says that its format is.
  std::vector<std::optional<Capability>> capabilities = {};
  long flags = 0;  ///< Of CompressionCaps.
  long keyFrameRate = -1;
  long pFrames = -1;
  double quality = -1;
  DWORDLONG windowSize = 1;
  GUID page = {};  ///< Its property page; none when null.
};

/// Makes a compressor that takes everything and compresses nothing.
Microsoft::WRL::ComPtr<IBaseFilter> testCompressor(std::shared_ptr<CompressorScript> script);

}  // namespace quillet::test
