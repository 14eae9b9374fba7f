#include "support/test_codec.h"

#include <algorithm>
#include <stdexcept>

namespace quillet::test {
namespace {

bool isRgb(const BITMAPINFOHEADER& format) {
  return format.biCompression == BI_RGB && format.biBitCount == 24;
}

LRESULT queryDecompression(const BITMAPINFOHEADER& input, const BITMAPINFOHEADER* output) {
  const bool fits =
      output == nullptr || (isRgb(*output) && output->biWidth == input.biWidth && output->biHeight == input.biHeight);
  return input.biCompression == TestCodec::fourcc && fits ? ICERR_OK : ICERR_BADFORMAT;
}

/// Derives the format of pictures from that of frames, or the other way round.
LRESULT convert(const BITMAPINFOHEADER& input, BITMAPINFOHEADER* output, DWORD compression) {
  if (output == nullptr) {
    return sizeof *output;
  }
  *output = input;
  output->biCompression = compression;
  output->biBitCount = 24;
  output->biSizeImage += compression == TestCodec::fourcc ? 1 : 0;
  return ICERR_OK;
}

LRESULT decompress(const ICDECOMPRESS& frame) {
  const auto* const input = static_cast<const BYTE*>(frame.lpInput);
  std::copy_n(input + 1, frame.lpbiOutput->biSizeImage, static_cast<BYTE*>(frame.lpOutput));
  return *input == TestCodec::good ? ICERR_OK : ICERR_ERROR;
}

LRESULT compress(const ICCOMPRESS& frame) {
  const DWORD size = frame.lpbiInput->biSizeImage;
  auto* const output = static_cast<BYTE*>(frame.lpOutput);
  *output = TestCodec::good;
  std::copy_n(static_cast<const BYTE*>(frame.lpInput), size, output + 1);
  *frame.lpdwFlags = AVIIF_KEYFRAME;
  frame.lpbiOutput->biSizeImage = size + 1;
  return ICERR_OK;
}

LRESULT describe(ICINFO& info) {
  info.fccType = ICTYPE_VIDEO;
  info.fccHandler = TestCodec::fourcc;
  std::copy_n(L"Test codec", 11, info.szDescription);
  return sizeof info;
}

// The one codec that lives.
TestCodec* installed = nullptr;

}  // namespace

LRESULT CALLBACK TestCodec::driver(DWORD_PTR, HDRVR, UINT message, LPARAM first, LPARAM second) {
  const auto& input = *reinterpret_cast<const BITMAPINFOHEADER*>(first);
  auto* const output = reinterpret_cast<BITMAPINFOHEADER*>(second);
  switch (message) {
    case ICM_DECOMPRESS_QUERY:
    case ICM_DECOMPRESS_BEGIN:
      return queryDecompression(input, output);
    case ICM_DECOMPRESS_GET_FORMAT:
      return convert(input, output, BI_RGB);
    case ICM_DECOMPRESS:
      return decompress(*reinterpret_cast<const ICDECOMPRESS*>(first));
    case ICM_DECOMPRESS_END:
    case ICM_COMPRESS_END:
      return ICERR_OK;
    case ICM_GETINFO:
      return describe(*reinterpret_cast<ICINFO*>(first));
    case ICM_COMPRESS_QUERY:
    case ICM_COMPRESS_BEGIN:
      return isRgb(input) ? ICERR_OK : ICERR_BADFORMAT;
    case ICM_COMPRESS_GET_FORMAT:
      return convert(input, output, TestCodec::fourcc);
    case ICM_COMPRESS_GET_SIZE:
      return static_cast<LRESULT>(input.biSizeImage) + 1;
    case ICM_COMPRESS:
      return compress(*reinterpret_cast<const ICCOMPRESS*>(first));
    case ICM_CONFIGURE:
      if (!installed->dialog) {
        return static_cast<DWORD>(ICERR_UNSUPPORTED);  // Without its sign in 64 bits, as others answer, too.
      }
      if (first != ICMF_CONFIGURE_QUERY) {
        installed->owner = reinterpret_cast<HWND>(first);
        installed->dialog(installed->state);
      }
      return ICERR_OK;
    case ICM_GETSTATE:
      if (first == 0) {
        return static_cast<LRESULT>(installed->state.size());
      }
      std::copy_n(installed->state.data(), second, reinterpret_cast<std::uint8_t*>(first));
      return installed->stateResult;
    case ICM_SETSTATE: {
      const auto* const state = reinterpret_cast<const std::uint8_t*>(first);
      const bool isState = second == 0 || second == static_cast<LPARAM>(installed->state.size());
      if (second != 0 && isState) {
        installed->state.assign(state, state + second);
      }
      return isState ? second : 0;
    }
    default:
      return message <= DRV_FREE ? TRUE : ICERR_UNSUPPORTED;  // It is loaded, opened and closed.
  }
}

TestCodec::TestCodec() {
  installed = this;
  if (!ICInstall(ICTYPE_VIDEO, fourcc, reinterpret_cast<LPARAM>(driver), nullptr, ICINSTALL_FUNCTION)) {
    throw std::runtime_error("the codec cannot be installed");
  }
}

TestCodec::~TestCodec() {
  ICRemove(ICTYPE_VIDEO, fourcc, 0);
  installed = nullptr;
}

Bytes TestCodec::frame(Kind kind, const Bytes& pixels) {
  Bytes frame(1 + pixels.size(), kind);
  std::copy(pixels.begin(), pixels.end(), frame.begin() + 1);
  return frame;
}

}  // namespace quillet::test
