// Files and engines of the C interface.

#include <windows.h>

#include <vfw.h>

#include "c_interface/formats.h"
#include "c_interface/objects.h"
#include "c_interface/picture.h"
#include "formats/format_sizes.h"

using quillet::HandledEngine;
using quillet::HandledFile;
using quillet::HandledObject;
using quillet::take;

using Engine = AutomaticInterleaveEngine;

namespace {

/// Does something with the file of a handle.
/// @param operation takes the file and the object that holds it.
/// @return what the operation answers; `failure` when there is no such file, with the code noted where there is an object.
template <class Result, class Operation>
Result withFile(quillet_file* handle, Result failure, Operation operation) {
  auto* const object = take<HandledFile>(handle);
  if (object == nullptr) {
    return failure;
  }
  if (object->output == nullptr) {
    object->note(quillet::common_error::notOpened);
    return failure;
  }
  return operation(*object->output, *object);
}

bool isKind(int kind) {
  return kind == QUILLET_VIDEO || kind == QUILLET_AUDIO;
}

/// Does something with one stream of a file.
/// @param operation takes the file and whether the stream is the video stream, and answers whether it has succeeded.
/// @return the status.
template <class Operation>
int32_t withStreamOf(quillet_file* handle, int kind, Operation operation) {
  return withFile(handle, 0, [&](OutputAVIFile& output, HandledFile& object) {
    return object.require(isKind(kind)) && operation(output, kind == QUILLET_VIDEO) ? 1 : 0;
  });
}

/// What is written, in the types of the library.
struct Piece {
  long number;
  unsigned char* data;
  long count;
  long bytes;
  bool key;
};

/// @return whether the library can count so far; otherwise the code is noted.
bool makePiece(HandledObject& object, std::int64_t number, const void* data, std::int64_t count, std::int64_t bytes,
               std::int32_t key, Piece& piece) {
  // The library does not write to the data.
  piece = {static_cast<long>(number), static_cast<unsigned char*>(const_cast<void*>(data)), static_cast<long>(count),
           static_cast<long>(std::max<std::int64_t>(bytes, -1)), key != 0};
  return object.require(std::in_range<long>(number) && std::in_range<long>(count) && std::in_range<long>(bytes));
}

/// What a writer keeps of a format.
/// @return false when it is given, and there can be no such format.
template <class Format, class MakeBlock>
bool keepFormat(const Format* format, MakeBlock makeBlock, std::vector<BYTE>& block) {
  if (format != nullptr) {
    block = makeBlock(*format);
  }
  return format == nullptr || !block.empty();
}

template <class Record>
const Record* recordOrNull(const std::vector<BYTE>& block) {
  return block.empty() ? nullptr : reinterpret_cast<const Record*>(block.data());
}

void createOutput(HandledFile& object, const char* name, int backend, bool compressVideo, bool compressAudio) {
  const auto wide = quillet::wideOf(name);
  const wchar_t* const file = wide ? wide->c_str() : nullptr;
  const auto* const video = recordOrNull<VIDEOINFOHEADER>(object.video);
  const auto* const audio = recordOrNull<WAVEFORMATEX>(object.audio);
  object.output.reset(
      backend == QUILLET_AUTOMATIC
          ? OutputAVIFile::create(file, video, compressVideo, audio, compressAudio)
          : OutputAVIFile::create(file, video, compressVideo, audio, compressAudio, backend == QUILLET_DIRECTSHOW));
}

bool succeeded(const OutputAVIFile& output) {
  return output.lastError == quillet::common_error::success;
}

/// Whether frames of the format are pixels of 8 bits a colour.
bool isRgb(const BITMAPINFOHEADER& format) {
  return format.biCompression == BI_RGB && (format.biBitCount == 24 || format.biBitCount == 32);
}

Engine::ThreadType threadOf(int kind) {
  return kind == QUILLET_VIDEO ? Engine::VideoThread : Engine::AudioThread;
}

}  // namespace

quillet_file* quillet_file_open(const char* name, int32_t backend, const quillet_video_format* video,
                                int32_t compress_video, const quillet_audio_format* audio, int32_t compress_audio) {
  return quillet::openHandle<quillet_file>([&]() -> std::shared_ptr<HandledFile> {
    auto object = std::make_shared<HandledFile>();
    const bool isPossible = backend >= QUILLET_AUTOMATIC && backend <= QUILLET_DIRECTSHOW &&
                            keepFormat(video, quillet::videoBlock, object->video) &&
                            keepFormat(audio, quillet::audioBlock, object->audio);
    if (object->require(isPossible)) {
      createOutput(*object, name, backend, compress_video != 0, compress_audio != 0);
    }
    return isPossible && object->output == nullptr ? nullptr : object;
  });
}

void quillet_file_close(quillet_file* file) {
  quillet::closeHandle<HandledFile>(file);
}

int32_t quillet_file_can_set_compressor(quillet_file* file, int32_t kind) {
  return withStreamOf(file, kind, [](OutputAVIFile& output, bool video) { return output.canSetCompressor(video); });
}

int32_t quillet_file_set_compressor(quillet_file* file, int32_t kind, void* compressor) {
  return withStreamOf(file, kind,
                      [&](OutputAVIFile& output, bool video) { return output.setCompressor(video, compressor); });
}

int32_t quillet_file_compress(quillet_file* file, int32_t kind, const quillet_compression* compression) {
  return withFile(file, 0, [&](OutputAVIFile& output, HandledFile& object) {
    const bool video = kind == QUILLET_VIDEO;
    if (output.usesDirectShow()) {
      object.note(QUILLET_ERROR_KIND);
      return 0;
    }
    std::vector<BYTE> target;
    const int shortage = quillet::guarded([&] {
      const bool isPossible =
          isKind(kind) && compression != nullptr &&
          (video || (compression->audio != nullptr && keepFormat(compression->audio, quillet::audioBlock, target)));
      return isPossible ? int{quillet::common_error::success} : QUILLET_ERROR_ARGUMENT;
    });
    object.note(shortage);
    if (shortage != quillet::common_error::success) {
      return 0;
    }
    AVICOMPRESSOPTIONS options = {};
    options.fccType = video ? streamtypeVIDEO : streamtypeAUDIO;
    if (video) {
      options.fccHandler = compression->codec;
      options.dwKeyFrameEvery = static_cast<DWORD>(std::max(compression->key_every, 0));
      options.dwFlags = options.dwKeyFrameEvery != 0 ? DWORD{AVICOMPRESSF_KEYFRAMES} : 0;
      options.dwQuality = static_cast<DWORD>(compression->quality);  // A negative one is the codec's own.
    } else {
      options.lpFormat = target.data();
      options.cbFormat = static_cast<DWORD>(target.size());
    }
    const bool isSet = output.setCompressor(video, &options);
    if (isSet && !video) {
      object.targetAudio = std::move(target);  // Which the options still point at.
    }
    return isSet ? 1 : 0;
  });
}

int32_t quillet_file_is_compressor_set(quillet_file* file, int32_t kind) {
  return withStreamOf(file, kind, [](OutputAVIFile& output, bool video) { return output.isCompressorSet(video); });
}

int32_t quillet_file_choose_compressor(quillet_file* file, int32_t kind, void* window) {
  return withStreamOf(file, kind,
                      [&](OutputAVIFile& output, bool video) { return output.chooseCompressor(window, video); });
}

int32_t quillet_file_configure_compressor(quillet_file* file, int32_t kind, void* window) {
  return withStreamOf(file, kind, [&](OutputAVIFile& output, bool video) {
    output.configureCompressor(window, video);
    return succeeded(output);
  });
}

int32_t quillet_file_configure(quillet_file* file, void* window) {
  return withFile(file, 0, [&](OutputAVIFile& output, HandledFile&) {
    output.configureAVI(window);
    return succeeded(output) ? 1 : 0;
  });
}

int32_t quillet_file_is_interleaving(quillet_file* file) {
  return withFile(file, 0,
                  [](OutputAVIFile& output, HandledFile&) { return output.isAutomaticallyInterleaved() ? 1 : 0; });
}

int32_t quillet_file_set_interleaving(quillet_file* file, int32_t on) {
  return withFile(
      file, 0, [&](OutputAVIFile& output, HandledFile&) { return output.setAutomaticInterleaving(on != 0) ? 1 : 0; });
}

int64_t quillet_file_interleaving_period(quillet_file* file) {
  return withFile(file, int64_t{0},
                  [](OutputAVIFile& output, HandledFile&) { return int64_t{output.interleavingPeriod()}; });
}

int32_t quillet_file_set_interleaving_period(quillet_file* file, int64_t period) {
  return withFile(file, 0,
                  [&](OutputAVIFile& output, HandledFile&) { return output.setInterleavingPeriod(period) ? 1 : 0; });
}

int32_t quillet_file_accepts_formats(quillet_file* file) {
  return withFile(file, 0, [](OutputAVIFile& output, HandledFile&) { return output.acceptableFormats() ? 1 : 0; });
}

int32_t quillet_file_is_compressed(quillet_file* file, int32_t kind) {
  return withStreamOf(file, kind, [](OutputAVIFile& output, bool video) {
    return video ? output.compressedVideo() : output.compressedAudio();
  });
}

int32_t quillet_file_can_start(quillet_file* file) {
  return withFile(file, 0, [](OutputAVIFile& output, HandledFile&) { return output.canRun() ? 1 : 0; });
}

int32_t quillet_file_start(quillet_file* file) {
  return withFile(file, 0, [](OutputAVIFile& output, HandledFile&) { return output.start() ? 1 : 0; });
}

int32_t quillet_file_write(quillet_file* file, int32_t kind, int64_t number, const void* data, int64_t count,
                           int64_t bytes, int32_t key) {
  return withFile(file, 0, [&](OutputAVIFile& output, HandledFile& object) {
    Piece piece = {};
    if (!makePiece(object, number, data, count, bytes, key, piece) || !object.require(isKind(kind))) {
      return 0;
    }
    const auto write = kind == QUILLET_VIDEO ? &OutputAVIFile::writeFrame : &OutputAVIFile::writeSample;
    return (output.*write)(piece.number, piece.data, piece.count, piece.bytes, piece.key) ? 1 : 0;
  });
}

int32_t quillet_file_write_picture(quillet_file* file, int64_t number, int32_t pixels, int32_t rows, const void* data,
                                   int64_t stride, int64_t bytes) {
  return withFile(file, 0, [&](OutputAVIFile& output, HandledFile& object) {
    const VIDEOINFOHEADER* const video = output.videoFormat();
    if (video == nullptr || !isRgb(video->bmiHeader)) {
      object.note(QUILLET_ERROR_KIND);
      return 0;
    }
    const BITMAPINFOHEADER& format = video->bmiHeader;
    // The picture is only read.
    const auto picture =
        quillet::rowsOf(quillet::ClientPicture{pixels, rows, const_cast<void*>(data), stride, bytes}, format);
    if (!object.require(picture && std::in_range<long>(number))) {
      return 0;
    }
    const int shortage = quillet::guarded([&] {
      object.frame.resize(static_cast<std::size_t>(quillet::uncompressedFrameSize(format)));
      return quillet::common_error::success;
    });
    object.note(shortage);
    if (shortage != quillet::common_error::success) {
      return 0;
    }
    quillet::copyPicture(*picture, quillet::rowsOf(object.frame.data(), format), format);
    return output.writeFrame(static_cast<long>(number), object.frame.data(), 1, static_cast<long>(object.frame.size()),
                             true)
               ? 1
               : 0;
  });
}

int32_t quillet_file_write_buffered(quillet_file* file, int64_t number, const void* data, int64_t count, int64_t bytes,
                                    int32_t key) {
  return withFile(file, 0, [&](OutputAVIFile& output, HandledFile& object) {
    Piece piece = {};
    return makePiece(object, number, data, count, bytes, key, piece) &&
                   output.bufferedWriteSample(piece.number, piece.data, piece.count, piece.bytes, piece.key)
               ? 1
               : 0;
  });
}

int32_t quillet_file_flush(quillet_file* file) {
  return withFile(file, 0, [](OutputAVIFile& output, HandledFile&) { return output.flushAudio() ? 1 : 0; });
}

int64_t quillet_file_next_number(quillet_file* file, int32_t kind, int32_t buffered) {
  return withFile(file, int64_t{-1}, [&](OutputAVIFile& output, HandledFile& object) {
    if (!object.require(isKind(kind))) {
      return int64_t{-1};
    }
    if (kind == QUILLET_VIDEO) {
      return int64_t{output.nextFrame_number()};
    }
    return int64_t{buffered != 0 ? output.nextSample_number_inBuffer() : output.nextSample_number()};
  });
}

int32_t quillet_file_finish(quillet_file* file) {
  return withFile(file, 0, [](OutputAVIFile& output, HandledFile&) { return output.close() ? 1 : 0; });
}

quillet_engine* quillet_engine_open(quillet_file* file, int32_t continue_alone) {
  return withFile(file, static_cast<quillet_engine*>(nullptr), [&](OutputAVIFile& output, HandledFile& object) {
    return quillet::openHandle<quillet_engine>([&]() -> std::shared_ptr<HandledEngine> {
      auto engine = std::make_shared<HandledEngine>(object.self);
      return engine->engine.setOutputStream(&output, continue_alone != 0) ? engine : nullptr;
    });
  });
}

void quillet_engine_close(quillet_engine* engine) {
  quillet::closeHandle<HandledEngine>(engine);
}

int32_t quillet_engine_write(quillet_engine* engine, int32_t kind, int64_t number, const void* data, int64_t count,
                             int64_t bytes, int32_t key) {
  auto* const object = take<HandledEngine>(engine);
  Piece piece = {};
  if (object == nullptr || !object->require(isKind(kind)) ||
      !makePiece(*object, number, data, count, bytes, key, piece)) {
    return 0;
  }
  return object->engine.Write(threadOf(kind), piece.number, piece.data, piece.count, piece.bytes, piece.key) ? 1 : 0;
}

int32_t quillet_engine_write_next(quillet_engine* engine, int32_t kind, const void* data, int64_t count, int64_t bytes,
                                  int32_t key) {
  auto* const object = take<HandledEngine>(engine);
  Piece piece = {};
  if (object == nullptr || !object->require(isKind(kind)) || !makePiece(*object, 0, data, count, bytes, key, piece)) {
    return 0;
  }
  return object->engine.WriteNext(threadOf(kind), piece.data, piece.count, piece.bytes, piece.key) ? 1 : 0;
}

void quillet_engine_end(quillet_engine* engine, int32_t kind) {
  auto* const object = take<HandledEngine>(engine);
  if (object != nullptr && object->require(isKind(kind))) {
    object->engine.exit(threadOf(kind));
  }
}

void quillet_engine_stop(quillet_engine* engine) {
  if (auto* const object = take<HandledEngine>(engine)) {
    object->engine.userStop();
  }
}

int32_t quillet_engine_finish(quillet_engine* engine) {
  auto* const object = take<HandledEngine>(engine);
  return object != nullptr && object->engine.close() ? 1 : 0;
}
