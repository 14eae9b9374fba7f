// An opened media file: its frames, which the window's thread fetches, and what threads in the background find out about
// the file meanwhile.

#pragma once

#include <atomic>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <quillet/quillet.h>

#include "shared.h"
#include "shared/peak_reader.h"
#include "shared/worker.h"

namespace quillet::viewer {

enum class Backend { automatic, videoForWindows, directShow };

/// Sent to the window when the key frames or the waveform have grown.
constexpr UINT mediaGrownMessage = WM_APP;

struct KeyFrames {
  std::vector<long> numbers;  // In order.
  long known = 0;             // All frames below this one were looked at.
};

struct Waveform {
  std::vector<std::vector<client::Peak>> channels;
  long columnsDone = 0;
  double share = 0.0;   // The part of the file's time that all columns cover.
  std::string problem;  // Why there is no waveform, or no more of it.
};

struct Frame {
  double time = 0.0;
  BITMAPINFOHEADER format = {};
  std::vector<unsigned char> bits;  // A copy: the stream's own pixels are valid until its next call only.
  std::string note;                 // What is odd about the frame.
};

/// A place in the file is the number of a frame or, when there is no video, a time in milliseconds.
class Media {
 public:
  /// Opens a file's first video and first audio stream behind the library's progress dialog; a Failure when it has neither.
  Media(const std::filesystem::path& path, Backend backend, HWND window);
  Media(const Media&) = delete;
  Media& operator=(const Media&) = delete;

  /// Stops the threads, and waits for their end: as long as it takes them to read a piece.
  ~Media();

  bool hasVideo() const { return video != nullptr; }
  const std::string& videoProblem() const { return noVideo; }

  /// What the library said as the file was opened; empty when there is nothing to say.
  const std::string& warning() const { return openingWarning; }

  /// What there is to know of the format, in a line.
  const std::string& description() const { return formatText; }

  long length() const { return places; }
  double duration() const { return ms; }
  double timeAt(long place) const { return ms * static_cast<double>(place) / static_cast<double>(places); }
  long placesPerSecond() const;

  Shared<KeyFrames>& keyFrames() { return sharedKeyFrames; }
  Shared<Waveform>& waveform() { return sharedWaveform; }

  /// Whether fetch() runs a dialog. That disables the window, which ends a drag of the mouse.
  bool usesDialog() const { return directShow; }

  /// Fetches a frame. With a DirectShow stream the library's progress dialog runs meanwhile, and shows up when the search
  /// goes back: the window's messages are dispatched then, and must call nothing that stands below.
  Frame fetch(long number);

  long placeAt(double time);

  /// Whether frames can still be fetched after a Failure. A dialog that could not be shown has left the stream as it was.
  bool isUsable() const {
    return !video->lastErrorIsFatal() || (directShow && video->lastError == ds_error::cannotDisplayDialog);
  }

  /// Lets the user tune the search for frames.
  /// @return the library's warning, empty without one.
  std::string tune();

 private:
  template <class Stream>
  std::unique_ptr<Stream> open(int options, std::string& problem) const;
  void readKeyFrames();
  void readWaveform();
  void tellWindow() const { PostMessageW(window, mediaGrownMessage, 0, 0); }

  const std::filesystem::path path;
  HWND window;
  std::string noVideo;
  std::string openingWarning;
  std::string formatText;
  std::unique_ptr<VideoSourceStream> video;  // Used by the window's thread.
  std::unique_ptr<AudioSourceStream> audio;  // Used by audioThread as soon as that runs.
  bool directShow = false;                   // Of the video.
  long places = 0;
  double ms = 0.0;

  Shared<KeyFrames> sharedKeyFrames;
  Shared<Waveform> sharedWaveform;
  std::atomic<bool> stop = false;
  // The last members, and so the first to end.
  std::unique_ptr<client::Worker> keyFrameThread;
  std::unique_ptr<client::Worker> audioThread;
};

}  // namespace quillet::viewer
