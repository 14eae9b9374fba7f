#include "stream_access.h"

#include <algorithm>
#include <cstdio>
#include <type_traits>

#include "command_line.h"
#include "shared/failure.h"
#include "shared/library_stream.h"
#include "shared/text.h"

namespace quillet::client {
namespace {

// In the order in which the library tries them.
constexpr Backend allBackends[] = {Backend::videoForWindows, Backend::directShow};

int chosenStream(const CommandLine& line) {
  const long number = line.has(streamOption.name) ? line.number(streamOption.name) : 0;
  if (number < 0) {
    throw wrongUsage(std::string(streamOption.name) + ": streams are numbered from 0");
  }
  return static_cast<int>(number);
}

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

std::span<const Backend> chosenBackends(const CommandLine& line) {
  const std::span<const Backend> all = allBackends;
  const std::wstring choice = line.has(backendOption.name) ? line.text(backendOption.name) : L"auto";
  if (choice == L"auto") {
    return all;
  }
  if (choice == L"vfw") {
    return all.first(1);
  }
  if (choice == L"ds") {
    return all.last(1);
  }
  throw wrongUsage(std::string(backendOption.name) + ": '" + toUtf8(choice) + "' is none of vfw, ds, auto");
}

MediaFile::MediaFile(const CommandLine& line, const Argument& argument)
    : MediaFile(line, argument, chosenBackends(line)) {}

MediaFile::MediaFile(const CommandLine& line, const Argument& argument, std::span<const Backend> backends)
    : filePath(line.text(argument.name)), backends(backends) {}

template <class Stream, class OpenWith>
Opening<Stream> MediaFile::tryBackends(OpenWith openWith) {
  Opening<Stream> opening;
  std::unique_ptr<Stream> unreadable;
  for (const Backend backend : backends) {
    const bool directShow = backend == Backend::directShow;
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
  if (unreadable != nullptr) {
    return {std::move(unreadable), true, {}};
  }
  return opening;
}

template <class Stream>
Opening<Stream> MediaFile::tryOpen(int number) {
  return tryBackends<Stream>(
      [&](bool directShow) { return Stream::open(filePath.c_str(), directShow, number, nullptr); });
}

Opening<RawDataSourceStream> MediaFile::tryOpenRaw(bool video, int number) {
  return tryBackends<RawDataSourceStream>(
      [&](bool directShow) { return RawDataSourceStream::open(filePath.c_str(), video, directShow, number, nullptr); });
}

template <class Stream>
std::unique_ptr<Stream> MediaFile::take(Opening<Stream> opening, const char* kind, int number) const {
  if (opening.stream == nullptr) {
    throw Failure(std::string("cannot open ") + kind + " stream " + std::to_string(number) + " of '" +
                  displayName(filePath) + "': " + opening.failure);
  }
  printWarning(*opening.stream);
  return std::move(opening.stream);
}

template <class Stream>
std::unique_ptr<Stream> MediaFile::open(const CommandLine& line) {
  const int number = chosenStream(line);
  return take(tryOpen<Stream>(number), std::is_same_v<Stream, VideoSourceStream> ? "video" : "audio", number);
}

std::unique_ptr<RawDataSourceStream> MediaFile::openRaw(const CommandLine& line, bool video) {
  const int number = chosenStream(line);
  return take(tryOpenRaw(video, number), video ? "video" : "audio", number);
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
