// A compressor in the system's list.

#pragma once

#include <gtest/gtest.h>

#include <windows.h>

#include <strmif.h>
#include <uuids.h>
#include <wrl/client.h>

namespace quillet::test {

/// A compressor that the system lists while this lives; there is none behind it but by class-object override.
struct RegisteredCompressor {
  explicit RegisteredCompressor(const wchar_t* name = L"Test compressor") {
    CoCreateGuid(&id);
    CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&mapper));
    REGFILTER2 details = {};
    details.dwVersion = 1;
    EXPECT_EQ(mapper->RegisterFilter(id, name, &moniker, &CLSID_VideoCompressorCategory, nullptr, &details), S_OK);
  }
  RegisteredCompressor(const RegisteredCompressor&) = delete;
  RegisteredCompressor& operator=(const RegisteredCompressor&) = delete;
  ~RegisteredCompressor() { remove(); }

  /// The moniker stays, but leads to nothing any more.
  void remove() const { mapper->UnregisterFilter(&CLSID_VideoCompressorCategory, nullptr, id); }

  CLSID id = {};
  Microsoft::WRL::ComPtr<IFilterMapper2> mapper;
  Microsoft::WRL::ComPtr<IMoniker> moniker;
};

}  // namespace quillet::test
