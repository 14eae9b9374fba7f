// Opening the streams of a media file with the backend that the user chose, and telling why that failed.

#pragma once

#include <array>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include <quillet/quillet.h>

#include "command.h"

namespace quillet::client {

class CommandLine;

inline constexpr Argument fileArgument = {"FILE", "media file"};
inline constexpr Option backendOption = {
    "--backend", "vfw|ds|auto",
    "Video for Windows, DirectShow, or the first that can (default: QUILLET_BACKEND "
    "of the environment, or auto)"};
inline constexpr Option streamOption = {"--stream", "N", "number of the stream among those of its kind (default: 0)"};

enum class Backend { videoForWindows, directShow };

/// What came of opening a stream.
template <class Stream>
struct Opening {
  std::unique_ptr<Stream> stream;  ///< Null when no backend could open it.
  bool exists = false;             ///< Whether the file has the stream, as far as can be told.
  std::string failure;             ///< Each backend's reason.
};

/// The backends that the user wants to be tried, in this order: by the option, or the variable QUILLET_BACKEND.
std::span<const Backend> chosenBackends(const CommandLine& line);

/// The stream that the user wants, among those of its kind.
int chosenStream(const CommandLine& line);

/// A media file named on the command line, with the user's choice of backend. `Stream` is VideoSourceStream or
/// AudioSourceStream.
class MediaFile {
 public:
  /// A Failure when the file system knows that there is no such file.
  explicit MediaFile(const CommandLine& line, const Argument& argument = fileArgument);

  /// The same, whose streams are opened with these backends.
  MediaFile(const CommandLine& line, const Argument& argument, std::span<const Backend> backends);

  const std::filesystem::path& path() const { return filePath; }

  template <class Stream>
  Opening<Stream> tryOpen(int number);

  Opening<RawDataSourceStream> tryOpenRaw(bool video, int number);

  /// Opens the stream that the user chose, with a warning printed when the library has one.
  template <class Stream>
  std::unique_ptr<Stream> open(const CommandLine& line);

  /// The same for its compressed samples.
  std::unique_ptr<RawDataSourceStream> openRaw(const CommandLine& line, bool video);

 private:
  /// @param openWith opens the stream; its argument tells whether DirectShow is to do it.
  template <class Stream, class OpenWith>
  Opening<Stream> tryBackends(bool video, int number, OpenWith openWith);

  template <class Stream>
  std::unique_ptr<Stream> take(Opening<Stream> opening, bool video, int number);

  /// How many streams of a kind DirectShow counts; nothing when it cannot tell.
  std::optional<int> countWithDirectShow(bool video);

  /// How many streams of a kind the backends find; nothing when none of them can tell.
  std::optional<int> countStreams(bool video);

  std::filesystem::path filePath;
  std::span<const Backend> backends;
  // Whether streams of the file were opened with the backend.
  bool videoForWindowsKnowsFile = false;
  bool directShowKnowsFile = false;
  std::optional<std::array<int, 2>> counts;  // With DirectShow, of audio and of video; negative when it cannot tell.
};

/// Why a factory of the library has not given a usable object.
/// @param stream what it has given, perhaps null.
std::string failureOf(AudioOrVideoStream* stream, bool directShow);

/// Prints the stream's last error when it is a warning that came with a result. To be called right after the operation.
void printWarning(AudioOrVideoStream& stream);

/// Prints the first warning of many operations, each of which is followed by a look at its stream.
class FirstWarning {
 public:
  void look(AudioOrVideoStream& stream);

 private:
  bool isPrinted = false;
};

}  // namespace quillet::client
