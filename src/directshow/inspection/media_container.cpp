#include <quillet/media_container.h>

#include <algorithm>
#include <span>
#include <string>

#include <windows.h>

#include <uuids.h>

#include "directshow/inspection/stream_count.h"
#include "platform/files.h"
#include "platform/guarded.h"
#include "platform/module.h"
#include "resources/resource_ids.h"

namespace {

using Error = MediaContainer::Error;
using Ids = std::span<const GUID* const>;

/// Which media types are of a kind.
struct Kind {
  Ids pesSubtypes;     ///< Of MEDIATYPE_MPEG2_PES.
  Ids majorTypes;      ///< Whatever the subtype.
  Ids streamSubtypes;  ///< Of MEDIATYPE_Stream.
};

// Subtypes of byte streams that no header has names for.
constexpr GUID videoStreamSubtype = {0xa0af4f81, 0xe163, 0x11d0, {0xba, 0xd9, 0x00, 0x60, 0x97, 0x44, 0x11, 0x1a}};
constexpr GUID audioStreamSubtype = {0xa0af4f82, 0xe163, 0x11d0, {0xba, 0xd9, 0x00, 0x60, 0x97, 0x44, 0x11, 0x1a}};
constexpr GUID mixedStreamSubtype = {0x3db80f90, 0x9412, 0x11d1, {0xad, 0xed, 0x00, 0x00, 0xf8, 0x75, 0x4b, 0x99}};

constexpr const GUID* audioPesSubtypes[] = {&MEDIASUBTYPE_DOLBY_AC3,
                                            &MEDIASUBTYPE_MPEG2_AUDIO,
                                            &MEDIASUBTYPE_DVD_LPCM_AUDIO,
                                            &MEDIASUBTYPE_MPEG2_TRANSPORT,
                                            &MEDIASUBTYPE_MPEG2_TRANSPORT_STRIDE,
                                            &MEDIASUBTYPE_MPEG2_PROGRAM};
constexpr const GUID* audioMajorTypes[] = {&MEDIATYPE_Audio, &MEDIATYPE_AnalogAudio, &MEDIATYPE_Midi,
                                           &MEDIATYPE_Interleaved};
constexpr const GUID* audioStreamSubtypes[] = {
    &MEDIASUBTYPE_WAVE,  &MEDIASUBTYPE_AU,  &MEDIASUBTYPE_AIFF,        &MEDIASUBTYPE_MPEG1Audio,  &audioStreamSubtype,
    &mixedStreamSubtype, &MEDIASUBTYPE_Avi, &MEDIASUBTYPE_MPEG1System, &MEDIASUBTYPE_MPEG1VideoCD};
constexpr Kind audio = {audioPesSubtypes, audioMajorTypes, audioStreamSubtypes};

constexpr const GUID* videoPesSubtypes[] = {&MEDIASUBTYPE_MPEG2_TRANSPORT, &MEDIASUBTYPE_MPEG2_TRANSPORT_STRIDE,
                                            &MEDIASUBTYPE_MPEG2_PROGRAM};
constexpr const GUID* videoMajorTypes[] = {&MEDIATYPE_Video, &MEDIATYPE_AnalogVideo, &MEDIATYPE_Interleaved};
constexpr const GUID* videoStreamSubtypes[] = {&MEDIASUBTYPE_MPEG1Video,  &videoStreamSubtype,
                                               &mixedStreamSubtype,       &MEDIASUBTYPE_Avi,
                                               &MEDIASUBTYPE_MPEG1System, &MEDIASUBTYPE_MPEG1VideoCD};
constexpr Kind video = {videoPesSubtypes, videoMajorTypes, videoStreamSubtypes};

bool isAmong(const GUID& id, Ids ids) {
  return std::ranges::any_of(ids, [&](const GUID* one) { return IsEqualGUID(id, *one); });
}

bool isOf(const Kind& kind, const AM_MEDIA_TYPE& type) {
  if (IsEqualGUID(type.majortype, MEDIATYPE_MPEG2_PES) && isAmong(type.subtype, kind.pesSubtypes)) {
    return true;
  }
  return IsEqualGUID(type.majortype, MEDIATYPE_Stream) ? isAmong(type.subtype, kind.streamSubtypes)
                                                       : isAmong(type.majortype, kind.majorTypes);
}

Error countStreams(const wchar_t* fileName, bool mayUseGraph, quillet::StreamCount& count) {
  if (fileName == nullptr) {
    return Error::CannotOpenSourceFile;
  }
  const std::wstring name = quillet::nameForFilters(fileName, quillet::FileUse::read);
  const Error detected = quillet::countWithDetector(name.c_str(), count);
  const bool detectorOfUse = detected != Error::NoMediaDetector && detected != Error::CannotOpenSourceFile;
  if (detectorOfUse || !mayUseGraph) {
    return detected;
  }
  const Error rendered = quillet::countWithGraph(name.c_str(), count);
  // What neither of them can open is more likely no media file than one that lacks a filter.
  return rendered == Error::CannotRenderSourceFile && detected == Error::CannotOpenSourceFile ? detected : rendered;
}

}  // namespace

bool MediaContainer::isAudio(const AM_MEDIA_TYPE& type) {
  return isOf(audio, type);
}

bool MediaContainer::isVideo(const AM_MEDIA_TYPE& type) {
  return isOf(video, type);
}

Error MediaContainer::streamsNumber(const wchar_t* fileName, bool mayUseGraph, int* videoStreams, int* audioStreams) {
  quillet::StreamCount count;
  const auto error =
      quillet::guardedBy<Error>(NotEnoughMemory, [&] { return countStreams(fileName, mayUseGraph, count); });
  if (error != Success) {
    count = {};
  }
  if (videoStreams != nullptr) {
    *videoStreams = count.video;
  }
  if (audioStreams != nullptr) {
    *audioStreams = count.audio;
  }
  return error;
}

const char* MediaContainer::Message(Error e) {
  static char message[quillet::messageSize];
  if (e < Success || e > NoRendererInputPin) {
    return nullptr;
  }
  return quillet::loadMessage(IDS_MEDIA_CONTAINER_ERRORS + static_cast<UINT>(e), message);
}
