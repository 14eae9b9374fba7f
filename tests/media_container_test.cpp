// What a media type describes, and the two ways to count a file's streams.

#include <vfwmsgs.h>

#include "directshow/graph/sample_grabber.h"
#include "support/ds_streams.h"
#include "support/leak_check.h"
#include "support/wine_gaps.h"

using namespace quillet::test;
using Error = MediaContainer::Error;

namespace {

quillet::CMediaType typeOf(const GUID& major, const GUID& subtype = GUID_NULL) {
  quillet::CMediaType type;
  type.majortype = major;
  type.subtype = subtype;
  type.setFormat("format", 6);
  return type;
}

TEST(MediaTypes, AreAudioOrVideoOrBothOrNeither) {
  const struct {
    GUID major, subtype;
    bool audio, video;
  } cases[] = {{MEDIATYPE_Audio, MEDIASUBTYPE_RGB24, true, false},
               {MEDIATYPE_Video, MEDIASUBTYPE_PCM, false, true},
               {MEDIATYPE_Interleaved, MEDIASUBTYPE_Avi, true, true},
               {MEDIATYPE_Text, MEDIASUBTYPE_Avi, false, false},
               {MEDIATYPE_MPEG2_PES, MEDIASUBTYPE_DOLBY_AC3, true, false},
               {MEDIATYPE_MPEG2_PES, MEDIASUBTYPE_MPEG2_PROGRAM, true, true},
               {MEDIATYPE_MPEG2_PES, MEDIASUBTYPE_MPEG2_VIDEO, false, false},
               {MEDIATYPE_Stream, MEDIASUBTYPE_WAVE, true, false},
               {MEDIATYPE_Stream, MEDIASUBTYPE_MPEG1Video, false, true},
               {MEDIATYPE_Stream, MEDIASUBTYPE_Avi, true, true},
               {MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_PROGRAM, false, false}};
  for (const auto& [major, subtype, audio, video] : cases) {
    const quillet::CMediaType type = typeOf(major, subtype);
    EXPECT_EQ(MediaContainer::isAudio(type), audio) << std::hex << major.Data1 << ' ' << subtype.Data1;
    EXPECT_EQ(MediaContainer::isVideo(type), video) << std::hex << major.Data1 << ' ' << subtype.Data1;
  }
}

void expectCount(const std::string& name, bool mayUseGraph, int error, int video = 0, int audio = 0) {
  int videoFound = -7, audioFound = -7;
  EXPECT_EQ(MediaContainer::streamsNumber(name.c_str(), mayUseGraph, &videoFound, &audioFound), error) << name;
  EXPECT_EQ(std::pair(videoFound, audioFound), std::pair(video, audio)) << name;
}

const ClassObjectOverride::Create refuse = [](REFIID, void**) { return E_FAIL; };

TEST(Streams, AreCountedInBothWays) {
  const TempFile text(".avi", Bytes(500, 'x'));
  for (const bool rendered : {false, true}) {
    const auto noDetector = rendered ? std::make_optional<ClassObjectOverride>(CLSID_MediaDet, refuse) : std::nullopt;
    expectCount(mediaFile("ds_two.avi"), rendered, Error::Success, 2, 2);
    expectCount(mediaFile("ds_h264.mp4"), rendered, Error::Success, 1, 1);
    expectCount(mediaFile("ds_sound.mp3"), rendered, Error::Success, 0, 1);
    const Error undetected = wine_gap::isWineBefore10 ? Error::UnreadableMediaType : Error::CannotOpenSourceFile;
    const Error unknown = rendered ? Error::CannotRenderSourceFile : undetected;
    const bool known = !wine_gap::imaHasNoMediaType;
    expectCount(mediaFile("ima_8000_mono.wav"), rendered, known ? Error::Success : unknown, 0, known);
    for (const char* const bad : {text.name(), "C:\\missing.avi", ""}) {
      expectCount(bad, true, rendered ? Error::CannotRenderSourceFile : Error::CannotOpenSourceFile);
      expectCount(bad, false, rendered ? Error::NoMediaDetector : Error::CannotOpenSourceFile);
    }
    EXPECT_EQ(MediaContainer::streamsNumber(static_cast<const char*>(nullptr), rendered, nullptr, nullptr),
              Error::CannotOpenSourceFile);
  }
  const ClassObjectOverride noDetector(CLSID_MediaDet, refuse);
  const ClassObjectOverride noGraph(CLSID_FilterGraph, refuse);
  expectCount(mediaFile("ds_two.avi"), true, Error::NoGraphBuilderNorMediaDetector);
}

TEST(Streams, ThatTheDetectorCannotOpenAreRendered) {
  const auto script = scriptOf(scriptedVideo(8, 2, 3, 312'500));
  script->streams.resize(3, script->streams[0]);
  script->streams[1].type = typeOf(MEDIATYPE_Interleaved);
  script->streams[2].type = typeOf(MEDIATYPE_Midi);
  const ScriptedFile file(script);
  expectCount(file.name(), false, Error::CannotOpenSourceFile);
  expectCount(file.name(), true, Error::Success, 2, 2);
  const ClassObjectOverride noDetector(CLSID_MediaDet, refuse);
  const auto round = [&] { expectCount(file.name(), true, Error::Success, 2, 2); };
  EXPECT_TRUE(leavesNothingBehind(round, wine_gap::blocksOfAnIdleGraph, wine_gap::handlesOfAGraph, 50));
  script->streams[1].type = typeOf(MEDIATYPE_Text);  // That nothing renders.
  script->streams.resize(104, script->streams[0]);
  expectCount(file.name(), true, Error::Success, 100, 1);
  EXPECT_EQ(script->filters + script->threadsStarted, 0);
}

}  // namespace
