// quillet frame: a frame as an image.

#include <cstdio>
#include <string>

#include "command_line.h"
#include "shared/image_file.h"
#include "shared/library_stream.h"
#include "shared/text.h"
#include "stream_access.h"

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
  MediaFile file(line);
  const std::filesystem::path output = outputPath(line, file, wanted);
  requireImageName(output);

  const auto stream = file.open<VideoSourceStream>(line);
  // Copied first: the pixels are valid until the next call only.
  const BITMAPINFOHEADER format = *stream->format();
  const DecodedFrame frame = decodedFrame(*stream, wanted);
  printWarning(*stream);
  writeImage(output, format, frame.bits);
  std::printf("%s: frame %ld\n", displayName(output).c_str(), frame.number);
}

}  // namespace

const Command frameCommand = {"frame", "Write a frame as a PNG or BMP image", arguments, options, run};

}  // namespace quillet::client
