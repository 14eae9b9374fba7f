#include "support/test_codec.h"

#include <algorithm>
#include <functional>
#include <stdexcept>

#include <vfw.h>

namespace quillet::test {
namespace {

LRESULT query(const BITMAPINFOHEADER* input, const BITMAPINFOHEADER* output) {
  const bool fits = output == nullptr || (output->biCompression == BI_RGB && output->biBitCount == 24 &&
                                          output->biWidth == input->biWidth && output->biHeight == input->biHeight);
  return input->biCompression == TestCodec::fourcc && fits ? ICERR_OK : ICERR_BADFORMAT;
}

LRESULT formatOfOutput(const BITMAPINFOHEADER* input, BITMAPINFOHEADER* output) {
  if (output == nullptr) {
    return sizeof *output;
  }
  *output = *input;
  output->biCompression = BI_RGB;
  output->biBitCount = 24;
  return ICERR_OK;
}

LRESULT decompress(const ICDECOMPRESS& frame) {
  const DWORD size = frame.lpbiOutput->biSizeImage;
  auto* const output = static_cast<BYTE*>(frame.lpOutput);
  const auto* const input = static_cast<const BYTE*>(frame.lpInput);
  // The frame's own word counts: not every caller marks delta frames.
  switch (*input) {
    case TestCodec::key:
      std::copy_n(input + 1, size, output);
      return ICERR_OK;
    case TestCodec::delta:
      std::transform(output, output + size, input + 1, output, std::plus<BYTE>());
      return ICERR_OK;
    default:
      return ICERR_ERROR;
  }
}

LRESULT CALLBACK driver(DWORD_PTR, HDRVR, UINT message, LPARAM first, LPARAM second) {
  const auto* const input = reinterpret_cast<const BITMAPINFOHEADER*>(first);
  switch (message) {
    case DRV_LOAD:
    case DRV_ENABLE:
    case DRV_OPEN:
    case DRV_CLOSE:
    case DRV_DISABLE:
    case DRV_FREE:
      return TRUE;
    case ICM_DECOMPRESS_QUERY:
    case ICM_DECOMPRESS_BEGIN:
      return query(input, reinterpret_cast<const BITMAPINFOHEADER*>(second));
    case ICM_DECOMPRESS_GET_FORMAT:
      return formatOfOutput(input, reinterpret_cast<BITMAPINFOHEADER*>(second));
    case ICM_DECOMPRESS:
      return decompress(*reinterpret_cast<const ICDECOMPRESS*>(first));
    case ICM_DECOMPRESS_END:
      return ICERR_OK;
    default:
      return ICERR_UNSUPPORTED;
  }
}

}  // namespace

TestCodec::TestCodec() {
  if (!ICInstall(ICTYPE_VIDEO, fourcc, reinterpret_cast<LPARAM>(driver), nullptr, ICINSTALL_FUNCTION)) {
    throw std::runtime_error("the codec cannot be installed");
  }
}

TestCodec::~TestCodec() {
  ICRemove(ICTYPE_VIDEO, fourcc, 0);
}

Bytes TestCodec::frame(Kind kind, const Bytes& pixels) {
  Bytes frame(1 + pixels.size(), kind);
  std::copy(pixels.begin(), pixels.end(), frame.begin() + 1);
  return frame;
}

}  // namespace quillet::test
