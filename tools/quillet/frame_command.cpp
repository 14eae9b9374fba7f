// quillet frame: a frame as an image.

#include <cstdio>
#include <string>

#include "command_line.h"
#include "image_file.h"
#include "library_stream.h"
#include "stream_access.h"
#include "text.h"

namespace quillet::client {
namespace {

constexpr Argument arguments[] = {fileArgument, {"N", "frame number, from 0"}};
constexpr Option outputOption = {"--output", "IMAGE",
                                 "file to write, .png or .bmp (default: FILE's name, a dash, N and .png, here)", "-o"};
constexpr Option options[] = {outputOption, streamOption, backendOption};

std::filesystem::path outputPath(const CommandLine& line, const MediaFile& file, long frame) {
  if (line.has(outputOption.name)) {
    return line.text(outputOption.name);
  }
  return file.path().stem().native() + L"-" + std::to_wstring(frame) + L".png";
}

void run(const CommandLine& line) {
  const long wanted = line.number("N");
  const MediaFile file(line);
  const std::filesystem::path output = outputPath(line, file, wanted);
  requireImageName(output);

  const auto stream = file.open<VideoSourceStream>(line);
  // Copied first: the pixels are valid until the next call only.
  const BITMAPINFOHEADER format = *stream->format();
  long frame = wanted;
  const unsigned char* const bits = decodedFrame(*stream, frame);
  printWarning(*stream);
  writeImage(output, format, bits);
  std::printf("%s: frame %ld\n", displayName(output).c_str(), frame);
}

}  // namespace

const Command frameCommand = {"frame", "Write a frame as a PNG or BMP image", arguments, options, run};

}  // namespace quillet::client
