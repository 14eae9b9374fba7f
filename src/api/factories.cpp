// The static factories of the abstract classes: the one place where the abstract family meets both backends.

#include <algorithm>
#include <memory>

#include <quillet/audio_source_stream.h>
#include <quillet/ds_audio_source_stream.h>
#include <quillet/ds_output_avi_file.h>
#include <quillet/ds_raw_data_source_stream.h>
#include <quillet/ds_video_source_stream.h>
#include <quillet/error_codes.h>
#include <quillet/output_avi_file.h>
#include <quillet/raw_data_source_stream.h>
#include <quillet/vfw_audio_source_stream.h>
#include <quillet/vfw_output_avi_file.h>
#include <quillet/vfw_raw_data_source_stream.h>
#include <quillet/vfw_video_source_stream.h>
#include <quillet/video_source_stream.h>

namespace {

/// Whether a usable stream lets itself be read. Files are opened by their headers alone, and some of those promise what
/// the backend cannot deliver. Of frames, and of files that are written, nothing is tried: the client's first will tell
/// (kept, see CONTRIBUTING.md).
bool canRead(AudioOrVideoStream&) {
  return true;
}

bool canRead(AudioSourceStream& stream) {
  return stream.duration() <= 0 || stream.getSamples(0, 0) != nullptr;
}

bool canRead(RawDataSourceStream& stream) {
  long sample = std::max(stream.firstKeySample(), 0L);
  long samples = 0;
  long bytes = 0;
  bool key = false;
  return stream.duration() <= 0 || stream.getData(sample, samples, bytes, key) != nullptr;
}

/// Whether an object can be used. Streams of compressed samples can with a fatal code, too: that of no key sample.
bool isOpen(OutputAVIFile& file) {
  return !file.lastErrorIsFatal();
}

bool isOpen(SourceStream& stream) {
  const int openingCode = stream.lastError;
  const bool hasLength = stream.duration() != -1;
  stream.lastError = openingCode;
  return hasLength;
}

/// Opens with Video for Windows and, when that has not given a usable stream, with DirectShow, whose result stands as
/// it is. A warning leaves a usable stream; one that cannot be read is only better than none, unless the client's sink
/// has stopped the search for another.
/// @param openWith opens the stream; its argument tells whether DirectShow is to do it.
template <class Stream, class OpenWith>
Stream* openWithEither(OpenWith openWith) {
  std::unique_ptr<Stream> first(openWith(false));
  if (first == nullptr || first->lastErrorIsFatal()) {
    first.reset();
    return openWith(true);
  }
  const int openingCode = first->lastError;
  const bool isReadable = canRead(*first);
  first->lastError = openingCode;
  if (isReadable) {
    return first.release();
  }
  std::unique_ptr<Stream> second(openWith(true));
  const bool stands =
      second != nullptr && (second->lastError == quillet::ds_error::stoppedByNotification || isOpen(*second));
  return (stands ? second : first).release();
}

}  // namespace

SourceStream* SourceStream::open(const wchar_t* fileName, bool video, bool useDirectShow, int stream,
                                 QuilletNotification* notification) {
  if (video) {
    return VideoSourceStream::open(fileName, useDirectShow, stream, notification);
  }
  return AudioSourceStream::open(fileName, useDirectShow, stream, notification);
}

SourceStream* SourceStream::open(const wchar_t* fileName, bool video, int stream, QuilletNotification* notification) {
  if (video) {
    return VideoSourceStream::open(fileName, stream, notification);
  }
  return AudioSourceStream::open(fileName, stream, notification);
}

VideoSourceStream* VideoSourceStream::open(const wchar_t* fileName, bool useDirectShow, int stream,
                                           QuilletNotification* notification) {
  if (useDirectShow) {
    return DSVideoSourceStream::open(fileName, stream, notification);
  }
  return VfWVideoSourceStream::open(fileName, stream, notification);
}

VideoSourceStream* VideoSourceStream::open(const wchar_t* fileName, int stream, QuilletNotification* notification) {
  return openWithEither<VideoSourceStream>(
      [&](bool useDirectShow) { return open(fileName, useDirectShow, stream, notification); });
}

AudioSourceStream* AudioSourceStream::open(const wchar_t* fileName, bool useDirectShow, int stream,
                                           QuilletNotification* notification) {
  if (useDirectShow) {
    return DSAudioSourceStream::open(fileName, stream, notification);
  }
  return VfWAudioSourceStream::open(fileName, stream, notification);
}

AudioSourceStream* AudioSourceStream::open(const wchar_t* fileName, int stream, QuilletNotification* notification) {
  return openWithEither<AudioSourceStream>(
      [&](bool useDirectShow) { return open(fileName, useDirectShow, stream, notification); });
}

RawDataSourceStream* RawDataSourceStream::open(const wchar_t* fileName, bool video, bool useDirectShow, int stream,
                                               QuilletNotification* notification) {
  if (useDirectShow) {
    return DSRawDataSourceStream::open(fileName, video, stream, notification);
  }
  return VfWRawDataSourceStream::open(fileName, video, stream, notification);
}

RawDataSourceStream* RawDataSourceStream::open(const wchar_t* fileName, bool video, int stream,
                                               QuilletNotification* notification) {
  return openWithEither<RawDataSourceStream>(
      [&](bool useDirectShow) { return open(fileName, video, useDirectShow, stream, notification); });
}

OutputAVIFile* OutputAVIFile::create(const wchar_t* file, const VIDEOINFOHEADER* video, bool compressVideo,
                                     const WAVEFORMATEX* audio, bool compressAudio, bool useDirectShow) {
  if (useDirectShow) {
    return DSOutputAVIFile::create(file, video, compressVideo, audio, compressAudio);
  }
  return VfWOutputAVIFile::create(file, video, compressVideo, audio, compressAudio);
}

OutputAVIFile* OutputAVIFile::create(const wchar_t* file, const VIDEOINFOHEADER* video, bool compressVideo,
                                     const WAVEFORMATEX* audio, bool compressAudio) {
  return openWithEither<OutputAVIFile>(
      [&](bool useDirectShow) { return create(file, video, compressVideo, audio, compressAudio, useDirectShow); });
}
