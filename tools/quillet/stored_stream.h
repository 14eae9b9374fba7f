// How a file stores a stream, as far as that can be had without decoding or reading it.

#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include <quillet/quillet.h>

namespace quillet::client {

struct StoredStream {
  std::string codec;  ///< A FOURCC, the name of an audio format, or what uncompressed samples are.
  bool isCompressed = false;
  bool hasFixedBlocks = false;  ///< Of audio: the number of samples follows from the bytes.
  long long bitRate = 0;        ///< In bits per second, without the container's own; 0 when it is not known.
  long keyFrames = 0;           ///< 0 when they are not known.
  long keyFrameDistance = 0;    ///< The greatest one from a key frame to the next; 0 when there are no two.
};

/// Tells what the media type of compressed samples says.
StoredStream storedStream(RawDataSourceStream& stream);

/// The same of the file itself, by its headers and its index: of files that Video for Windows reads.
std::optional<StoredStream> storedStream(const std::filesystem::path& path, bool video, int number);

/// How many streams of a kind such a file has; nothing for other files.
std::optional<int> countStored(const std::filesystem::path& path, bool video);

/// Warns when DirectShow delivers a stream's samples decoded: its splitter may do that along with the splitting.
void warnOfDecoded(RawDataSourceStream& stream, const std::filesystem::path& path, int number);

}  // namespace quillet::client
