#pragma once

/// @file
/// The library in C, for every compiler and language: the objects of the C++ classes behind opaque handles.
///
/// @section handles Handles
/// What an `_open` answers is closed once, with the `_close` of its kind, also when the opening failed: a handle is then
/// there to be asked why. NULL stands for no memory, and for more objects than there can be (8,192). Every function takes
/// any handle: one that is NULL or closed, one of another kind of object, or of a stream of another kind, makes it fail, and
/// never crash.
///
/// @section errors Errors
/// A function answers its result, or the failure value that is documented with it. What has happened is then told by
/// quillet_error(), quillet_error_text() and quillet_error_is_fatal() of the handle. Codes above 0 are those of the backend
/// that quillet_uses_directshow() tells (named in error_codes.h, from 200 on the same for both); those below 0 are of
/// #quillet_own_error. A result with a code other than 0 is usable, and the code a warning. Code 1 is of objects that are
/// not open, and can come from every function that takes one. Functions that answer a status answer 1 for success and 0 for
/// failure.
///
/// @section buffers Buffers and names
/// A pointer that a function answers is valid until the next call on its handle, where nothing else is said. Data that is
/// handed in is needed only during the call. All names and texts are in UTF-8.
///
/// @section threads Threads
/// Every function may be called on any thread, without preparation: it sets the thread up. One handle is used by one
/// thread at a time. Exceptions are said where they hold: the engine, and files of DirectShow that two threads write.
///
/// @code
/// quillet_stream* video = quillet_stream_open("clip.avi", QUILLET_VIDEO, QUILLET_AUTOMATIC, 0, NULL, NULL);
/// int64_t frame = 42;
/// const uint8_t* pixels = quillet_video_frame(video, &frame);
/// puts(pixels != NULL ? "decoded" : quillet_error_text(video));
/// quillet_stream_close(video);
/// @endcode

#include <stdint.h>

#include <quillet/export.h>
#include <quillet/version.h>

#ifdef __cplusplus
extern "C" {
#endif

/// @name Kinds
/// @{

/// A stream that is read.
typedef struct quillet_stream quillet_stream;
/// An AVI file that is written.
typedef struct quillet_file quillet_file;
/// Turns for two threads that write one file.
typedef struct quillet_engine quillet_engine;

/// What a stream delivers.
enum quillet_kind {
  QUILLET_VIDEO = 1,      ///< Decoded frames.
  QUILLET_AUDIO = 2,      ///< Decoded samples.
  QUILLET_RAW_VIDEO = 3,  ///< Compressed frames, as the file stores them.
  QUILLET_RAW_AUDIO = 4   ///< Compressed samples, as the file stores them.
};

/// The system's component that reads or writes the file.
enum quillet_backend {
  QUILLET_AUTOMATIC = 0,          ///< Video for Windows or, when that fails or cannot read the stream, DirectShow.
  QUILLET_VIDEO_FOR_WINDOWS = 1,  ///< Video for Windows.
  QUILLET_DIRECTSHOW = 2          ///< DirectShow.
};

/// The layout of a pixel in a buffer of the caller's.
enum quillet_pixels {
  QUILLET_BGR24 = 1,   ///< Blue, green, red: 3 bytes.
  QUILLET_BGRA32 = 2,  ///< Blue, green, red, and 255: 4 bytes. What is written there is not looked at.
  QUILLET_RGB24 = 3,   ///< Red, green, blue: 3 bytes.
  QUILLET_RGBA32 = 4   ///< Red, green, blue, and 255: 4 bytes. What is written there is not looked at.
};

/// The order of the rows in a buffer of the caller's.
enum quillet_rows {
  QUILLET_TOP_DOWN = 0,  ///< The top row first.
  QUILLET_BOTTOM_UP = 1  ///< The bottom row first.
};

/// What the dialog of a long operation looks like; to be combined with `|`.
enum quillet_dialog {
  QUILLET_DIALOG_START_HIDDEN = 16,  ///< It shows up at the operation's first report of progress, if there is one.
  QUILLET_DIALOG_CAPTIONED = 32      ///< It has a caption with the title, a system menu and a minimise box.
};

/// Codes of the interface's own. None makes an object unusable that was open.
enum quillet_own_error {
  QUILLET_ERROR_HANDLE = -1,    ///< The handle is NULL, closed, or was never one.
  QUILLET_ERROR_KIND = -2,      ///< The object is of another kind, or of a backend that has no such operation.
  QUILLET_ERROR_ARGUMENT = -3,  ///< An argument that must not be NULL is, or one is out of its range.
  QUILLET_ERROR_DIALOG = -4     ///< The stream was not opened, since the dialog could not be shown.
};

/// Told at each step of a long operation, on the thread that has called or on one of the library's own. It must not call
/// back into the stream.
/// @param user the pointer given with the function.
/// @param phase the kind of step: 0 parsing the stream while it is opened, 1 opening it, 2 going back in search of a sample,
///     3 any other.
/// @return 0 to go on. Anything else stops the operation, as soon as the backend lets it: it fails with the DirectShow code
///     74. A stream that was open stays usable.
typedef int32_t (*quillet_progress)(void* user, int32_t phase);

/// A format of frames.
typedef struct quillet_video_format {
  int32_t width;           ///< Pixels.
  int32_t height;          ///< Pixels, always above 0.
  int32_t top_down;        ///< Whether the top row comes first.
  int32_t bits;            ///< Of a pixel.
  uint32_t compression;    ///< The codec's FOURCC; 0 for RGB, 3 for RGB with masks.
  int32_t stride;          ///< Bytes from one row to the next of an uncompressed frame, otherwise 0.
  int64_t frame_bytes;     ///< Bytes of a frame; of a compressed one at most, 0 when that is not known.
  int64_t frame_duration;  ///< Units of 100 ns.
  int64_t bit_rate;        ///< Bits a second, 0 when that is not known.
  /// The whole format: a BITMAPINFOHEADER with the masks, the palette or the codec's own data behind it. A writer takes
  /// frame_duration, bit_rate and this; when it is NULL it makes the header of the other fields, for RGB of 24 or 32 bits.
  const void* header;
  int64_t header_bytes;  ///< Bytes at #header.
} quillet_video_format;

/// A format of samples. One sample has a value for each channel.
typedef struct quillet_audio_format {
  int32_t tag;               ///< The format's tag; 1 for PCM.
  int32_t channels;          ///< Values in a sample.
  int32_t sample_rate;       ///< Samples a second.
  int32_t bits;              ///< Of a value; 0 for most compressed formats.
  int32_t block_bytes;       ///< Bytes of a sample of PCM; of other formats, of a block.
  int32_t bytes_per_second;  ///< Average data rate.
  /// The whole format: a WAVEFORMATEX with its extension behind it. A writer takes this alone; when it is NULL it makes the
  /// format of #channels, #sample_rate and #bits, for PCM.
  const void* header;
  int64_t header_bytes;  ///< Bytes at #header.
} quillet_audio_format;

/// A compressed sample.
typedef struct quillet_raw_sample {
  int64_t number;    ///< Number of the first sample that the data covers.
  int64_t count;     ///< How many of the stream's samples it covers.
  int64_t bytes;     ///< Size of the data.
  double time;       ///< Milliseconds, -1.0 when it carries none; told by quillet_raw_next() alone.
  int32_t key;       ///< Whether it is a key sample.
  const void* data;  ///< As the file stores it.
} quillet_raw_sample;

/// How the library compresses a stream over Video for Windows.
typedef struct quillet_compression {
  uint32_t codec;                     ///< The video codec's FOURCC.
  int32_t key_every;                  ///< Frames from one key frame to the next; 0 for the codec's own.
  int32_t quality;                    ///< From 0 to 10,000; -1 for the codec's own.
  const quillet_audio_format* audio;  ///< The format to which audio is converted.
} quillet_compression;

/// @}
/// @name The library
/// @{

/// @return the version of the DLL, in the form of #QUILLET_VERSION; valid for ever.
QUILLET_API const char* quillet_version(void);

/// Moves the calling thread into the other of COM's apartments: some dialogs of compressors want the single-threaded one.
/// No handle that the thread has opened may be open meanwhile.
/// @param single_threaded 1 for the single-threaded apartment, 0 for the multithreaded one, in which threads are set up.
QUILLET_API void quillet_set_apartment(int32_t single_threaded);

/// Counts the streams of a file that the system can tell apart. None is decoded, or played.
/// @param name name of the file.
/// @param may_use_graph 1 to ask a filter graph where the system's media detector is of no use, 0 to have the detector's
///     answer or none.
/// @param video receives the number of video streams, 0 on failure; may be NULL.
/// @param audio receives the number of audio streams, 0 on failure; may be NULL.
/// @return 0 on success, otherwise a MediaContainer::Error, for quillet_count_streams_text().
QUILLET_API int32_t quillet_count_streams(const char* name, int32_t may_use_graph, int32_t* video, int32_t* audio);

/// @param error what quillet_count_streams() has answered.
/// @return its text, valid for ever; NULL when there is no such error.
QUILLET_API const char* quillet_count_streams_text(int32_t error);

/// @param type an AM_MEDIA_TYPE of the platform's, as quillet_raw_media_type() answers it; may be NULL.
/// @return whether it describes video. What holds or may hold both kinds is both.
QUILLET_API int32_t quillet_is_video_type(const void* type);

/// @param type see quillet_is_video_type().
/// @return whether it describes audio.
QUILLET_API int32_t quillet_is_audio_type(const void* type);

/// @}
/// @name What has happened
/// Of any handle: of an engine, what has happened to its file.
/// @{

/// @return the code of the last operation on the object, 0 on success; QUILLET_ERROR_HANDLE when there is no such object.
QUILLET_API int32_t quillet_error(const void* handle);

/// @return the text of that code, valid until the next call on the handle; never NULL.
QUILLET_API const char* quillet_error_text(const void* handle);

/// @return whether that code leaves the object unusable, or there is none. Raw streams without a key sample can be read
///     though it does: see quillet_is_open().
QUILLET_API int32_t quillet_error_is_fatal(const void* handle);

/// @return whether the object was opened and can be used; for files, until quillet_file_finish().
QUILLET_API int32_t quillet_is_open(const void* handle);

/// @return 1 when the object is of DirectShow, 0 when it is of Video for Windows, or there is none.
QUILLET_API int32_t quillet_uses_directshow(const void* handle);

/// @}
/// @name Streams
/// Samples are numbered from 0: frames, for video. Times are in milliseconds.
/// @{

/// Opens a stream.
/// @param name name of the file.
/// @param kind what it is to deliver, a #quillet_kind.
/// @param backend a #quillet_backend.
/// @param index number of the stream among the file's streams of that kind, from 0.
/// @param progress told of the progress of this and later operations; may be NULL.
/// @param user handed to `progress`.
/// @return the stream, to be closed also when quillet_is_open() tells that it is not open: codes of the backends' `open`, or
///     QUILLET_ERROR_ARGUMENT. NULL when there is no memory for a handle.
QUILLET_API quillet_stream* quillet_stream_open(const char* name, int32_t kind, int32_t backend, int32_t index,
                                                quillet_progress progress, void* user);

/// Opens a stream on a thread of its own, behind a modal dialog that shows the progress. The calling thread runs the dialog,
/// which ends with the operation only.
/// @param name, kind, backend, index see quillet_stream_open().
/// @param window the parent's HWND; may be NULL.
/// @param options a combination of #quillet_dialog values; 0 for none.
/// @param title the dialog's caption, at most 256 characters; NULL for the text of the top-most ancestor of `window`.
/// @return as quillet_stream_open() does; one that is not open, with QUILLET_ERROR_DIALOG, when the dialog could not be
///     shown.
QUILLET_API quillet_stream* quillet_stream_open_behind_dialog(const char* name, int32_t kind, int32_t backend,
                                                              int32_t index, void* window, int32_t options,
                                                              const char* title);

/// Closes a stream. NULL and closed handles are passed over.
QUILLET_API void quillet_stream_close(quillet_stream* stream);

/// @return the stream's #quillet_kind; 0 for no stream.
QUILLET_API int32_t quillet_stream_kind(quillet_stream* stream);

/// @return the length in samples; -1 on failure.
QUILLET_API int64_t quillet_stream_length(quillet_stream* stream);

/// @return the duration in milliseconds; -1.0 on failure (Video for Windows 6).
QUILLET_API double quillet_stream_duration(quillet_stream* stream);

/// @param stream the stream's handle.
/// @param sample a number; receives that of the sample found, where a backend finds another one, with a warning.
/// @return its time in milliseconds; -1.0 on failure (DirectShow 5, 20; Video for Windows 17).
QUILLET_API double quillet_stream_time_of(quillet_stream* stream, int64_t* sample);

/// @param stream the stream's handle.
/// @param time milliseconds; receives the time of the sample found, where a backend finds another one, with a warning.
/// @return the number of the sample at that time; -1 on failure (DirectShow 5, 20; Video for Windows 17).
QUILLET_API int64_t quillet_stream_sample_at(quillet_stream* stream, double* time);

/// Describes what a stream of video delivers, decoded or not. The header is one that a writer takes.
/// @param stream the stream's handle.
/// @param format receives the description, its header valid until the stream is closed.
/// @return the status (DirectShow 72, QUILLET_ERROR_KIND).
QUILLET_API int32_t quillet_stream_video_format(quillet_stream* stream, quillet_video_format* format);

/// Describes what a stream of audio delivers, as quillet_stream_video_format() does.
QUILLET_API int32_t quillet_stream_audio_format(quillet_stream* stream, quillet_audio_format* format);

/// Replaces what is told of the progress.
/// @param stream the stream's handle.
/// @param progress may be NULL.
/// @param user handed to `progress`.
/// @return the status.
QUILLET_API int32_t quillet_stream_set_progress(quillet_stream* stream, quillet_progress progress, void* user);

/// Runs the operations from now on behind a dialog that shows their progress, if the stream is DirectShow's; see
/// quillet_stream_open_behind_dialog(). They fail with code 49 when it cannot be shown.
/// @param stream the stream's handle.
/// @param use 1 to do so, 0 to do without a dialog again.
/// @param window, options, title see quillet_stream_open_behind_dialog().
/// @return the status.
QUILLET_API int32_t quillet_stream_use_dialog(quillet_stream* stream, int32_t use, void* window, int32_t options,
                                              const char* title);

/// Shows the tuning dialog of a stream.
/// @param stream the stream's handle.
/// @param window the parent's HWND; may be NULL.
/// @return 1 after OK and Cancel; 0 on failure (DirectShow 49, 52; Video for Windows 29: it has nothing to tune).
QUILLET_API int32_t quillet_stream_configure(quillet_stream* stream, void* window);

/// Tunes the search for samples of a DirectShow stream; values below 1 are the defaults.
/// @param stream the stream's handle.
/// @param quick_decode frames, blocks or samples that it is quicker to decode than to seek over.
/// @param step_back first step back when a seek lands after what is wanted: of video in frames, of audio in samples, of raw
///     audio in bytes.
/// @param growth factor by which the step of video grows.
/// @return the status (QUILLET_ERROR_KIND over Video for Windows).
QUILLET_API int32_t quillet_stream_tune(quillet_stream* stream, int32_t quick_decode, int32_t step_back,
                                        int32_t growth);

/// @}
/// @name Video
/// Frames are of 24-bit RGB.
/// @{

/// @return frames a second; -1.0 on failure.
QUILLET_API double quillet_video_rate(quillet_stream* stream);

/// Positions the stream on a frame; where it has none of that number on the nearest earlier one, or else on the next one,
/// with the warning 35 (DirectShow) or 9 (Video for Windows).
/// @return the number of the frame found; -1 on failure (DirectShow 5, 20, 22 to 26; Video for Windows 8, 10).
QUILLET_API int64_t quillet_video_find(quillet_stream* stream, int64_t frame);

/// Bounds the memory for decoded frames that are kept once a client has gone back, for its next steps back, or to and fro.
/// Which frame a number gives does not depend on it. What is kept now is forgotten.
/// @param stream the stream's handle.
/// @param bytes most bytes of the kept frames; 0 to keep none, negative for the default: 192 MiB, of which there are 256 MiB
///     for all streams of the process together.
/// @return the status.
QUILLET_API int32_t quillet_video_set_frame_budget(quillet_stream* stream, int64_t bytes);

/// Decodes a frame, found as quillet_video_find() does.
/// @param stream the stream's handle.
/// @param frame its number; receives that of the frame found, -1 when there is none.
/// @return the pixels, as quillet_stream_video_format() tells; NULL on failure (as quillet_video_find(), and Video for
///     Windows 11).
QUILLET_API const uint8_t* quillet_video_frame(quillet_stream* stream, int64_t* frame);

/// Decodes a frame, found as quillet_video_find() does, into a buffer of the caller's.
/// @param stream the stream's handle.
/// @param frame its number; receives that of the frame found, -1 when there is none.
/// @param pixels the wanted layout, a #quillet_pixels.
/// @param rows the wanted order, a #quillet_rows.
/// @param buffer receives the rows.
/// @param stride bytes from one row to the next.
/// @param bytes size of the buffer: at least what reaches from the first byte of the first row to the last of the last.
/// @return the status (as quillet_video_frame(), and QUILLET_ERROR_ARGUMENT, with nothing decoded).
QUILLET_API int32_t quillet_video_read(quillet_stream* stream, int64_t* frame, int32_t pixels, int32_t rows,
                                       void* buffer, int64_t stride, int64_t bytes);

/// @}
/// @name Audio
/// @{

/// Decodes a run of samples.
/// @param stream the stream's handle.
/// @param first number of the first one.
/// @param count how many.
/// @return `count` samples of quillet_audio_format::block_bytes each; NULL on failure (DirectShow 2, 5, 20, 25; Video for
///     Windows 2, 8, 13, 14, 15).
QUILLET_API const void* quillet_audio_samples(quillet_stream* stream, int64_t first, int64_t count);

/// Decodes a run of samples into a buffer of the caller's.
/// @param stream the stream's handle.
/// @param first, count see quillet_audio_samples().
/// @param buffer receives the samples.
/// @param bytes its size.
/// @return the status (as quillet_audio_samples(), and QUILLET_ERROR_ARGUMENT for a buffer that is too small).
QUILLET_API int32_t quillet_audio_read(quillet_stream* stream, int64_t first, int64_t count, void* buffer,
                                       int64_t bytes);

/// @}
/// @name Raw samples
/// What the numbers stand for is told with RawDataSourceStream and DSRawDataSourceStream.
/// @{

/// Reads the compressed sample that covers a number.
/// @param stream the stream's handle.
/// @param sample its number and, as `key`, whether only a key sample at or before it will do; receives the sample.
/// @return the status (DirectShow 2, 5, 20, 50, and 12 as a warning; Video for Windows 2, 8, 10, 15, 18, 20).
QUILLET_API int32_t quillet_raw_read(quillet_stream* stream, quillet_raw_sample* sample);

/// Reads the compressed sample that is stored behind the one read last with this function, first the stream's first: so
/// each of them once, in stored order. After the end, a failure, and quillet_raw_read() it begins again.
/// @param stream the stream's handle.
/// @param sample receives the sample.
/// @return the status: 0 with the warning 12 at the end of the stream, and on failure (DirectShow 2, 5;
///     QUILLET_ERROR_KIND over Video for Windows, where numbers are in stored order).
QUILLET_API int32_t quillet_raw_next(quillet_stream* stream, quillet_raw_sample* sample);

/// @return the number of the first key sample; -1 when there is none, and on failure.
QUILLET_API int64_t quillet_raw_first_key(quillet_stream* stream);

/// @return the media type of the samples, an AM_MEDIA_TYPE of the platform's, valid until the stream is closed; NULL on
///     failure.
QUILLET_API const void* quillet_raw_media_type(quillet_stream* stream);

/// @}
/// @name Files
/// A stream of the file is named by its kind, QUILLET_VIDEO or QUILLET_AUDIO. quillet_file_open(), compressors for the
/// streams that are to be compressed, quillet_file_start(), writes, quillet_file_flush() when audio was buffered,
/// quillet_file_finish(), quillet_file_close().
/// @{

/// Creates a file; an existing one is overwritten.
/// @param name name of the file.
/// @param backend a #quillet_backend.
/// @param video format of the frames that will be written; NULL for no video stream.
/// @param compress_video whether the library is to compress them.
/// @param audio format of the samples that will be written; NULL for no audio stream.
/// @param compress_audio whether the library is to compress them.
/// @return the file, to be closed also when quillet_is_open() tells that it is not open: codes of the backends' `create`, or
///     QUILLET_ERROR_ARGUMENT for a format that cannot be. NULL when there is no memory for a handle.
QUILLET_API quillet_file* quillet_file_open(const char* name, int32_t backend, const quillet_video_format* video,
                                            int32_t compress_video, const quillet_audio_format* audio,
                                            int32_t compress_audio);

/// Lets go of a file; what was not finished may be lost. NULL and closed handles are passed over. While an engine writes the
/// file it stays open, without a handle.
QUILLET_API void quillet_file_close(quillet_file* file);

/// @return whether the stream can, and has still to, get a compressor.
QUILLET_API int32_t quillet_file_can_set_compressor(quillet_file* file, int32_t kind);

/// Sets the compressor of a stream by what the backend takes for one.
/// @param file the file's handle.
/// @param kind the stream.
/// @param compressor over DirectShow the IMoniker of a compressor filter; over Video for Windows an AVICOMPRESSOPTIONS, what
///     it points at to outlive the file. NULL makes a direct copy of the stream.
/// @return the status (200, 201, 204, 205; DirectShow 29, 31, 45; Video for Windows 25).
QUILLET_API int32_t quillet_file_set_compressor(quillet_file* file, int32_t kind, void* compressor);

/// Sets the compressor of a stream over Video for Windows.
/// @param file the file's handle.
/// @param kind the stream.
/// @param compression of which `codec`, `key_every` and `quality` count for video, and `audio` for audio.
/// @return the status (200, 201, 204, 205; Video for Windows 25; QUILLET_ERROR_KIND over DirectShow).
QUILLET_API int32_t quillet_file_compress(quillet_file* file, int32_t kind, const quillet_compression* compression);

/// @return whether the stream has got a compressor.
QUILLET_API int32_t quillet_file_is_compressor_set(quillet_file* file, int32_t kind);

/// Lets the user choose a compressor for the stream.
/// @param file the file's handle.
/// @param kind the stream.
/// @param window the parent's HWND; may be NULL.
/// @return whether one was chosen and set (206 when not; codes of `chooseCompressor`).
QUILLET_API int32_t quillet_file_choose_compressor(quillet_file* file, int32_t kind, void* window);

/// Shows the settings of the stream's compressor.
/// @param file the file's handle.
/// @param kind the stream.
/// @param window the parent's HWND; may be NULL.
/// @return 1 when they were shown and taken (206 when not, 207; codes of `configureCompressor`).
QUILLET_API int32_t quillet_file_configure_compressor(quillet_file* file, int32_t kind, void* window);

/// Shows the dialog of the file's interleaving.
/// @param file the file's handle.
/// @param window the parent's HWND; may be NULL.
/// @return 1 when it was shown (DirectShow 49, 63, 73; Video for Windows 31, 32, 33).
QUILLET_API int32_t quillet_file_configure(quillet_file* file, void* window);

/// @return whether the backend interleaves the streams by itself.
QUILLET_API int32_t quillet_file_is_interleaving(quillet_file* file);

/// @param file the file's handle.
/// @param on whether the backend is to interleave the streams by itself.
/// @return the status (DirectShow 63; 0 with no code over Video for Windows, which has no such setting).
QUILLET_API int32_t quillet_file_set_interleaving(quillet_file* file, int32_t on);

/// @return the interleaving period in units of 100 ns; 0 on failure.
QUILLET_API int64_t quillet_file_interleaving_period(quillet_file* file);

/// Sets the interleaving period, before quillet_file_start().
/// @param file the file's handle.
/// @param period units of 100 ns.
/// @return the status (DirectShow 63, 73; Video for Windows 31).
QUILLET_API int32_t quillet_file_set_interleaving_period(quillet_file* file, int64_t period);

/// @return whether the formats can be written (202, 203).
QUILLET_API int32_t quillet_file_accepts_formats(quillet_file* file);

/// @return whether the library compresses the stream (200, 201).
QUILLET_API int32_t quillet_file_is_compressed(quillet_file* file, int32_t kind);

/// @return whether all is set that quillet_file_start() needs.
QUILLET_API int32_t quillet_file_can_start(quillet_file* file);

/// Readies the file for writing.
/// @return the status (codes of the backends' `start`).
QUILLET_API int32_t quillet_file_start(quillet_file* file);

/// Writes frames or samples. Over DirectShow video and audio may be written by two threads at once.
/// @param file the file's handle.
/// @param kind the stream.
/// @param number number of the first one.
/// @param data the frames or samples, in the format given to quillet_file_open().
/// @param count how many.
/// @param bytes size of the data; when negative it is computed from the format.
/// @param key whether they are key frames or samples.
/// @return the status (200, 201; DirectShow 44, 64; Video for Windows 30, 36, 39, 40; QUILLET_ERROR_ARGUMENT for numbers
///     above 2^31 - 1).
QUILLET_API int32_t quillet_file_write(quillet_file* file, int32_t kind, int64_t number, const void* data,
                                       int64_t count, int64_t bytes, int32_t key);

/// Writes a frame from a picture in a layout of the caller's; for files of RGB of 24 or 32 bits, and compressed from it.
/// @param file the file's handle.
/// @param number the frame's number.
/// @param pixels the picture's layout, a #quillet_pixels.
/// @param rows its order, a #quillet_rows.
/// @param data the picture.
/// @param stride bytes from one row to the next.
/// @param bytes size of the picture: at least what reaches from the first byte of the first row to the last of the last.
/// @return the status (as quillet_file_write(), QUILLET_ERROR_KIND for a file of other frames, QUILLET_ERROR_ARGUMENT).
QUILLET_API int32_t quillet_file_write_picture(quillet_file* file, int64_t number, int32_t pixels, int32_t rows,
                                               const void* data, int64_t stride, int64_t bytes);

/// Writes audio through a buffer, which is written as a whole when it is full, and when samples do not continue those in it
/// or differ in `key`.
/// @param file the file's handle.
/// @param number, data, count, bytes, key see quillet_file_write().
/// @return the status (2, 201, 208, and those of quillet_file_write()).
QUILLET_API int32_t quillet_file_write_buffered(quillet_file* file, int64_t number, const void* data, int64_t count,
                                                int64_t bytes, int32_t key);

/// Writes the buffered audio, and empties the buffer even when that fails.
/// @return the status (201, and those of quillet_file_write()).
QUILLET_API int32_t quillet_file_flush(quillet_file* file);

/// @param file the file's handle.
/// @param kind the stream.
/// @param buffered 1 to count what is still in the buffer of audio.
/// @return the number with which the next write continues; -1 on failure (201, also for video in a file without audio).
QUILLET_API int64_t quillet_file_next_number(quillet_file* file, int32_t kind, int32_t buffered);

/// Completes the file. The handle stays, to be asked, and closed.
/// @return the status (DirectShow 23, 26, 44, 64; Video for Windows 36).
QUILLET_API int32_t quillet_file_finish(quillet_file* file);

/// @}
/// @name Engines
/// An engine lets two threads, one for video and one for audio, write into one file in turns; the audio thread first.
/// @{

/// @param file the file, after quillet_file_start(). It stays open as long as the engine.
/// @param continue_alone whether one thread goes on when the other has ended.
/// @return the engine; NULL when `file` is none, its own interleaving cannot be switched off, or there is no memory.
QUILLET_API quillet_engine* quillet_engine_open(quillet_file* file, int32_t continue_alone);

/// Lets go of the file, without quillet_engine_finish(). Neither thread may be writing. NULL and closed handles are passed
/// over.
QUILLET_API void quillet_engine_close(quillet_engine* engine);

/// Writes a chunk when it is the stream's turn, and waits for it before. For one thread of each kind at a time.
/// @param engine the engine's handle.
/// @param kind, number, data, count, bytes, key see quillet_file_write().
/// @return the status: after a failure, and after quillet_engine_stop(), nothing more can be written.
QUILLET_API int32_t quillet_engine_write(quillet_engine* engine, int32_t kind, int64_t number, const void* data,
                                         int64_t count, int64_t bytes, int32_t key);

/// The same, with the number that follows what the file has written of the stream: samples in the file's buffer do not
/// count, and a file without audio has the number -1. See AutomaticInterleaveEngine::WriteNext().
QUILLET_API int32_t quillet_engine_write_next(quillet_engine* engine, int32_t kind, const void* data, int64_t count,
                                              int64_t bytes, int32_t key);

/// Tells that a stream has no more data. Called by the thread that writes it, or after its end.
QUILLET_API void quillet_engine_end(quillet_engine* engine, int32_t kind);

/// Makes both threads leave their waits: every write fails from now on. Any thread may call it.
QUILLET_API void quillet_engine_stop(quillet_engine* engine);

/// Restores the file's own interleaving and writes the audio that is still buffered. Neither thread may be writing.
/// @return the result of the flush; 0 for a file without audio.
QUILLET_API int32_t quillet_engine_finish(quillet_engine* engine);

/// @}

#ifdef __cplusplus
}
#endif
