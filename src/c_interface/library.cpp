// The functions that need no object.

#include <array>
#include <string>

#include <quillet/media_container.h>
#include <quillet/quillet_c.h>
#include <quillet/thread.h>
#include <quillet/version.h>

#include "c_interface/objects.h"

const char* quillet_version(void) {
  return QuilletVersion();
}

void quillet_set_apartment(int32_t single_threaded) {
  quillet::prepareThread();
  TemporaryApartmentThreading(single_threaded != 0);
}

int32_t quillet_count_streams(const char* name, int32_t may_use_graph, int32_t* video, int32_t* audio) {
  quillet::prepareThread();
  int videoStreams = 0;
  int audioStreams = 0;
  const auto error = quillet::guardedBy<int32_t>(MediaContainer::NotEnoughMemory, [&]() -> int32_t {
    const auto wide = quillet::wideOf(name);
    return MediaContainer::streamsNumber(wide ? wide->c_str() : nullptr, may_use_graph != 0, &videoStreams,
                                         &audioStreams);
  });
  if (video != nullptr) {
    *video = videoStreams;
  }
  if (audio != nullptr) {
    *audio = audioStreams;
  }
  return error;
}

const char* quillet_count_streams_text(int32_t error) {
  constexpr int count = MediaContainer::NoRendererInputPin + 1;
  // Kept, since the library's own text lasts only until the next call.
  static const auto* const texts = [] {
    auto* const all = new (std::nothrow) std::array<std::string, count>;
    for (int i = 0; all != nullptr && i < count; ++i) {
      all->at(i) = MediaContainer::Message(static_cast<MediaContainer::Error>(i));
    }
    return all;
  }();
  return error >= 0 && error < count && texts != nullptr ? texts->at(error).c_str() : nullptr;
}

int32_t quillet_is_video_type(const void* type) {
  return type != nullptr && MediaContainer::isVideo(*static_cast<const AM_MEDIA_TYPE*>(type)) ? 1 : 0;
}

int32_t quillet_is_audio_type(const void* type) {
  return type != nullptr && MediaContainer::isAudio(*static_cast<const AM_MEDIA_TYPE*>(type)) ? 1 : 0;
}
