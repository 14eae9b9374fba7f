#include "shared/image_file.h"

#include <cstdlib>

#include <wincodec.h>
#include <wrl/client.h>

#include "shared/failure.h"
#include "shared/output_file.h"
#include "shared/text.h"

using Microsoft::WRL::ComPtr;

namespace quillet::client {
namespace {

const GUID* containerOf(const std::filesystem::path& path) {
  const std::wstring extension = path.extension().native();
  if (_wcsicmp(extension.c_str(), L".png") == 0) {
    return &GUID_ContainerFormatPng;
  }
  if (_wcsicmp(extension.c_str(), L".bmp") == 0) {
    return &GUID_ContainerFormatBmp;
  }
  return nullptr;
}

/// Bytes of a row, which is filled up to whole double words.
UINT rowSizeOf(const BITMAPINFOHEADER& format) {
  return (static_cast<UINT>(format.biWidth) * 3 + 3) & ~3U;
}

/// Writes the rows from the top, each from where the DIB has it.
HRESULT writeRows(IWICBitmapFrameEncode& frame, const BITMAPINFOHEADER& format, const unsigned char* bits) {
  const UINT rowSize = rowSizeOf(format);
  for (LONG row = 0; row < std::abs(format.biHeight); ++row) {
    BYTE* const pixels = const_cast<BYTE*>(rowOf(format, bits, row));  // Only read.
    if (const HRESULT result = frame.WritePixels(1, rowSize, rowSize, pixels); FAILED(result)) {
      return result;
    }
  }
  return S_OK;
}

HRESULT encode(IWICImagingFactory& factory, IStream& image, const GUID& container, const BITMAPINFOHEADER& format,
               const unsigned char* bits) {
  ComPtr<IWICBitmapEncoder> encoder;
  ComPtr<IWICBitmapFrameEncode> frame;
  HRESULT result = factory.CreateEncoder(container, nullptr, &encoder);
  if (SUCCEEDED(result)) {
    result = encoder->Initialize(&image, WICBitmapEncoderNoCache);
  }
  if (SUCCEEDED(result)) {
    result = encoder->CreateNewFrame(&frame, nullptr);
  }
  if (SUCCEEDED(result)) {
    result = frame->Initialize(nullptr);
  }
  if (SUCCEEDED(result)) {
    result = frame->SetSize(format.biWidth, std::abs(format.biHeight));
  }
  WICPixelFormatGUID pixelFormat = GUID_WICPixelFormat24bppBGR;
  if (SUCCEEDED(result)) {
    result = frame->SetPixelFormat(&pixelFormat);
  }
  // The encoder answers the nearest format that it has; the pixels are not converted.
  if (SUCCEEDED(result) && !IsEqualGUID(pixelFormat, GUID_WICPixelFormat24bppBGR)) {
    result = WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
  }
  if (SUCCEEDED(result)) {
    result = writeRows(*frame.Get(), format, bits);
  }
  if (SUCCEEDED(result)) {
    result = frame->Commit();
  }
  return SUCCEEDED(result) ? encoder->Commit() : result;
}

}  // namespace

void requireImageName(const std::filesystem::path& path) {
  if (containerOf(path) == nullptr) {
    throw wrongUsage("'" + displayName(path) + "' ends neither in .png nor in .bmp");
  }
}

const unsigned char* rowOf(const BITMAPINFOHEADER& format, const unsigned char* bits, LONG row) {
  const LONG dibRow = format.biHeight < 0 ? row : format.biHeight - 1 - row;
  return bits + static_cast<std::size_t>(dibRow) * rowSizeOf(format);
}

void writeImage(const std::filesystem::path& path, const BITMAPINFOHEADER& format, const unsigned char* bits) {
  requireImageName(path);
  const auto require = [&](HRESULT result) {
    if (FAILED(result)) {
      throw writeFailure(path, systemMessage(static_cast<DWORD>(result)));
    }
  };
  ComPtr<IWICImagingFactory> factory;
  require(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&factory)));
  // In memory first: the encoder's own files do not tell of a full disk.
  ComPtr<IStream> image;
  HGLOBAL memory = nullptr;
  require(CreateStreamOnHGlobal(nullptr, TRUE, &image));
  require(encode(*factory.Get(), *image.Get(), *containerOf(path), format, bits));
  STATSTG stat = {};
  require(image->Stat(&stat, STATFLAG_NONAME));
  require(GetHGlobalFromStream(image.Get(), &memory));
  PendingFile file(path);
  file.write(GlobalLock(memory), static_cast<std::size_t>(stat.cbSize.QuadPart));
  file.complete();
}

}  // namespace quillet::client
