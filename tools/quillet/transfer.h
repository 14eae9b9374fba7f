// What quillet copy and quillet convert have in common: the streams of one file go into another.

#pragma once

#include <filesystem>
#include <optional>

#include "command.h"
#include "command_line.h"
#include "media_feed.h"
#include "stream_access.h"

namespace quillet::client {

inline constexpr Argument inArgument = {"IN", "media file"};
inline constexpr Argument outArgument = {"OUT", "AVI file to write"};
inline constexpr Argument transferArguments[] = {inArgument, outArgument};

inline constexpr Option videoOption = {"--video", nullptr, "the video stream (default: both, if the file has them)"};
inline constexpr Option audioOption = {"--audio", nullptr, "the audio stream"};
inline constexpr Option periodOption = {"--period", "MS", "milliseconds of a stream that stand together in the file"};

/// What the user wants with the stream of a kind.
enum class Wish { required, ifThere, unwanted };
Wish wishFor(const CommandLine& line, bool video);

/// OUT, which must not be IN.
std::filesystem::path outPath(const CommandLine& line);

/// The interleaving period in milliseconds.
std::optional<double> chosenPeriod(const CommandLine& line);

/// @param video, audio what was written; either may be null.
void reportTransfer(const std::filesystem::path& out, const MediaFeed* video, const MediaFeed* audio);

}  // namespace quillet::client
