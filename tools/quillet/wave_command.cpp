// quillet wave: the waveform of an audio stream as a picture.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "canvas.h"
#include "command_line.h"
#include "interruption.h"
#include "progress_line.h"
#include "shared/failure.h"
#include "shared/image_file.h"
#include "shared/peak_reader.h"
#include "shared/text.h"
#include "stream_access.h"

namespace quillet::client {
namespace {

constexpr long defaultWidth = 1200;
constexpr long leastWidth = 100;
constexpr long mostWidth = 20000;
constexpr int mostLanes = 8;

constexpr Argument arguments[] = {fileArgument};
constexpr Option outputOption = {"--output", "IMAGE", "file to write, .png or .bmp", "-o", true};
constexpr Option widthOption = {"--width", "PIXELS", "width of the waveform, from 100 to 20000 (default: 1200)"};
constexpr Option options[] = {outputOption, widthOption, streamOption, backendOption};

constexpr int laneHeight = 161;  // Odd: there is a middle row.
constexpr int laneGap = 8;
constexpr int axisHeight = 28;
constexpr int tickHeight = 5;
constexpr COLORREF laneColor = RGB(38, 40, 44);
constexpr COLORREF gridColor = RGB(56, 59, 65);
constexpr COLORREF peakColor = RGB(58, 124, 199);
constexpr COLORREF rmsColor = RGB(134, 190, 244);

/// The row of a value from -1 to 1, from a lane's top.
int rowOfValue(float value) {
  constexpr float half = (laneHeight - 1) / 2.0F;
  return static_cast<int>(std::lround(half - std::clamp(value, -1.0F, 1.0F) * half));
}

/// A time between two ticks that people count in, whose pixels are enough for a tick's text.
/// @return milliseconds.
double tickStep(double msPerPixel, int textWidth) {
  constexpr double second = 1000.0;
  constexpr double minute = 60 * second;
  constexpr double hour = 60 * minute;
  constexpr double steps[] = {1,           2,        5,          10,         20,          50,          100,
                              200,         500,      second,     2 * second, 5 * second,  10 * second, 15 * second,
                              30 * second, minute,   2 * minute, 5 * minute, 10 * minute, 15 * minute, 30 * minute,
                              hour,        2 * hour, 3 * hour,   6 * hour,   12 * hour};
  const double least = msPerPixel * textWidth;
  const auto* const found = std::ranges::find_if(steps, [&](double step) { return step >= least; });
  return found != std::end(steps) ? *found
                                  : steps[std::size(steps) - 1] * std::ceil(least / steps[std::size(steps) - 1]);
}

/// The text of a tick. Milliseconds only where ticks need them.
std::string tickText(double ms, double step) {
  constexpr double msPerSecond = 1000.0;
  const std::string text = timeText(ms);
  return step < msPerSecond ? text : text.substr(0, text.find('.'));
}

/// The lanes, one below the other, and the axis under them.
class WaveformPicture {
 public:
  WaveformPicture(const std::string& name, const std::string& details, int width, int lanes)
      : lanes{look::margin, look::margin + look::headerHeight, look::margin + width,
              look::margin + look::headerHeight + lanes * (laneHeight + laneGap) - laneGap},
        canvas(std::max(width + 2 * look::margin, headerWidth(name, details)),
               static_cast<int>(this->lanes.bottom) + axisHeight + look::margin) {
    canvas.writeHeader(name, details);
    for (int lane = 0; lane < lanes; ++lane) {
      canvas.fill({this->lanes.left, laneTop(lane), this->lanes.right, laneTop(lane) + laneHeight}, laneColor);
    }
  }

  /// @param duration in milliseconds.
  void drawAxis(double duration) {
    const double msPerPixel = duration / (lanes.right - lanes.left);
    const int textWidth = static_cast<int>(textSize(timeText(duration), look::details).cx);
    const double step = tickStep(msPerPixel, textWidth + textWidth / 2);
    for (int tick = 0; tick * step < duration; ++tick) {
      const LONG x = lanes.left + static_cast<LONG>(tick * step / msPerPixel);
      for (LONG top = lanes.top; top < lanes.bottom; top += laneHeight + laneGap) {
        canvas.fill({x, top, x + 1, top + laneHeight}, gridColor);
      }
      canvas.fill({x, lanes.bottom, x + 1, lanes.bottom + tickHeight}, look::details.color);
      const RECT box = {x + 4, lanes.bottom + 4, x + 4 + textWidth + textWidth / 2, lanes.bottom + axisHeight};
      const std::string text = tickText(tick * step, step);
      if (box.left + textSize(text, look::details).cx <= lanes.right) {
        canvas.write(box, text, look::details);
      }
    }
  }

  void drawWaveform(int lane, const std::vector<Peak>& peaks) {
    const LONG top = laneTop(lane);
    for (std::size_t i = 0; i < peaks.size(); ++i) {
      const Peak& peak = peaks[i];
      const Peak& previous = peaks[i == 0 ? 0 : i - 1];
      // As far as the neighbour reaches: the line of the sound has no gaps.
      drawColumn(i, top, std::min(peak.least, previous.greatest), std::max(peak.greatest, previous.least), peakColor);
      drawColumn(i, top, std::max(peak.least, -peak.rms), std::min(peak.greatest, peak.rms), rmsColor);
    }
  }

  void save(const std::filesystem::path& path) const { canvas.save(path); }

 private:
  LONG laneTop(int lane) const { return lanes.top + lane * (laneHeight + laneGap); }

  void drawColumn(std::size_t column, LONG top, float least, float greatest, COLORREF color) {
    const LONG x = lanes.left + static_cast<LONG>(column);
    canvas.fill({x, top + rowOfValue(greatest), x + 1, top + rowOfValue(least) + 1}, color);
  }

  RECT lanes;
  Canvas canvas;
};

std::string detailsOf(const WAVEFORMATEX& format, double duration) {
  char text[128];
  std::snprintf(text, sizeof text, "%lu Hz    %d channel%s%s    %s", format.nSamplesPerSec, format.nChannels,
                format.nChannels == 1 ? "" : "s", format.nChannels > mostLanes ? ", the first 8 shown" : "",
                timeText(duration).c_str());
  return text;
}

void readAll(AudioSourceStream& stream, PeakReader& reader) {
  ProgressLine progress("Reading samples");
  FirstWarning warning;
  while (reader.readPiece()) {
    throwIfInterrupted();
    warning.look(stream);
    progress.show(reader.samplesDone(), reader.samplesTotal(), "samples");
  }
}

void run(const CommandLine& line) {
  const long width = line.numberOr(defaultWidth, widthOption.name, leastWidth, mostWidth);
  const std::filesystem::path output = line.text(outputOption.name);
  requireImageName(output);
  MediaFile file(line);
  const auto stream = file.open<AudioSourceStream>(line);
  if (stream->duration() < 1) {
    throw Failure("'" + displayName(file.path()) + "' has no samples");
  }
  PeakReader reader(*stream, 0, stream->duration() - 1, width);
  readAll(*stream, reader);

  constexpr double msPerSecond = 1000.0;
  const WAVEFORMATEX format = *stream->format();
  const double duration = stream->duration() * msPerSecond / format.nSamplesPerSec;
  const int lanes = std::min(reader.channels(), mostLanes);
  WaveformPicture picture(displayName(file.path().filename()), detailsOf(format, duration), width, lanes);
  picture.drawAxis(duration);
  for (int lane = 0; lane < lanes; ++lane) {
    picture.drawWaveform(lane, reader.peaks(lane));
  }
  picture.save(output);
  std::printf("%s: %ld samples\n", displayName(output).c_str(), reader.samplesTotal());
}

}  // namespace

const Command waveCommand = {"wave", "Write the waveform of an audio stream as a picture", arguments, options, run};

}  // namespace quillet::client
