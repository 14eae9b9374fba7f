// quillet frame: frames as images.

#include <cstdio>
#include <set>
#include <string>

#include "command_line.h"
#include "shared/image_file.h"
#include "shared/library_stream.h"
#include "shared/text.h"
#include "stream_access.h"

namespace quillet::client {
namespace {

constexpr Argument arguments[] = {
    fileArgument, {"N", "frame number, from 0; several are written in the order that they have in FILE", true}};
constexpr Option outputOption = {
    "--output", "IMAGE",
    "file to write, .png or .bmp; of several frames each gets a dash and N behind the name "
    "(default: FILE's name, a dash, N and .png, here)",
    "-o"};
constexpr Option options[] = {outputOption, streamOption, backendOption};

/// Where a frame goes.
/// @param isOnlyOne whether there is no other.
std::filesystem::path outputPath(const CommandLine& line, const MediaFile& file, long frame, bool isOnlyOne) {
  const bool isNamed = line.has(outputOption.name);
  std::filesystem::path path = isNamed ? line.text(outputOption.name) : file.path().stem().native() + L".png";
  if (!isNamed || !isOnlyOne) {
    path.replace_filename(path.stem().native() + L"-" + std::to_wstring(frame) + path.extension().native());
  }
  return path;
}

void run(const CommandLine& line) {
  const std::set<long> wanted = line.numbers("N");
  MediaFile file(line);
  requireImageName(outputPath(line, file, 0, wanted.size() == 1));

  const auto stream = file.open<VideoSourceStream>(line);
  // Copied first: the pixels are valid until the next call only.
  const BITMAPINFOHEADER format = *stream->format();
  for (const long number : wanted) {
    const std::filesystem::path output = outputPath(line, file, number, wanted.size() == 1);
    const DecodedFrame frame = decodedFrame(*stream, number);
    printWarning(*stream);
    writeImage(output, format, frame.bits);
    std::printf("%s: frame %ld\n", displayName(output).c_str(), frame.number);
  }
}

}  // namespace

const Command frameCommand = {"frame", "Write frames as PNG or BMP images", arguments, options, run};

}  // namespace quillet::client
