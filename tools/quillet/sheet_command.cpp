// quillet sheet: frames of the whole stream at a glance.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "canvas.h"
#include "command_line.h"
#include "interruption.h"
#include "progress_line.h"
#include "shared/failure.h"
#include "shared/image_file.h"
#include "shared/library_stream.h"
#include "shared/text.h"
#include "stream_access.h"

namespace quillet::client {
namespace {

constexpr long defaultCount = 20;
constexpr long mostFrames = 1000;

constexpr Argument arguments[] = {fileArgument};
constexpr Option countOption = {"--count", "COUNT",
                                "frames to show, at most 1000 (default: 20, or all when there are fewer)", "-n"};
constexpr Option outputOption = {"--output", "IMAGE", "file to write, .png or .bmp (default: sheet.png, here)", "-o"};
constexpr Option options[] = {countOption, outputOption, streamOption, backendOption};

constexpr int thumbnailSide = 240;  // Of the square that a thumbnail fits into.
constexpr int gap = 10;
constexpr int labelHeight = 22;

/// The frames of a sheet: evenly spread, the first and the last among them.
struct Choice {
  long count;
  long frames;

  long frame(long i) const {
    const long long steps = std::max(count - 1, 1L);
    return static_cast<long>((i * (frames - 1LL) + steps / 2) / steps);
  }
};

/// "#1234   0:41.133"
std::string labelOf(VideoSourceStream& stream, long frame) {
  return "#" + std::to_string(frame) + "   " + timeText(timeOf(stream, frame));
}

std::string detailsOf(VideoSourceStream& stream) {
  const BITMAPINFOHEADER& format = *stream.format();
  char text[128];
  std::snprintf(text, sizeof text, "%ld \xC3\x97 %ld    %ld frames    %.6g frames/s", format.biWidth,
                std::abs(format.biHeight), stream.duration(), stream.frameRate());
  const double duration = stream.msDuration();
  return duration >= 0.0 ? text + ("    " + timeText(duration)) : text;
}

/// Where everything is on the sheet.
class Layout {
 public:
  /// @param labelWidth of the widest label.
  /// @param leastWidth of the sheet.
  Layout(const BITMAPINFOHEADER& frame, long count, int labelWidth, int leastWidth) {
    const double frameWidth = frame.biWidth;
    const double frameHeight = std::abs(frame.biHeight);
    const double scale = std::min(1.0, thumbnailSide / std::max(frameWidth, frameHeight));
    thumbnailWidth = std::max(1L, std::lround(frameWidth * scale));
    thumbnailHeight = std::max(1L, std::lround(frameHeight * scale));
    cellWidth = std::max<long>(thumbnailWidth, labelWidth) + gap;
    cellHeight = thumbnailHeight + labelHeight + gap;
    constexpr double shape = 1.5;  // Width to height, about.
    const long shapely = std::lround(std::sqrt(shape * count * cellHeight / cellWidth));
    columns = std::clamp(std::max(shapely, (leastWidth - 2 * look::margin + gap) / cellWidth), 1L, count);
    const long rows = (count + columns - 1) / columns;
    sheetWidth = std::max<long>(2 * look::margin + columns * cellWidth - gap, leastWidth);
    sheetHeight = look::margin + look::headerHeight + rows * cellHeight;
  }

  int width() const { return sheetWidth; }
  int height() const { return sheetHeight; }

  RECT thumbnail(long i) const {
    const LONG left = look::margin + i % columns * cellWidth + (cellWidth - gap - thumbnailWidth) / 2;
    const LONG top = look::margin + look::headerHeight + i / columns * cellHeight;
    return {left, top, left + thumbnailWidth, top + thumbnailHeight};
  }

  RECT label(long i) const {
    const LONG left = look::margin + i % columns * cellWidth;
    const LONG top = thumbnail(i).bottom + 3;
    return {left, top, left + cellWidth - gap, top + labelHeight};
  }

 private:
  long thumbnailWidth, thumbnailHeight;
  long cellWidth, cellHeight;
  long columns;
  int sheetWidth, sheetHeight;
};

void run(const CommandLine& line) {
  const long wanted = line.numberOr(defaultCount, countOption.name, 1, mostFrames);
  const std::filesystem::path output = line.has(outputOption.name) ? line.text(outputOption.name) : L"sheet.png";
  requireImageName(output);
  MediaFile file(line);
  const auto stream = file.open<VideoSourceStream>(line);
  const BITMAPINFOHEADER format = *stream->format();
  const Choice choice = {std::min(wanted, stream->duration()), stream->duration()};
  if (choice.count < 1) {
    throw Failure("'" + displayName(file.path()) + "' has no frames");
  }

  const std::string name = displayName(file.path().filename());
  const std::string details = detailsOf(*stream);
  const SIZE widestLabel = textSize(labelOf(*stream, choice.frames - 1), look::label);
  const Layout layout(format, choice.count, widestLabel.cx, headerWidth(name, details));
  Canvas sheet(layout.width(), layout.height());
  sheet.writeHeader(name, details);

  ProgressLine progress("Reading frames");
  FirstWarning warning;
  for (long i = 0; i < choice.count; ++i) {
    throwIfInterrupted();
    const DecodedFrame frame = decodedFrame(*stream, choice.frame(i));
    warning.look(*stream);
    sheet.shrink(layout.thumbnail(i), format, frame.bits);
    sheet.write(layout.label(i), labelOf(*stream, frame.number), look::label, DT_CENTER);
    progress.show(i + 1, choice.count, "frames");
  }
  sheet.save(output);
  std::printf("%s: %ld of %ld frames\n", displayName(output).c_str(), choice.count, choice.frames);
}

}  // namespace

const Command sheetCommand = {"sheet",
                              "Write a contact sheet: frames spread evenly over a stream, with numbers and times",
                              arguments, options, run};

}  // namespace quillet::client
