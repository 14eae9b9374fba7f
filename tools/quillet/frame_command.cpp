// quillet frame: frames as images.

#include <cstdio>
#include <set>
#include <string>

#include "command_line.h"
#include "interruption.h"
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

/// The name of an image with the frame's number in it.
std::filesystem::path numbered(const std::filesystem::path& image, long frame) {
  return image.parent_path() / (image.stem().native() + L"-" + std::to_wstring(frame) + image.extension().native());
}

void run(const CommandLine& line) {
  const std::set<long> wanted = line.numbers("N");
  MediaFile file(line);
  const bool isNamed = line.has(outputOption.name);
  const std::filesystem::path image = isNamed ? line.text(outputOption.name) : file.path().stem().native() + L".png";
  requireImageName(image);

  const auto stream = file.open<VideoSourceStream>(line);
  // Copied first: the pixels are valid until the next call only.
  const BITMAPINFOHEADER format = *stream->format();
  for (const long number : wanted) {
    throwIfInterrupted();
    const std::filesystem::path output = isNamed && wanted.size() == 1 ? image : numbered(image, number);
    const DecodedFrame frame = decodedFrame(*stream, number);
    printWarning(*stream);
    writeImage(output, format, frame.bits);
    std::printf("%s: frame %ld\n", displayName(output).c_str(), frame.number);
  }
}

}  // namespace

const Command frameCommand = {"frame", "Write frames as PNG or BMP images", arguments, options, run};

}  // namespace quillet::client
