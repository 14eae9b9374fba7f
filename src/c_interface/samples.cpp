// Frames, samples and raw samples of the C interface.

#include <cstring>

#include <quillet/ds_raw_data_source_stream.h>

#include "c_interface/picture.h"
#include "c_interface/stream_operation.h"

using quillet::HandledStream;
using quillet::libraryNumber;
using quillet::withStream;

namespace {

unsigned char* frameBits(VideoSourceStream& video, const HandledStream& handled, long& frame) {
  return handled.dialog
             ? video.getFrameBits(handled.dialog->options, handled.dialog->window, frame, handled.dialog->caption())
             : video.getFrameBits(frame);
}

// The shortest of all operations: written for few instructions, in 32 bits too.
[[gnu::always_inline]] inline unsigned char* samples(AudioSourceStream& audio, const HandledStream& handled,
                                                     std::int64_t first, std::int64_t count) {
  // The library counts with a `long`. What that cannot hold ends up before the stream, or ends before it begins.
  const long from = std::in_range<std::uint32_t>(first | count) ? static_cast<long>(first) : -1;
  const long to = static_cast<long>(static_cast<std::uint32_t>(first) + static_cast<std::uint32_t>(count) - 1);
  if (!handled.dialog) [[likely]] {
    return audio.getSamples(from, to);
  }
  return audio.getSamples(handled.dialog->options, handled.dialog->window, from, to, handled.dialog->caption());
}

/// Tells the client of a raw sample that the library has read.
/// @return the status.
int32_t deliver(quillet_raw_sample& sample, const unsigned char* data, long number, long count, long bytes, bool key,
                double time) {
  sample = {number, count, bytes, time, key ? 1 : 0, data};
  return data != nullptr ? 1 : 0;
}

}  // namespace

double quillet_video_rate(quillet_stream* stream) {
  return withStream<VideoSourceStream>(stream, -1.0,
                                       [](VideoSourceStream& video, HandledStream&) { return video.frameRate(); });
}

int64_t quillet_video_find(quillet_stream* stream, int64_t frame) {
  return withStream<VideoSourceStream>(stream, int64_t{-1}, [&](VideoSourceStream& video, HandledStream& handled) {
    const long number = libraryNumber(frame);
    return int64_t{handled.dialog ? video.findFrame(handled.dialog->options, handled.dialog->window, number,
                                                    handled.dialog->caption())
                                  : video.findFrame(number)};
  });
}

int32_t quillet_video_set_frame_budget(quillet_stream* stream, int64_t bytes) {
  return withStream<VideoSourceStream>(stream, 0, [&](VideoSourceStream& video, HandledStream&) {
    video.setFrameBudget(bytes);
    return video.lastError == quillet::common_error::success ? 1 : 0;
  });
}

const uint8_t* quillet_video_frame(quillet_stream* stream, int64_t* frame) {
  return withStream<VideoSourceStream, const uint8_t*>(
      stream, nullptr, [&](VideoSourceStream& video, HandledStream& handled) -> const uint8_t* {
        if (!handled.require(frame != nullptr)) {
          return nullptr;
        }
        long number = libraryNumber(*frame);
        const unsigned char* const bits = frameBits(video, handled, number);
        *frame = number;
        return bits;
      });
}

int32_t quillet_video_read(quillet_stream* stream, int64_t* frame, int32_t pixels, int32_t rows, void* buffer,
                           int64_t stride, int64_t bytes) {
  return withStream<VideoSourceStream>(stream, 0, [&](VideoSourceStream& video, HandledStream& handled) {
    const BITMAPINFOHEADER& format = *video.format();
    const auto picture = quillet::rowsOf(quillet::ClientPicture{pixels, rows, buffer, stride, bytes}, format);
    if (!handled.require(frame != nullptr && picture)) {
      return 0;
    }
    long number = libraryNumber(*frame);
    unsigned char* const bits = frameBits(video, handled, number);
    *frame = number;
    if (bits != nullptr) {
      quillet::copyPicture(quillet::rowsOf(bits, format), *picture, format);
    }
    return bits != nullptr ? 1 : 0;
  });
}

const void* quillet_audio_samples(quillet_stream* stream, int64_t first, int64_t count) {
  return withStream<AudioSourceStream, const void*>(
      stream, nullptr,
      [&](AudioSourceStream& audio, HandledStream& handled) { return samples(audio, handled, first, count); });
}

int32_t quillet_audio_read(quillet_stream* stream, int64_t first, int64_t count, void* buffer, int64_t bytes) {
  return withStream<AudioSourceStream>(stream, 0, [&](AudioSourceStream& audio, HandledStream& handled) {
    const std::int64_t sampleBytes = std::max<std::int64_t>(audio.format()->nBlockAlign, 1);
    if (!handled.require(buffer != nullptr && bytes >= 0 && count <= bytes / sampleBytes)) {
      return 0;
    }
    const unsigned char* const data = samples(audio, handled, first, count);
    if (data != nullptr) {
      std::memcpy(buffer, data, static_cast<std::size_t>(count * sampleBytes));
    }
    return data != nullptr ? 1 : 0;
  });
}

int32_t quillet_raw_read(quillet_stream* stream, quillet_raw_sample* sample) {
  return withStream<RawDataSourceStream>(stream, 0, [&](RawDataSourceStream& raw, HandledStream& handled) {
    if (!handled.require(sample != nullptr)) {
      return 0;
    }
    long number = libraryNumber(sample->number);
    long count = 0;
    long bytes = 0;
    bool key = sample->key != 0;
    const unsigned char* const data = handled.dialog ? raw.getData(handled.dialog->options, handled.dialog->window,
                                                                   number, count, bytes, key, handled.dialog->caption())
                                                     : raw.getData(number, count, bytes, key);
    return deliver(*sample, data, number, count, bytes, key, -1.0);
  });
}

int32_t quillet_raw_next(quillet_stream* stream, quillet_raw_sample* sample) {
  return withStream<RawDataSourceStream>(stream, 0, [&](RawDataSourceStream& raw, HandledStream& handled) {
    auto* const inOrder = dynamic_cast<DSRawDataSourceStream*>(&raw);
    if (inOrder == nullptr) {
      handled.note(QUILLET_ERROR_KIND);
      return 0;
    }
    if (!handled.require(sample != nullptr)) {
      return 0;
    }
    long number = 0;
    long count = 0;
    long bytes = 0;
    bool key = false;
    double time = -1.0;
    const unsigned char* const data = inOrder->getNextData(number, count, bytes, key, time);
    return deliver(*sample, data, number, count, bytes, key, time);
  });
}

int64_t quillet_raw_first_key(quillet_stream* stream) {
  return withStream<RawDataSourceStream>(stream, int64_t{-1}, [](RawDataSourceStream& raw, HandledStream&) {
    const int64_t key = raw.firstKeySample();
    return raw.lastError == quillet::common_error::notOpened ? -1 : key;
  });
}

const void* quillet_raw_media_type(quillet_stream* stream) {
  return withStream<RawDataSourceStream, const void*>(
      stream, nullptr, [](RawDataSourceStream& raw, HandledStream&) { return raw.format(); });
}
