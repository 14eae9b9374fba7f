// The forms with a file's name in the ANSI code page, of all classes: the forms in UTF-16 do the work.

#include <type_traits>

#include <quillet/ds_audio_source_stream.h>
#include <quillet/ds_output_avi_file.h>
#include <quillet/ds_raw_data_source_stream.h>
#include <quillet/ds_video_source_stream.h>
#include <quillet/media_container.h>
#include <quillet/vfw_audio_source_stream.h>
#include <quillet/vfw_output_avi_file.h>
#include <quillet/vfw_raw_data_source_stream.h>
#include <quillet/vfw_video_source_stream.h>

#include "platform/guarded.h"
#include "platform/wide_name.h"

namespace {

/// @param operation takes the converted name, null for null.
/// @param shortage the result when there is no memory for it.
template <class Operation, class Shortage = std::nullptr_t>
auto withWideName(const char* name, Operation operation, Shortage shortage = nullptr) {
  using Result = std::invoke_result_t<Operation, const wchar_t*>;
  return quillet::guardedBy<Result>(shortage, [&] { return operation(quillet::constOLEstring(name).get()); });
}

}  // namespace

SourceStream* SourceStream::open(const char* fileName, bool video, bool useDirectShow, int stream,
                                 QuilletNotification* notification) {
  return withWideName(fileName,
                      [&](const wchar_t* name) { return open(name, video, useDirectShow, stream, notification); });
}

SourceStream* SourceStream::open(const char* fileName, bool video, int stream, QuilletNotification* notification) {
  return withWideName(fileName, [&](const wchar_t* name) { return open(name, video, stream, notification); });
}

SourceStream* SourceStream::open(int options, void* parentWindow, const char* fileName, int stream, const char* title) {
  return withWideName(fileName, [&](const wchar_t* name) { return open(options, parentWindow, name, stream, title); });
}

VideoSourceStream* VideoSourceStream::open(const char* fileName, bool useDirectShow, int stream,
                                           QuilletNotification* notification) {
  return withWideName(fileName, [&](const wchar_t* name) { return open(name, useDirectShow, stream, notification); });
}

VideoSourceStream* VideoSourceStream::open(const char* fileName, int stream, QuilletNotification* notification) {
  return withWideName(fileName, [&](const wchar_t* name) { return open(name, stream, notification); });
}

AudioSourceStream* AudioSourceStream::open(const char* fileName, bool useDirectShow, int stream,
                                           QuilletNotification* notification) {
  return withWideName(fileName, [&](const wchar_t* name) { return open(name, useDirectShow, stream, notification); });
}

AudioSourceStream* AudioSourceStream::open(const char* fileName, int stream, QuilletNotification* notification) {
  return withWideName(fileName, [&](const wchar_t* name) { return open(name, stream, notification); });
}

RawDataSourceStream* RawDataSourceStream::open(const char* fileName, bool video, bool useDirectShow, int stream,
                                               QuilletNotification* notification) {
  return withWideName(fileName,
                      [&](const wchar_t* name) { return open(name, video, useDirectShow, stream, notification); });
}

RawDataSourceStream* RawDataSourceStream::open(const char* fileName, bool video, int stream,
                                               QuilletNotification* notification) {
  return withWideName(fileName, [&](const wchar_t* name) { return open(name, video, stream, notification); });
}

DSVideoSourceStream* DSVideoSourceStream::open(const char* fileName, int streamNumber,
                                               QuilletNotification* notification) {
  return withWideName(fileName, [&](const wchar_t* name) { return open(name, streamNumber, notification); });
}

DSAudioSourceStream* DSAudioSourceStream::open(const char* fileName, int streamNumber,
                                               QuilletNotification* notification) {
  return withWideName(fileName, [&](const wchar_t* name) { return open(name, streamNumber, notification); });
}

DSRawDataSourceStream* DSRawDataSourceStream::open(const char* fileName, bool video, int streamIndex,
                                                   QuilletNotification* notification) {
  return withWideName(fileName, [&](const wchar_t* name) { return open(name, video, streamIndex, notification); });
}

VfWVideoSourceStream* VfWVideoSourceStream::open(const char* fileName, int streamIndex,
                                                 QuilletNotification* notification) {
  return withWideName(fileName, [&](const wchar_t* name) { return open(name, streamIndex, notification); });
}

VfWAudioSourceStream* VfWAudioSourceStream::open(const char* fileName, int streamIndex,
                                                 QuilletNotification* notification) {
  return withWideName(fileName, [&](const wchar_t* name) { return open(name, streamIndex, notification); });
}

VfWRawDataSourceStream* VfWRawDataSourceStream::open(const char* fileName, bool video, int streamIndex,
                                                     QuilletNotification* notification) {
  return withWideName(fileName, [&](const wchar_t* name) { return open(name, video, streamIndex, notification); });
}

OutputAVIFile* OutputAVIFile::create(const char* file, const VIDEOINFOHEADER* video, bool compressVideo,
                                     const WAVEFORMATEX* audio, bool compressAudio, bool useDirectShow) {
  return withWideName(file, [&](const wchar_t* name) {
    return create(name, video, compressVideo, audio, compressAudio, useDirectShow);
  });
}

OutputAVIFile* OutputAVIFile::create(const char* file, const VIDEOINFOHEADER* video, bool compressVideo,
                                     const WAVEFORMATEX* audio, bool compressAudio) {
  return withWideName(file,
                      [&](const wchar_t* name) { return create(name, video, compressVideo, audio, compressAudio); });
}

DSOutputAVIFile* DSOutputAVIFile::create(const char* fileName, const VIDEOINFOHEADER* video, bool compressVideo,
                                         const WAVEFORMATEX* audio, bool compressAudio) {
  return withWideName(fileName,
                      [&](const wchar_t* name) { return create(name, video, compressVideo, audio, compressAudio); });
}

VfWOutputAVIFile* VfWOutputAVIFile::create(const char* fileName, const VIDEOINFOHEADER* video, bool compressVideo,
                                           const WAVEFORMATEX* audio, bool compressAudio) {
  return withWideName(fileName,
                      [&](const wchar_t* name) { return create(name, video, compressVideo, audio, compressAudio); });
}

MediaContainer::Error MediaContainer::streamsNumber(const char* fileName, bool mayUseGraph, int* videoStreams,
                                                    int* audioStreams) {
  for (int* const streams : {videoStreams, audioStreams}) {
    if (streams != nullptr) {
      *streams = 0;  // Also when there is no memory for the name.
    }
  }
  return withWideName(
      fileName, [&](const wchar_t* name) { return streamsNumber(name, mayUseGraph, videoStreams, audioStreams); },
      NotEnoughMemory);
}
