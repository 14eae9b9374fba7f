// The compressor filters that the system lists, by the names under which users know them.

#pragma once

#include <string>
#include <vector>

#include <windows.h>

#include <strmif.h>
#include <wrl/client.h>

namespace quillet {

/// The system's list of compressors for one kind of stream. The operations answer a ds_error code, and may throw
/// std::bad_alloc. A compressor whose name cannot be read is as good as absent.
class CompressorList {
 public:
  /// Must come first.
  int open(bool isVideo);

  /// Lists the names in the system's order, in the ANSI code page.
  int readNames(std::vector<std::string>& names);

  /// Looks again, for the first compressor of a name: it may have been removed since.
  int find(const std::string& name, Microsoft::WRL::ComPtr<IMoniker>& found);

 private:
  template <class Visitor>
  int visitAll(Visitor visitor);

  Microsoft::WRL::ComPtr<IEnumMoniker> monikers;
};

}  // namespace quillet
