#pragma once

/// @file
/// The library in C++17 for every compiler: classes over the functions of quillet_c.h, where each operation is described.
/// All of it is compiled into the client, so that no compiler has to agree with the library's.
///
/// What fails throws quillet::Error; what succeeds may leave a warning (quillet::Object). An exception that a client's
/// progress function throws stops the operation, which then throws it. Objects can be moved; one that was moved from can be
/// assigned to, and fails otherwise. Threads are told of with quillet_c.h.
///
/// @code
/// quillet::VideoSource source("clip.avi");
/// const quillet::Frame frame = source.frame(42);
/// std::printf("%.1f ms: %zu bytes\n", source.timeOf(frame.number), frame.pixels.size);
/// @endcode

#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <quillet/error_codes.h>
#include <quillet/quillet_c.h>

namespace quillet {

using Kind = quillet_kind;                 ///< What a stream delivers.
using Backend = quillet_backend;           ///< The system's component that reads or writes a file.
using Pixels = quillet_pixels;             ///< The layout of a pixel.
using Rows = quillet_rows;                 ///< The order of rows.
using VideoFormat = quillet_video_format;  ///< A format of frames. Its header belongs to the stream that has told it.
using AudioFormat = quillet_audio_format;  ///< A format of samples. Its header belongs to the stream that has told it.
using RawSample = quillet_raw_sample;     ///< A compressed sample. Its data is valid until the stream's next operation.
using Compression = quillet_compression;  ///< How a stream is compressed over Video for Windows.
using Progress = std::function<bool(int)>;  ///< Takes the phase of a #quillet_progress; false stops the operation.

/// Why an operation has failed.
class Error : public std::runtime_error {
 public:
  /// An error that no object has.
  Error(int code, const char* text) : std::runtime_error(text != nullptr ? text : "Unknown error"), number(code) {}

  /// What has happened to the object of a handle of the C interface.
  explicit Error(const void* handle)
      : std::runtime_error(quillet_error_text(handle)),
        number(quillet_error(handle)),
        fatal(quillet_error_is_fatal(handle) != 0),
        directShow(quillet_uses_directshow(handle) != 0) {}

  /// @return the code: of the backend (error_codes.h), of #quillet_own_error or, from countStreams(), a
  ///     MediaContainer::Error.
  int code() const noexcept { return number; }

  /// @return whether it leaves the object unusable.
  bool isFatal() const noexcept { return fatal; }

  /// @return whether the code is one of DirectShow.
  bool usesDirectShow() const noexcept { return directShow; }

 private:
  int number;
  bool fatal = true;
  bool directShow = false;
};

/// A name of a file: text in UTF-8, a wide string, or a path.
class FileName {
 public:
  /// Takes whatever a std::string or, failing that, a std::filesystem::path can be made of.
  template <class Name, class = std::enable_if_t<!std::is_same_v<Name, FileName>>>
  FileName(const Name& name) {
    if constexpr (std::is_constructible_v<std::string, const Name&>) {
      text = std::string(name);
    } else {
      const auto utf8 = std::filesystem::path(name).u8string();
      text.assign(utf8.begin(), utf8.end());
    }
  }

  /// @return the name in UTF-8.
  const char* utf8() const noexcept { return text.c_str(); }

 private:
  std::string text;
};

/// Data of a stream, valid until its next operation.
struct Bytes {
  const std::uint8_t* data = nullptr;  ///< The first byte.
  std::size_t size = 0;                ///< How many there are.

  const std::uint8_t* begin() const noexcept { return data; }       ///< For loops.
  const std::uint8_t* end() const noexcept { return data + size; }  ///< For loops.
};

/// A decoded frame.
struct Frame {
  std::int64_t number = 0;  ///< Of the frame found.
  Bytes pixels;             ///< Laid out as VideoSource::format() tells.
};

/// A decoded frame in memory of the client's.
struct Picture {
  std::int64_t number = 0;            ///< Of the frame found.
  int width = 0;                      ///< Pixels.
  int height = 0;                     ///< Pixels.
  std::size_t stride = 0;             ///< Bytes from one row to the next; there are none between rows.
  std::vector<std::uint8_t> content;  ///< The rows.
};

/// The dialog of a long operation.
struct Dialog {
  void* window = nullptr;    ///< The parent's HWND; may be null.
  bool startHidden = false;  ///< It shows up at the first report of progress.
  bool captioned = true;     ///< It has a caption.
  std::string title;         ///< The caption; when empty that of the top-most ancestor of #window.

  /// @return a combination of #quillet_dialog values.
  std::int32_t options() const noexcept {
    return (startHidden ? QUILLET_DIALOG_START_HIDDEN : 0) | (captioned ? QUILLET_DIALOG_CAPTIONED : 0);
  }
  /// @return the title as the C interface takes it.
  const char* caption() const noexcept { return title.empty() ? nullptr : title.c_str(); }
};

/// How a stream is opened.
struct OpenOptions {
  Backend backend = QUILLET_AUTOMATIC;  ///< What reads the file.
  int index = 0;                        ///< Number of the stream among those of its kind.
  Progress progress = nullptr;          ///< Told of this and later operations; may be empty.
  std::optional<Dialog> dialog = {};    ///< When there is one, it tells of the opening instead.
};

/// How a file is written.
struct WriterOptions {
  std::optional<VideoFormat> video = {};  ///< The frames; no video stream without it.
  bool compressVideo = false;             ///< Whether the library is to compress them.
  std::optional<AudioFormat> audio = {};  ///< The samples; no audio stream without it.
  bool compressAudio = false;             ///< Whether the library is to compress them.
  Backend backend = QUILLET_AUTOMATIC;    ///< What writes the file.
};

/// How many streams a file has.
struct StreamCount {
  int video = 0;  ///< Of video.
  int audio = 0;  ///< Of audio.
};

/// @cond
namespace detail {

/// A progress function that the C interface can call.
struct ProgressSink {
  static std::int32_t call(void* user, std::int32_t phase) noexcept {
    auto& sink = *static_cast<ProgressSink*>(user);
    try {
      return sink.thrown != nullptr || (sink.report && !sink.report(phase)) ? 1 : 0;
    } catch (...) {
      sink.thrown = std::current_exception();
      return 1;
    }
  }

  Progress report;
  std::exception_ptr thrown = nullptr;
};

// A sink outlives its stream: an owner closes the handle before it lets go of what closes it.
struct StreamCloser {
  void operator()(quillet_stream* stream) const noexcept { quillet_stream_close(stream); }
  std::unique_ptr<ProgressSink> sink = nullptr;
};
struct FileCloser {
  void operator()(quillet_file* file) const noexcept { quillet_file_close(file); }
};
struct EngineCloser {
  void operator()(quillet_engine* engine) const noexcept { quillet_engine_close(engine); }
};

}  // namespace detail
/// @endcond

/// What every object has.
template <class Handle, class Closer>
class Object {
 public:
  /// @return the code that the last operation has left: of a warning when it has succeeded, 0 when there is none.
  int warning() const noexcept { return quillet_error(handle()); }

  /// @return the text of that code.
  std::string warningText() const { return quillet_error_text(handle()); }

  /// @return whether the object is of DirectShow rather than Video for Windows.
  bool usesDirectShow() const noexcept { return quillet_uses_directshow(handle()) != 0; }

  /// @return the handle, for functions of the C interface.
  Handle* handle() const noexcept { return owner.get(); }

 protected:
  /// What owns a handle.
  using Owner = std::unique_ptr<Handle, Closer>;

  /// Takes over a handle; null is one that could not be had.
  explicit Object(Owner opened) : owner(std::move(opened)) {
    if (owner == nullptr) {
      throw Error(common_error::notEnoughMemory, "Not enough memory");
    }
  }

  /// Throws the error of an operation that has not succeeded.
  void require(bool hasSucceeded) const {
    if (!hasSucceeded) {
      throw Error(handle());
    }
  }

  Owner owner;  ///< Closes the handle.
};

/// A stream that is read. Samples (frames, for video) are numbered from 0; times are in milliseconds.
class Source : public Object<quillet_stream, detail::StreamCloser> {
 public:
  /// @return the length in samples.
  std::int64_t length() { return known(quillet_stream_length(handle())); }

  /// @return the duration.
  double duration() { return known(quillet_stream_duration(handle())); }

  /// @return the time of a sample.
  double timeOf(std::int64_t sample) { return known(quillet_stream_time_of(handle(), &sample)); }

  /// @return the number of the sample at a time.
  std::int64_t sampleAt(double time) { return known(quillet_stream_sample_at(handle(), &time)); }

  /// Replaces what is told of the progress.
  void setProgress(Progress progress) {
    auto sink = std::make_unique<detail::ProgressSink>(detail::ProgressSink{std::move(progress)});
    require(quillet_stream_set_progress(handle(), detail::ProgressSink::call, sink.get()) != 0);
    owner.get_deleter().sink = std::move(sink);
  }

  /// Runs the operations of a DirectShow stream behind a dialog from now on, or without one again.
  void setDialog(const std::optional<Dialog>& dialog) {
    const Dialog shown = dialog.value_or(Dialog());
    require(quillet_stream_use_dialog(handle(), dialog ? 1 : 0, shown.window, shown.options(), shown.caption()) != 0);
  }

  /// Shows the dialog that tunes a DirectShow stream.
  /// @param window the parent's HWND; may be null.
  void configure(void* window = nullptr) { require(quillet_stream_configure(handle(), window) != 0); }

  /// Tunes the search of a DirectShow stream, as quillet_stream_tune() does.
  void tune(int quickDecode, int stepBack, int growth = 0) {
    require(quillet_stream_tune(handle(), quickDecode, stepBack, growth) != 0);
  }

 protected:
  /// Opens a stream.
  Source(const FileName& name, Kind kind, const OpenOptions& options) : Object(open(name, kind, options)) {
    require(quillet_is_open(handle()) != 0);
    if (options.dialog) {
      setProgress(options.progress);
    }
  }

  /// Throws what the progress function has thrown, or the error of an operation that has not succeeded.
  void require(bool hasSucceeded) const {
    if (const auto& sink = owner.get_deleter().sink; sink != nullptr && sink->thrown != nullptr) {
      std::rethrow_exception(std::exchange(sink->thrown, nullptr));
    }
    Object::require(hasSucceeded);
  }

  /// @return the result of an operation, which is negative when it has failed.
  template <class Result>
  Result known(Result result) const {
    require(result >= 0);
    return result;
  }

  /// The format of a stream of video.
  VideoFormat videoFormat() {
    VideoFormat format = {};
    require(quillet_stream_video_format(handle(), &format) != 0);
    return format;
  }

  /// The format of a stream of audio.
  AudioFormat audioFormat() {
    AudioFormat format = {};
    require(quillet_stream_audio_format(handle(), &format) != 0);
    return format;
  }

 private:
  static Owner open(const FileName& name, Kind kind, const OpenOptions& options) {
    auto sink = std::make_unique<detail::ProgressSink>(detail::ProgressSink{options.progress});
    const auto& dialog = options.dialog;
    quillet_stream* const stream =
        dialog ? quillet_stream_open_behind_dialog(name.utf8(), kind, options.backend, options.index, dialog->window,
                                                   dialog->options(), dialog->caption())
               : quillet_stream_open(name.utf8(), kind, options.backend, options.index, detail::ProgressSink::call,
                                     sink.get());
    return Owner(stream, detail::StreamCloser{std::move(sink)});
  }
};

/// A stream of decoded frames.
class VideoSource : public Source {
 public:
  /// Opens a stream of video.
  explicit VideoSource(const FileName& name, const OpenOptions& options = {}) : Source(name, QUILLET_VIDEO, options) {}

  /// @return the format of the frames.
  VideoFormat format() { return videoFormat(); }

  /// @return frames a second.
  double rate() { return known(quillet_video_rate(handle())); }

  /// @return the number of the frame found at or, where there is none, near a number.
  std::int64_t find(std::int64_t number) { return known(quillet_video_find(handle(), number)); }

  /// Bounds the bytes of decoded frames that are kept for steps back; 0 to keep none, negative for the default.
  void setFrameBudget(std::int64_t bytes) { require(quillet_video_set_frame_budget(handle(), bytes) != 0); }

  /// Decodes a frame.
  Frame frame(std::int64_t number) {
    const auto size = static_cast<std::size_t>(format().frame_bytes);
    const std::uint8_t* const pixels = quillet_video_frame(handle(), &number);
    require(pixels != nullptr);
    return {number, {pixels, size}};
  }

  /// Decodes a frame into memory of the client's.
  Picture picture(std::int64_t number, Pixels pixels = QUILLET_BGRA32, Rows rows = QUILLET_TOP_DOWN) {
    const VideoFormat is = format();
    const std::size_t stride =
        static_cast<std::size_t>(is.width) * (pixels == QUILLET_BGRA32 || pixels == QUILLET_RGBA32 ? 4 : 3);
    Picture result{number, is.width, is.height, stride,
                   std::vector<std::uint8_t>(stride * static_cast<std::size_t>(is.height))};
    require(quillet_video_read(handle(), &result.number, pixels, rows, result.content.data(),
                               static_cast<std::int64_t>(stride),
                               static_cast<std::int64_t>(result.content.size())) != 0);
    return result;
  }
};

/// A stream of decoded samples.
class AudioSource : public Source {
 public:
  /// Opens a stream of audio.
  explicit AudioSource(const FileName& name, const OpenOptions& options = {}) : Source(name, QUILLET_AUDIO, options) {}

  /// @return the format of the samples.
  AudioFormat format() { return audioFormat(); }

  /// Decodes `count` samples.
  Bytes samples(std::int64_t first, std::int64_t count) {
    const std::int64_t sampleBytes = format().block_bytes;
    const void* const data = quillet_audio_samples(handle(), first, count);
    require(data != nullptr);
    return {static_cast<const std::uint8_t*>(data), static_cast<std::size_t>(count * sampleBytes)};
  }
};

/// A stream of compressed samples. One without a key sample is open, with a warning.
class RawSource : public Source {
 public:
  /// Opens the compressed samples of a stream.
  /// @param name name of the file.
  /// @param kind QUILLET_RAW_VIDEO or QUILLET_RAW_AUDIO.
  /// @param options how.
  RawSource(const FileName& name, Kind kind, const OpenOptions& options = {}) : Source(name, kind, options) {}

  using Source::audioFormat;
  using Source::videoFormat;

  /// Reads the sample that covers a number.
  /// @param number the number.
  /// @param key whether only a key sample at or before it will do.
  RawSample read(std::int64_t number, bool key = false) {
    RawSample sample = {};
    sample.number = number;
    sample.key = key ? 1 : 0;
    require(quillet_raw_read(handle(), &sample) != 0);
    return sample;
  }

  /// Reads the next sample in stored order, over DirectShow.
  /// @return nothing at the end.
  std::optional<RawSample> next() {
    RawSample sample = {};
    const bool isRead = quillet_raw_next(handle(), &sample) != 0;
    const bool isEnd = !isRead && warning() == ds_error::sampleBeyondData;
    require(isRead || isEnd);
    return isRead ? std::optional(sample) : std::nullopt;
  }

  /// @return the number of the first key sample; -1 when there is none.
  std::int64_t firstKey() { return quillet_raw_first_key(handle()); }

  /// @return the AM_MEDIA_TYPE of the samples, valid as long as the stream.
  const void* mediaType() {
    const void* const type = quillet_raw_media_type(handle());
    require(type != nullptr);
    return type;
  }
};

/// An AVI file that is written. Its streams are QUILLET_VIDEO and QUILLET_AUDIO.
class Writer : public Object<quillet_file, detail::FileCloser> {
 public:
  /// Creates a file.
  Writer(const FileName& name, const WriterOptions& options) : Object(open(name, options)) {
    require(quillet_is_open(handle()) != 0);
  }

  /// Sets the compressor of a stream over Video for Windows.
  void compress(Kind kind, const Compression& how) { require(quillet_file_compress(handle(), kind, &how) != 0); }

  /// Sets the compressor of a stream by what the backend takes for one; null makes a direct copy.
  void setCompressor(Kind kind, void* compressor) {
    require(quillet_file_set_compressor(handle(), kind, compressor) != 0);
  }

  /// @return whether the stream can, and has still to, get a compressor.
  bool canSetCompressor(Kind kind) { return quillet_file_can_set_compressor(handle(), kind) != 0; }

  /// @return whether the stream has got a compressor.
  bool isCompressorSet(Kind kind) { return quillet_file_is_compressor_set(handle(), kind) != 0; }

  /// Lets the user choose a compressor.
  /// @return false when the user has chosen none.
  bool chooseCompressor(Kind kind, void* window = nullptr) {
    return accepted(quillet_file_choose_compressor(handle(), kind, window));
  }

  /// Shows the settings of a compressor.
  /// @return false when the user has not taken them.
  bool configureCompressor(Kind kind, void* window = nullptr) {
    return accepted(quillet_file_configure_compressor(handle(), kind, window));
  }

  /// Shows the dialog of the interleaving.
  void configure(void* window = nullptr) { require(quillet_file_configure(handle(), window) != 0); }

  /// @return whether the backend interleaves the streams by itself.
  bool isInterleaving() { return quillet_file_is_interleaving(handle()) != 0; }

  /// @return whether the backend now does so, or does not, as wanted.
  bool setInterleaving(bool on) { return quillet_file_set_interleaving(handle(), on ? 1 : 0) != 0; }

  /// @return the interleaving period in units of 100 ns; 0 when there is none.
  std::int64_t interleavingPeriod() { return quillet_file_interleaving_period(handle()); }

  /// Sets the interleaving period.
  void setInterleavingPeriod(std::int64_t period) {
    require(quillet_file_set_interleaving_period(handle(), period) != 0);
  }

  /// @return whether the formats can be written.
  bool acceptsFormats() { return quillet_file_accepts_formats(handle()) != 0; }

  /// @return whether the library compresses a stream.
  bool isCompressed(Kind kind) { return quillet_file_is_compressed(handle(), kind) != 0; }

  /// @return whether all is set that start() needs.
  bool canStart() { return quillet_file_can_start(handle()) != 0; }

  /// Readies the file for writing.
  void start() { require(quillet_file_start(handle()) != 0); }

  /// Writes frames or samples; a negative size is computed from the format.
  void write(Kind kind, std::int64_t number, const void* data, std::int64_t count = 1, std::int64_t bytes = -1,
             bool key = true) {
    require(quillet_file_write(handle(), kind, number, data, count, bytes, key ? 1 : 0) != 0);
  }

  /// Writes a picture as the frame of its number.
  void write(const Picture& picture, Pixels pixels = QUILLET_BGRA32, Rows rows = QUILLET_TOP_DOWN) {
    require(quillet_file_write_picture(handle(), picture.number, pixels, rows, picture.content.data(),
                                       static_cast<std::int64_t>(picture.stride),
                                       static_cast<std::int64_t>(picture.content.size())) != 0);
  }

  /// Writes audio through a buffer.
  void writeBuffered(std::int64_t number, const void* data, std::int64_t count, std::int64_t bytes = -1,
                     bool key = true) {
    require(quillet_file_write_buffered(handle(), number, data, count, bytes, key ? 1 : 0) != 0);
  }

  /// Writes the buffered audio.
  void flush() { require(quillet_file_flush(handle()) != 0); }

  /// @return the number with which the next write continues; with `buffered` behind what is in the buffer.
  std::int64_t nextNumber(Kind kind, bool buffered = false) {
    const std::int64_t number = quillet_file_next_number(handle(), kind, buffered ? 1 : 0);
    require(number >= 0);
    return number;
  }

  /// Completes the file.
  void finish() { require(quillet_file_finish(handle()) != 0); }

 private:
  static Owner open(const FileName& name, const WriterOptions& options) {
    return Owner(quillet_file_open(name.utf8(), options.backend, options.video ? &*options.video : nullptr,
                                   options.compressVideo ? 1 : 0, options.audio ? &*options.audio : nullptr,
                                   options.compressAudio ? 1 : 0));
  }

  bool accepted(std::int32_t status) const {
    require(status != 0 || warning() == output_error::dialogCancelled);
    return status != 0;
  }
};

/// Turns for two threads, one for video and one for audio, that write one file.
class InterleaveEngine : public Object<quillet_engine, detail::EngineCloser> {
 public:
  /// Takes a file that has started.
  /// @param file what is written.
  /// @param continueAlone whether one thread goes on when the other has ended.
  explicit InterleaveEngine(const Writer& file, bool continueAlone = false)
      : Object(Owner(quillet_engine_open(file.handle(), continueAlone ? 1 : 0))) {}

  /// Writes a chunk when it is the stream's turn.
  /// @return false after a failure, with the code in the file, and after stop(): nothing more can be written then.
  bool write(Kind kind, std::int64_t number, const void* data, std::int64_t count = 1, std::int64_t bytes = -1,
             bool key = true) {
    return quillet_engine_write(handle(), kind, number, data, count, bytes, key ? 1 : 0) != 0;
  }

  /// Writes a chunk behind what the file has of the stream, in a file with audio.
  /// @return as write() does.
  bool writeNext(Kind kind, const void* data, std::int64_t count = 1, std::int64_t bytes = -1, bool key = true) {
    return quillet_engine_write_next(handle(), kind, data, count, bytes, key ? 1 : 0) != 0;
  }

  /// Tells that a stream has no more data.
  void end(Kind kind) { quillet_engine_end(handle(), kind); }

  /// Makes both threads leave their waits.
  void stop() { quillet_engine_stop(handle()); }

  /// Writes the audio that is still buffered.
  /// @return whether it was written; false for a file without audio.
  bool finish() { return quillet_engine_finish(handle()) != 0; }
};

/// @return the version of the DLL, in the form of #QUILLET_VERSION.
inline const char* version() {
  return quillet_version();
}

/// Moves the calling thread into the single-threaded or the multithreaded apartment of COM.
inline void setApartment(bool singleThreaded) {
  quillet_set_apartment(singleThreaded ? 1 : 0);
}

/// Counts the streams of a file.
/// @param name name of the file.
/// @param mayUseGraph whether a filter graph may be asked where the system's media detector is of no use.
inline StreamCount countStreams(const FileName& name, bool mayUseGraph = true) {
  std::int32_t video = 0;
  std::int32_t audio = 0;
  if (const int code = quillet_count_streams(name.utf8(), mayUseGraph ? 1 : 0, &video, &audio)) {
    throw Error(code, quillet_count_streams_text(code));
  }
  return {video, audio};
}

}  // namespace quillet
