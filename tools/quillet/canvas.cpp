#include "canvas.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "shared/failure.h"
#include "shared/image_file.h"
#include "shared/text.h"

namespace quillet::client {
namespace {

constexpr int bytesPerPixel = 3;

std::unique_ptr<HDC, DcDeleter> memoryContext() {
  std::unique_ptr<HDC, DcDeleter> dc(CreateCompatibleDC(nullptr));
  if (dc == nullptr) {
    throw Failure("cannot draw: " + systemMessage(GetLastError()));
  }
  return dc;
}

/// A device context has the font and the colour while this lives.
class SelectedStyle {
 public:
  SelectedStyle(HDC dc, const TextStyle& style)
      : dc(dc),
        // Shades of grey: coloured edges would suit one kind of screen only. Where the font is missing, Windows takes the
        // one that is most like it.
        font(CreateFontW(-style.height, 0, 0, 0, style.weight, FALSE, FALSE, FALSE, DEFAULT_CHARSET, OUT_TT_PRECIS,
                         CLIP_DEFAULT_PRECIS, ANTIALIASED_QUALITY, VARIABLE_PITCH | FF_SWISS, L"Segoe UI")),
        previous(SelectObject(dc, font)) {
    SetTextColor(dc, style.color);
    SetBkMode(dc, TRANSPARENT);
  }
  SelectedStyle(const SelectedStyle&) = delete;
  SelectedStyle& operator=(const SelectedStyle&) = delete;
  ~SelectedStyle() {
    SelectObject(dc, previous);
    DeleteObject(font);
  }

 private:
  HDC dc;
  HFONT font;
  HGDIOBJ previous;
};

/// What a row or column of pixels gives to one of the smaller picture.
struct Share {
  int source;
  int target;
  int weight;  ///< Those of a target make up `size`.
};

std::vector<Share> sharesOf(int size, int targetSize) {
  std::vector<Share> shares;
  // On a scale on which both kinds have borders at whole numbers.
  for (int position = 0; position < size * targetSize;) {
    const int source = position / targetSize;
    const int target = position / size;
    const int end = std::min((source + 1) * targetSize, (target + 1) * size);
    shares.push_back({source, target, end - position});
    position = end;
  }
  return shares;
}

}  // namespace

SIZE textSize(const std::string& text, const TextStyle& style) {
  const auto dc = memoryContext();
  const SelectedStyle selected(dc.get(), style);
  const std::wstring wide = toUtf16(text);
  SIZE size = {};
  GetTextExtentPoint32W(dc.get(), wide.c_str(), static_cast<int>(wide.size()), &size);
  return size;
}

int headerWidth(const std::string& name, const std::string& details) {
  const LONG width = std::max(textSize(name, look::title).cx, textSize(details, look::details).cx);
  return static_cast<int>(width) + 2 * look::margin;
}

Canvas::Canvas(int width, int height) : dc(memoryContext()) {
  format.biSize = sizeof format;
  format.biWidth = width;
  format.biHeight = -height;
  format.biPlanes = 1;
  format.biBitCount = bytesPerPixel * 8;
  BITMAPINFO info = {};
  info.bmiHeader = format;
  void* pixels = nullptr;
  bitmap.reset(CreateDIBSection(dc.get(), &info, DIB_RGB_COLORS, &pixels, nullptr, 0));
  if (bitmap == nullptr) {
    throw Failure("not enough memory for a picture of " + std::to_string(width) + " x " + std::to_string(height));
  }
  bits = static_cast<unsigned char*>(pixels);
  SelectObject(dc.get(), bitmap.get());
  fill({0, 0, width, height}, look::background);
}

void Canvas::fill(const RECT& box, COLORREF color) {
  SetBkColor(dc.get(), color);
  ExtTextOutW(dc.get(), 0, 0, ETO_OPAQUE, &box, nullptr, 0, nullptr);
}

void Canvas::write(RECT box, const std::string& text, const TextStyle& style, UINT alignment) {
  const SelectedStyle selected(dc.get(), style);
  const std::wstring wide = toUtf16(text);
  DrawTextW(dc.get(), wide.c_str(), static_cast<int>(wide.size()), &box,
            alignment | DT_SINGLELINE | DT_NOPREFIX | DT_END_ELLIPSIS);
}

void Canvas::writeHeader(const std::string& name, const std::string& details) {
  constexpr int lineHeight = 25;
  const RECT box = {look::margin, look::margin - 4, format.biWidth - look::margin, look::headerHeight};
  write(box, name, look::title);
  write({box.left, box.top + lineHeight, box.right, box.bottom + lineHeight}, details, look::details);
}

void Canvas::shrink(const RECT& box, const BITMAPINFOHEADER& source, const unsigned char* sourceBits) {
  const int width = box.right - box.left;
  const int height = box.bottom - box.top;
  const LONG sourceHeight = std::abs(source.biHeight);
  const std::vector<Share> columns = sharesOf(source.biWidth, width);
  std::vector<std::uint64_t> sums(static_cast<std::size_t>(width) * height * bytesPerPixel);
  for (const Share& row : sharesOf(sourceHeight, height)) {
    const unsigned char* const pixels = rowOf(source, sourceBits, row.source);
    std::uint64_t* const target = sums.data() + static_cast<std::size_t>(row.target) * width * bytesPerPixel;
    for (const Share& column : columns) {
      const std::uint64_t weight = static_cast<std::uint64_t>(row.weight) * column.weight;
      for (int i = 0; i < bytesPerPixel; ++i) {
        target[column.target * bytesPerPixel + i] += weight * pixels[column.source * bytesPerPixel + i];
      }
    }
  }

  const std::uint64_t area = static_cast<std::uint64_t>(source.biWidth) * sourceHeight;
  GdiFlush();  // What was drawn before must not come after the pixels.
  for (int y = 0; y < height; ++y) {
    const std::uint64_t* const row = sums.data() + static_cast<std::size_t>(y) * width * bytesPerPixel;
    unsigned char* const target = const_cast<unsigned char*>(rowOf(format, bits, box.top + y)) +
                                  static_cast<std::ptrdiff_t>(box.left) * bytesPerPixel;  // Of this picture's own.
    std::transform(row, row + width * bytesPerPixel, target,
                   [&](std::uint64_t sum) { return static_cast<unsigned char>((sum + area / 2) / area); });
  }
}

void Canvas::save(const std::filesystem::path& path) const {
  GdiFlush();
  writeImage(path, format, bits);
}

}  // namespace quillet::client
