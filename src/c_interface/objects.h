// What stands behind the handles of the C interface: an object of the library, with what the interface keeps for it.

#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <windows.h>

#include <quillet/audio_source_stream.h>
#include <quillet/automatic_interleave_engine.h>
#include <quillet/error_codes.h>
#include <quillet/output_avi_file.h>
#include <quillet/raw_data_source_stream.h>
#include <quillet/video_source_stream.h>

#include "c_interface/handles.h"

namespace quillet {

/// Tells a function of the client's of progress.
class CallbackNotification : public QuilletNotification {
 public:
  CallbackNotification(quillet_progress callback, void* user) : callback(callback), user(user) {}

  int progress(int phase) override {
    isStopped = callback != nullptr && callback(user, phase) != 0;
    return 0;
  }
  bool stopRequested() override { return isStopped; }

  quillet_progress callback;
  void* user;

 private:
  bool isStopped = false;
};

struct HandledStream : HandledObject {
  static constexpr Type handledType = Type::stream;

  /// The dialog behind which long operations run.
  struct Dialog {
    Dialog(int options, void* window, std::optional<std::string> title)
        : options(options), window(window), title(std::move(title)) {}
    int options;
    void* window;
    std::optional<std::string> title;
    const char* caption() const { return title ? title->c_str() : nullptr; }
  };

  HandledStream(int kind, quillet_progress callback, void* user);

  AudioOrVideoStream* holder() const override { return source.get(); }

  /// Takes over the stream that was opened.
  void own(SourceStream* opened);

  const int kind;
  CallbackNotification notification;
  std::unique_ptr<SourceStream> source;  ///< Destroyed before its sink.

  /// @name The source as what it is, null otherwise
  /// @{
  VideoSourceStream* video = nullptr;
  AudioSourceStream* audio = nullptr;
  RawDataSourceStream* raw = nullptr;
  /// @}

  std::optional<Dialog> dialog;
  std::vector<BYTE> format;  ///< What the client was told of; made at the first question.
};

struct HandledFile : HandledObject {
  static constexpr Type handledType = Type::file;

  HandledFile() : HandledObject(handledType) {}
  AudioOrVideoStream* holder() const override { return output.get(); }

  std::vector<BYTE> video;        ///< A VIDEOINFOHEADER with what belongs to it.
  std::vector<BYTE> audio;        ///< A WAVEFORMATEX with what belongs to it.
  std::vector<BYTE> targetAudio;  ///< To what audio is compressed.
  std::vector<BYTE> frame;        ///< A picture of the client's as the file wants it.
  std::unique_ptr<OutputAVIFile> output;
};

struct HandledEngine : HandledObject {
  static constexpr Type handledType = Type::engine;

  explicit HandledEngine(std::shared_ptr<HandledObject> writtenFile)
      : HandledObject(handledType), file(std::move(writtenFile)) {}
  AudioOrVideoStream* holder() const override { return file->holder(); }

  const std::shared_ptr<HandledObject> file;  ///< Outlives the engine.
  AutomaticInterleaveEngine engine;
};

/// A number of the client's as the library counts: what a `long` cannot count is as far out of every stream as it can be.
inline long libraryNumber(std::int64_t number) {
  if (std::in_range<long>(number)) {
    return static_cast<long>(number);
  }
  return number < 0 ? std::numeric_limits<long>::min() : std::numeric_limits<long>::max();
}

/// A name of the client's, in UTF-8.
/// @return nothing for null.
std::optional<std::wstring> wideOf(const char* utf8);

/// A title of the client's, in UTF-8, in the system's ANSI code page.
/// @return nothing for null.
std::optional<std::string> ansiOf(const char* utf8);

}  // namespace quillet
