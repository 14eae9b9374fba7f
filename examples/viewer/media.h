// An opened media file: its frames, which the window's thread fetches, and what threads in the background find out about
// the file meanwhile.

#pragma once

#include <atomic>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <quillet/quillet.h>

#include "background.h"
#include "peak_reader.h"

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

/// A frame as the stream gave it. The pixels are the stream's, valid until its next frame.
struct Frame {
  long number = 0;  // An earlier one than was asked for, when the stream lacks that.
  double time = 0.0;
  const BITMAPINFOHEADER* format = nullptr;
  const unsigned char* bits = nullptr;
  std::string warning;
};

/// A place in the file is the number of a frame or, when there is no video, a time in milliseconds.
class Media {
 public:
  /// Opens a file's first video and first audio stream behind the library's progress dialog; a Failure when it has neither.
  Media(const std::filesystem::path& path, Backend backend, HWND window);
  Media(const Media&) = delete;
  Media& operator=(const Media&) = delete;

  /// Stops the threads and waits for their end: as long as it takes them to read a piece.
  ~Media();

  bool hasVideo() const { return video != nullptr; }

  /// Why there is no video, or what was said as the file was opened; empty when there is nothing to say.
  const std::string& remark() const { return openingRemark; }

  /// What there is to know of the format, in a line.
  std::string description() const;

  /// Whether frames are fetched behind the library's progress dialog. That disables the window, which ends a drag.
  bool usesDialog() const { return hasVideo() && video->usesDirectShow(); }

  long length() const { return places; }
  double duration() const { return ms; }
  double timeAt(long place) const { return ms * static_cast<double>(place) / static_cast<double>(places); }
  long placeAt(double time);

  /// How many places a second has, at least one.
  long placesPerSecond() const;

  /// Fetches a frame. With a DirectShow stream it runs the library's progress dialog meanwhile, which shows up when the
  /// search goes back: the window's messages are dispatched then, and must not come back here.
  Frame fetch(long number);

  /// Lets the user tune the search for frames.
  /// @return the library's warning, empty without one.
  std::string tune();

  /// Whether the video stream can still be used after a Failure.
  bool isUsable() const { return !hasVideo() || !video->lastErrorIsFatal(); }

  Shared<KeyFrames>& keyFrames() { return sharedKeyFrames; }
  Shared<Waveform>& waveform() { return sharedWaveform; }

 private:
  template <class Stream>
  std::unique_ptr<Stream> open(int options, std::string& failure) const;
  void readKeyFrames(bool directShow);
  void readWaveform();
  void tellWindow() const { PostMessageW(window, mediaGrownMessage, 0, 0); }

  const std::string fileName;
  const HWND window;
  std::string openingRemark;
  std::unique_ptr<VideoSourceStream> video;  // Used by the window's thread.
  std::unique_ptr<AudioSourceStream> audio;  // Used by audioThread as soon as that runs.
  long places = 0;
  double ms = 0.0;

  Shared<KeyFrames> sharedKeyFrames;
  Shared<Waveform> sharedWaveform;
  std::atomic<bool> stop = false;
  // The last members, and so the first to end.
  std::unique_ptr<Thread> keyFrameThread;
  std::unique_ptr<Thread> audioThread;
};

}  // namespace quillet::viewer
