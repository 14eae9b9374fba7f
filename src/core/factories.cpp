// The static factories of the abstract classes: the one place where the abstract family meets both backends.

#include <memory>

#include <quillet/audio_source_stream.h>
#include <quillet/ds_output_avi_file.h>
#include <quillet/ds_raw_data_source_stream.h>
#include <quillet/ds_source_stream.h>
#include <quillet/output_avi_file.h>
#include <quillet/raw_data_source_stream.h>
#include <quillet/vfw_output_avi_file.h>
#include <quillet/vfw_raw_data_source_stream.h>
#include <quillet/vfw_source_stream.h>
#include <quillet/video_source_stream.h>

namespace {

/// Opens with Video for Windows and, when that has not given a usable stream, with DirectShow, whose result stands as
/// it is. A warning leaves a usable stream.
/// @param openWith opens the stream; its argument tells whether DirectShow is to do it.
template <class Stream, class OpenWith>
Stream* openWithEither(OpenWith openWith) {
  std::unique_ptr<Stream> stream(openWith(false));
  if (stream != nullptr && !stream->lastErrorIsFatal()) {
    return stream.release();
  }
  stream.reset();
  return openWith(true);
}

}  // namespace

SourceStream* SourceStream::open(const char* fileName, bool video, bool useDirectShow, int stream,
                                 QuilletNotification* notification) {
  if (video) {
    return VideoSourceStream::open(fileName, useDirectShow, stream, notification);
  }
  return AudioSourceStream::open(fileName, useDirectShow, stream, notification);
}

SourceStream* SourceStream::open(const char* fileName, bool video, int stream, QuilletNotification* notification) {
  if (video) {
    return VideoSourceStream::open(fileName, stream, notification);
  }
  return AudioSourceStream::open(fileName, stream, notification);
}

VideoSourceStream* VideoSourceStream::open(const char* fileName, bool useDirectShow, int stream,
                                           QuilletNotification* notification) {
  if (useDirectShow) {
    return DSVideoSourceStream::open(fileName, stream, notification);
  }
  return VfWVideoSourceStream::open(fileName, stream, notification);
}

VideoSourceStream* VideoSourceStream::open(const char* fileName, int stream, QuilletNotification* notification) {
  return openWithEither<VideoSourceStream>(
      [&](bool useDirectShow) { return open(fileName, useDirectShow, stream, notification); });
}

AudioSourceStream* AudioSourceStream::open(const char* fileName, bool useDirectShow, int stream,
                                           QuilletNotification* notification) {
  if (useDirectShow) {
    return DSAudioSourceStream::open(fileName, stream, notification);
  }
  return VfWAudioSourceStream::open(fileName, stream, notification);
}

AudioSourceStream* AudioSourceStream::open(const char* fileName, int stream, QuilletNotification* notification) {
  return openWithEither<AudioSourceStream>(
      [&](bool useDirectShow) { return open(fileName, useDirectShow, stream, notification); });
}

RawDataSourceStream* RawDataSourceStream::open(const char* fileName, bool video, bool useDirectShow, int stream,
                                               QuilletNotification* notification) {
  if (useDirectShow) {
    return DSRawDataSourceStream::open(fileName, video, stream, notification);
  }
  return VfWRawDataSourceStream::open(fileName, video, stream, notification);
}

RawDataSourceStream* RawDataSourceStream::open(const char* fileName, bool video, int stream,
                                               QuilletNotification* notification) {
  return openWithEither<RawDataSourceStream>(
      [&](bool useDirectShow) { return open(fileName, video, useDirectShow, stream, notification); });
}

OutputAVIFile* OutputAVIFile::create(const char* file, const VIDEOINFOHEADER* video, bool compressVideo,
                                     const WAVEFORMATEX* audio, bool compressAudio, bool useDirectShow) {
  if (useDirectShow) {
    return DSOutputAVIFile::create(file, video, compressVideo, audio, compressAudio);
  }
  return VfWOutputAVIFile::create(file, video, compressVideo, audio, compressAudio);
}

OutputAVIFile* OutputAVIFile::create(const char* file, const VIDEOINFOHEADER* video, bool compressVideo,
                                     const WAVEFORMATEX* audio, bool compressAudio) {
  return openWithEither<OutputAVIFile>(
      [&](bool useDirectShow) { return create(file, video, compressVideo, audio, compressAudio, useDirectShow); });
}
