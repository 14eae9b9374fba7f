// Streams of the C interface: opened, asked and tuned.

#include <quillet/ds_audio_source_stream.h>
#include <quillet/ds_raw_data_source_stream.h>
#include <quillet/ds_video_source_stream.h>

#include "c_interface/formats.h"
#include "c_interface/stream_operation.h"

using quillet::HandledStream;
using quillet::libraryNumber;
using quillet::withStream;

namespace dialog_option = quillet::dialog_option;

namespace {

bool isKind(int kind) {
  return kind >= QUILLET_VIDEO && kind <= QUILLET_RAW_AUDIO;
}

bool isBackend(int backend) {
  return backend >= QUILLET_AUTOMATIC && backend <= QUILLET_DIRECTSHOW;
}

bool isVideo(int kind) {
  return kind == QUILLET_VIDEO || kind == QUILLET_RAW_VIDEO;
}

bool isRaw(int kind) {
  return kind == QUILLET_RAW_VIDEO || kind == QUILLET_RAW_AUDIO;
}

SourceStream* openSource(const wchar_t* name, int kind, int backend, int index, QuilletNotification* sink) {
  const bool video = isVideo(kind);
  const bool useDirectShow = backend == QUILLET_DIRECTSHOW;
  if (isRaw(kind)) {
    return backend == QUILLET_AUTOMATIC ? RawDataSourceStream::open(name, video, index, sink)
                                        : RawDataSourceStream::open(name, video, useDirectShow, index, sink);
  }
  return backend == QUILLET_AUTOMATIC ? SourceStream::open(name, video, index, sink)
                                      : SourceStream::open(name, video, useDirectShow, index, sink);
}

/// The options of an opening behind a dialog.
int dialogOptions(int kind, int backend, int looks) {
  return (isVideo(kind) ? 0 : dialog_option::audio) | (isRaw(kind) ? dialog_option::raw : 0) |
         (backend == QUILLET_DIRECTSHOW ? dialog_option::useDirectShow : 0) |
         (backend == QUILLET_AUTOMATIC ? dialog_option::automatic : 0) |
         (looks & (QUILLET_DIALOG_START_HIDDEN | QUILLET_DIALOG_CAPTIONED));
}

/// What both ways of opening do.
/// @param open opens the source by its name; null for want of memory, with `noSource` in the object for another reason.
template <class Open>
quillet_stream* openStream(const char* name, int kind, int backend, quillet_progress progress, void* user, int noSource,
                           Open open) {
  return quillet::openHandle<quillet_stream>([&]() -> std::shared_ptr<HandledStream> {
    auto object = std::make_shared<HandledStream>(kind, progress, user);
    if (object->require(isKind(kind) && isBackend(backend))) {
      const auto wide = quillet::wideOf(name);
      object->own(open(wide ? wide->c_str() : nullptr, *object));
      if (object->source == nullptr) {
        object->note(noSource);
      }
    }
    return object->holder() != nullptr || object->code() != 0 ? object : nullptr;
  });
}

/// What the client was told of a stream's format, asked of the library at the first question.
/// @return empty, with the code in the object or the stream, when there is no such format.
const std::vector<BYTE>& formatOf(SourceStream& source, HandledStream& handled) {
  std::vector<BYTE>& block = handled.format;
  if (block.empty()) {
    const int shortage = quillet::guarded([&] {
      if (handled.raw != nullptr) {
        block = quillet::writableFormat(*handled.raw);
      } else if (handled.audio != nullptr) {
        const auto* const wave = reinterpret_cast<const BYTE*>(handled.audio->format());
        block.assign(wave, wave + sizeof(WAVEFORMATEX));
      } else {
        VIDEOINFOHEADER info = {};
        if (source.videoInfo(info) != nullptr) {
          info.bmiHeader.biSize = sizeof info.bmiHeader;
          const auto* const bytes = reinterpret_cast<const BYTE*>(&info);
          block.assign(bytes, bytes + sizeof info);
        }
      }
      return quillet::common_error::success;
    });
    if (shortage != quillet::common_error::success) {
      handled.note(shortage);
    }
  }
  return block;
}

/// What both questions for a format do.
/// @param wantsVideo the kind of stream that the question is for.
template <class Format, class Describe>
int32_t tellFormat(quillet_stream* stream, bool wantsVideo, Format* format, Describe describe) {
  return withStream<SourceStream>(stream, 0, [&](SourceStream& source, HandledStream& handled) {
    if (!handled.require(format != nullptr)) {
      return 0;
    }
    if (isVideo(handled.kind) != wantsVideo) {
      handled.note(QUILLET_ERROR_KIND);
      return 0;
    }
    const std::vector<BYTE>& block = formatOf(source, handled);
    if (!block.empty()) {
      *format = describe(block);
    }
    return block.empty() ? 0 : 1;
  });
}

}  // namespace

quillet_stream* quillet_stream_open(const char* name, int32_t kind, int32_t backend, int32_t index,
                                    quillet_progress progress, void* user) {
  return openStream(name, kind, backend, progress, user, 0, [&](const wchar_t* wide, HandledStream& object) {
    return openSource(wide, kind, backend, index, &object.notification);
  });
}

quillet_stream* quillet_stream_open_behind_dialog(const char* name, int32_t kind, int32_t backend, int32_t index,
                                                  void* window, int32_t options, const char* title) {
  return openStream(
      name, kind, backend, nullptr, nullptr, QUILLET_ERROR_DIALOG, [&](const wchar_t* wide, HandledStream& object) {
        const std::optional<std::string> caption = quillet::ansiOf(title);
        SourceStream* const opened = SourceStream::open(dialogOptions(kind, backend, options), window, wide, index,
                                                        caption ? caption->c_str() : nullptr);
        if (opened != nullptr) {
          opened->notify(&object.notification);
        }
        return opened;
      });
}

void quillet_stream_close(quillet_stream* stream) {
  quillet::closeHandle<HandledStream>(stream);
}

int32_t quillet_stream_kind(quillet_stream* stream) {
  return withStream<SourceStream>(stream, 0, [](SourceStream&, HandledStream& handled) { return handled.kind; });
}

int64_t quillet_stream_length(quillet_stream* stream) {
  return withStream<SourceStream>(stream, int64_t{-1},
                                  [](SourceStream& source, HandledStream&) { return int64_t{source.duration()}; });
}

double quillet_stream_duration(quillet_stream* stream) {
  return withStream<SourceStream>(stream, -1.0,
                                  [](SourceStream& source, HandledStream&) { return source.msDuration(); });
}

double quillet_stream_time_of(quillet_stream* stream, int64_t* sample) {
  return withStream<SourceStream>(stream, -1.0, [&](SourceStream& source, HandledStream& handled) {
    if (!handled.require(sample != nullptr)) {
      return -1.0;
    }
    long number = libraryNumber(*sample);
    const double time = handled.dialog ? source.StreamSampleToTime(handled.dialog->options, handled.dialog->window,
                                                                   number, handled.dialog->caption())
                                       : source.StreamSampleToTime(number);
    *sample = number;
    return time;
  });
}

int64_t quillet_stream_sample_at(quillet_stream* stream, double* time) {
  return withStream<SourceStream>(stream, int64_t{-1}, [&](SourceStream& source, HandledStream& handled) {
    if (!handled.require(time != nullptr)) {
      return int64_t{-1};
    }
    return int64_t{handled.dialog ? source.StreamTimeToSample(handled.dialog->options, handled.dialog->window, *time,
                                                              handled.dialog->caption())
                                  : source.StreamTimeToSample(*time)};
  });
}

int32_t quillet_stream_video_format(quillet_stream* stream, quillet_video_format* format) {
  return tellFormat(stream, true, format, quillet::describeVideo);
}

int32_t quillet_stream_audio_format(quillet_stream* stream, quillet_audio_format* format) {
  return tellFormat(stream, false, format, quillet::describeAudio);
}

int32_t quillet_stream_set_progress(quillet_stream* stream, quillet_progress progress, void* user) {
  return withStream<SourceStream>(stream, 0, [&](SourceStream&, HandledStream& handled) {
    handled.notification.callback = progress;
    handled.notification.user = user;
    return 1;
  });
}

int32_t quillet_stream_use_dialog(quillet_stream* stream, int32_t use, void* window, int32_t options,
                                  const char* title) {
  return withStream<SourceStream>(stream, 0, [&](SourceStream&, HandledStream& handled) {
    const int shortage = quillet::guarded([&] {
      handled.dialog.reset();
      if (use != 0) {
        handled.dialog.emplace(options, window, quillet::ansiOf(title));
      }
      return quillet::common_error::success;
    });
    handled.note(shortage);
    return shortage == quillet::common_error::success ? 1 : 0;
  });
}

int32_t quillet_stream_configure(quillet_stream* stream, void* window) {
  return withStream<SourceStream>(stream, 0, [&](SourceStream& source, HandledStream&) {
    source.configure(window);
    return source.lastError == quillet::common_error::success ? 1 : 0;
  });
}

int32_t quillet_stream_tune(quillet_stream* stream, int32_t quick_decode, int32_t step_back, int32_t growth) {
  return withStream<SourceStream>(stream, 0, [&](SourceStream& source, HandledStream& handled) {
    source.lastError = quillet::common_error::success;  // What follows leaves it alone, unless it fails.
    if (auto* const video = dynamic_cast<DSVideoSourceStream*>(&source)) {
      video->config(quick_decode, step_back, growth);
    } else if (auto* const audio = dynamic_cast<DSAudioSourceStream*>(&source)) {
      audio->config(quick_decode, step_back);
    } else if (auto* const raw = dynamic_cast<DSRawDataSourceStream*>(&source)) {
      raw->config(quick_decode, step_back, growth);
    } else {
      handled.note(QUILLET_ERROR_KIND);
    }
    return handled.code() == quillet::common_error::success ? 1 : 0;
  });
}
