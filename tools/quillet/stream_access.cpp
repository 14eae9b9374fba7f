#include "stream_access.h"

#include <algorithm>
#include <cstdio>
#include <type_traits>

#include "command_line.h"
#include "interruption.h"
#include "shared/failure.h"
#include "shared/library_stream.h"
#include "shared/text.h"
#include "stored_stream.h"

namespace quillet::client {
namespace {

// In the order in which the library tries them.
constexpr Backend allBackends[] = {Backend::videoForWindows, Backend::directShow};

/// Whether opening failed at the stream itself rather than before the backend came to it. DirectShow has one code for
/// "no such stream" and for "no decoder": the stream then counts as missing.
bool failedAtStream(AudioOrVideoStream& stream) {
  constexpr int beforeStream[] = {
      ds_error::notEnoughMemory, ds_error::cannotOpenSourceFile, ds_error::cannotEnumeratePins,
      ds_error::noGraphBuilder,  ds_error::noSampleGrabber,      ds_error::cannotAddFilter,
      ds_error::noNullRenderer,  ds_error::cannotSetMediaType,   ds_error::cannotConnectFilters,
  };
  if (stream.usesDirectShow()) {
    return std::ranges::find(beforeStream, stream.lastError) == std::end(beforeStream);
  }
  return stream.lastError != vfw_error::cannotOpenSourceFile && stream.lastError != vfw_error::notEnoughMemory;
}

/// Whether there is a stream to read. One without a key sample can be read, though its code is that of a failure.
bool isOpen(SourceStream* stream) {
  if (stream == nullptr) {
    return false;
  }
  const int openingCode = stream->lastError;
  const bool hasLength = stream->duration() != -1;
  stream->lastError = openingCode;
  return hasLength;
}

/// Frames are not asked for one: to decode it may take long.
bool canRead(VideoSourceStream&) {
  return true;
}

}  // namespace

int chosenStream(const CommandLine& line) {
  const long number = line.has(streamOption.name) ? line.number(streamOption.name) : 0;
  if (number < 0) {
    throw wrongUsage(std::string(streamOption.name) + ": streams are numbered from 0");
  }
  return static_cast<int>(number);
}

std::span<const Backend> chosenBackends(const CommandLine& line) {
  const std::span<const Backend> all = allBackends;
  constexpr const char* variable = "QUILLET_BACKEND";
  const bool isChosen = line.has(backendOption.name);
  const wchar_t* const byDefault = _wgetenv(L"QUILLET_BACKEND");
  const std::wstring choice = isChosen ? line.text(backendOption.name) : byDefault != nullptr ? byDefault : L"auto";
  if (choice == L"auto") {
    return all;
  }
  if (choice == L"vfw") {
    return all.first(1);
  }
  if (choice == L"ds") {
    return all.last(1);
  }
  throw wrongUsage(std::string(isChosen ? backendOption.name : variable) + ": '" + toUtf8(choice) +
                   "' is none of vfw, ds, auto");
}

MediaFile::MediaFile(const CommandLine& line, const Argument& argument)
    : MediaFile(line, argument, chosenBackends(line)) {}

MediaFile::MediaFile(const CommandLine& line, const Argument& argument, std::span<const Backend> backends)
    : filePath(line.text(argument.name)), backends(backends) {
  // Other names may lead to a stream on a network.
  const bool isOfFileSystem = filePath.native().find(L"://") == std::wstring::npos;
  if (isOfFileSystem && GetFileAttributesW(filePath.c_str()) == INVALID_FILE_ATTRIBUTES) {
    throw Failure("cannot open '" + displayName(filePath) + "': " + systemMessage(GetLastError()));
  }
}

template <class Stream, class OpenWith>
Opening<Stream> MediaFile::tryBackends(bool video, int number, OpenWith openWith) {
  Opening<Stream> opening;
  std::unique_ptr<Stream> unreadable;
  for (const Backend backend : backends) {
    throwIfInterrupted();
    const bool directShow = backend == Backend::directShow;
    // It searches long for what is not there.
    if (directShow && countWithDirectShow(video).value_or(number + 1) <= number) {
      opening.failure += (opening.failure.empty() ? "" : "; ") + std::string("no such stream (DirectShow)");
      break;
    }
    std::unique_ptr<Stream> stream(openWith(directShow));
    bool& knowsFile = directShow ? directShowKnowsFile : videoForWindowsKnowsFile;
    if (isOpen(stream.get())) {
      knowsFile = true;
      if (backend == backends.back() || canRead(*stream)) {
        return {std::move(stream), true, {}};
      }
      unreadable = std::move(stream);  // The next backend may do better.
      opening.exists = true;
      continue;
    }
    if (!opening.failure.empty()) {
      opening.failure += "; ";
    }
    opening.failure += failureOf(stream.get(), directShow);
    opening.exists = opening.exists || (stream != nullptr && failedAtStream(*stream));
    if (knowsFile && !opening.exists) {
      break;  // A backend that has opened other streams of the file can tell that there is no such one.
    }
  }
  throwIfInterrupted();  // What was stopped by that is not missing.
  if (unreadable != nullptr) {
    return {std::move(unreadable), true, {}};
  }
  return opening;
}

template <class Stream>
Opening<Stream> MediaFile::tryOpen(int number) {
  return tryBackends<Stream>(std::is_same_v<Stream, VideoSourceStream>, number, [&](bool directShow) {
    return Stream::open(filePath.c_str(), directShow, number, interruption());
  });
}

Opening<RawDataSourceStream> MediaFile::tryOpenRaw(bool video, int number) {
  return tryBackends<RawDataSourceStream>(video, number, [&](bool directShow) {
    return RawDataSourceStream::open(filePath.c_str(), video, directShow, number, interruption());
  });
}

template <class Stream>
std::unique_ptr<Stream> MediaFile::take(Opening<Stream> opening, bool video, int number) {
  if (opening.stream == nullptr) {
    const std::string kind = video ? "video" : "audio";
    const std::optional<int> count = countStreams(video);
    const std::string has = !count || *count > number ? ""
                            : *count == 0             ? ", which has none"
                                                      : ", which has " + std::to_string(*count) + ", numbered from 0";
    throw Failure("cannot open " + kind + " stream " + std::to_string(number) + " of '" + displayName(filePath) + "'" +
                  has + ": " + opening.failure);
  }
  printWarning(*opening.stream);
  return std::move(opening.stream);
}

template <class Stream>
std::unique_ptr<Stream> MediaFile::open(const CommandLine& line) {
  const int number = chosenStream(line);
  return take(tryOpen<Stream>(number), std::is_same_v<Stream, VideoSourceStream>, number);
}

std::unique_ptr<RawDataSourceStream> MediaFile::openRaw(const CommandLine& line, bool video) {
  const int number = chosenStream(line);
  return take(tryOpenRaw(video, number), video, number);
}

std::optional<int> MediaFile::countWithDirectShow(bool video) {
  if (!counts) {
    std::array<int, 2> found = {};
    const bool isCounted =
        MediaContainer::streamsNumber(filePath.c_str(), true, &found[true], &found[false]) == MediaContainer::Success;
    counts = isCounted ? found : std::array<int, 2>{-1, -1};
  }
  const int count = (*counts)[video];
  return count >= 0 ? std::optional(count) : std::nullopt;
}

std::optional<int> MediaFile::countStreams(bool video) {
  std::optional<int> count;
  for (const Backend backend : backends) {
    const auto found = backend == Backend::directShow ? countWithDirectShow(video) : countStored(filePath, video);
    count = std::max(count, found);
  }
  return count;
}

template Opening<VideoSourceStream> MediaFile::tryOpen(int);
template Opening<AudioSourceStream> MediaFile::tryOpen(int);
template std::unique_ptr<VideoSourceStream> MediaFile::open(const CommandLine&);
template std::unique_ptr<AudioSourceStream> MediaFile::open(const CommandLine&);

std::string failureOf(AudioOrVideoStream* stream, bool directShow) {
  return stream != nullptr ? lastErrorText(*stream)
                           : std::string(backendName(directShow)) + " backend: not available in this build";
}

void printWarning(AudioOrVideoStream& stream) {
  if (stream.lastError != common_error::success) {
    std::fprintf(stderr, "quillet: warning: %s\n", lastErrorText(stream).c_str());
  }
}

void FirstWarning::look(AudioOrVideoStream& stream) {
  if (!isPrinted && stream.lastError != common_error::success) {
    printWarning(stream);
    isPrinted = true;
  }
}

}  // namespace quillet::client
