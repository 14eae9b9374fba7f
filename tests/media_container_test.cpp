// What a media type describes, and the two ways to count a file's streams.

#include <optional>
#include <string>
#include <utility>
#include <vector>

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
  const auto unnamed = [](unsigned long first) {
    return GUID{first, 0xe163, 0x11d0, {0xba, 0xd9, 0x00, 0x60, 0x97, 0x44, 0x11, 0x1a}};
  };
  const GUID mixed = {0x3db80f90, 0x9412, 0x11d1, {0xad, 0xed, 0x00, 0x00, 0xf8, 0x75, 0x4b, 0x99}};
  using Ids = std::vector<GUID>;
  const GUID& avi = MEDIASUBTYPE_Avi;
  const GUID& mpeg2Audio = MEDIASUBTYPE_MPEG2_AUDIO;
  const Ids any = {GUID_NULL, MEDIASUBTYPE_PCM, MEDIASUBTYPE_RGB24, avi, MEDIASUBTYPE_MPEG2_PROGRAM, mixed};
  const Ids mpeg2 = {MEDIASUBTYPE_MPEG2_TRANSPORT, MEDIASUBTYPE_MPEG2_TRANSPORT_STRIDE, MEDIASUBTYPE_MPEG2_PROGRAM};
  const Ids pes = {MEDIATYPE_MPEG2_PES};
  const Ids stream = {MEDIATYPE_Stream};
  const struct {
    Ids majors, subtypes;
    bool audio, video;
  } groups[] = {
      {pes, {MEDIASUBTYPE_DOLBY_AC3, mpeg2Audio, MEDIASUBTYPE_DVD_LPCM_AUDIO}, true, false},
      {pes, mpeg2, true, true},
      {pes, {GUID_NULL, MEDIASUBTYPE_MPEG2_VIDEO, MEDIASUBTYPE_DVD_SUBPICTURE, avi, mixed}, false, false},
      {{MEDIATYPE_Audio, MEDIATYPE_AnalogAudio, MEDIATYPE_Midi}, any, true, false},
      {{MEDIATYPE_Video, MEDIATYPE_AnalogVideo}, any, false, true},
      {{MEDIATYPE_Interleaved}, any, true, true},
      {{GUID_NULL, MEDIATYPE_Text, MEDIATYPE_Timecode, MEDIATYPE_File}, any, false, false},
      {stream, {MEDIASUBTYPE_WAVE, MEDIASUBTYPE_AU, MEDIASUBTYPE_AIFF, MEDIASUBTYPE_MPEG1Audio}, true, false},
      {stream, {unnamed(0xa0af4f82)}, true, false},
      {stream, {MEDIASUBTYPE_MPEG1Video, unnamed(0xa0af4f81)}, false, true},
      {stream, {mixed, avi, MEDIASUBTYPE_MPEG1System, MEDIASUBTYPE_MPEG1VideoCD}, true, true},
      {stream, mpeg2, false, false},
      {stream, {GUID_NULL, mpeg2Audio, MEDIATYPE_Audio, MEDIATYPE_Video, unnamed(0xa0af4f83)}, false, false},
  };
  for (const auto& [majors, subtypes, audio, video] : groups) {
    for (std::size_t i = 0; i < majors.size() * subtypes.size(); ++i) {
      const quillet::CMediaType type = typeOf(majors[i % majors.size()], subtypes[i / majors.size()]);
      const auto answers = std::pair(MediaContainer::isAudio(type), MediaContainer::isVideo(type));
      EXPECT_EQ(answers, std::pair(audio, video)) << std::hex << type.majortype.Data1 << ' ' << type.subtype.Data1;
    }
  }
}

void expectCount(const std::string& name, bool mayUseGraph, int error, int video = 0, int audio = 0) {
  int videoFound = -7;
  int audioFound = -7;
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
    const Error unknown = rendered ? Error::CannotRenderSourceFile : Error::UnreadableMediaType;
    constexpr bool known = !wine_gap::imaHasNoMediaType;
    expectCount(mediaFile("ima_8000_mono.wav"), rendered, known ? Error::Success : unknown, 0, known);
    for (const char* const bad : {text.name(), "C:\\missing.avi", ""}) {
      expectCount(bad, true, rendered ? Error::CannotRenderSourceFile : Error::CannotOpenSourceFile);
      expectCount(bad, false, rendered ? Error::NoMediaDetector : Error::CannotOpenSourceFile);
    }
    EXPECT_EQ(MediaContainer::streamsNumber(nullptr, rendered, nullptr, nullptr), Error::CannotOpenSourceFile);
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

/// What the fakes do and what they see.
struct Detection {
  int failing = Error::Success;            ///< The step that fails, by its code.
  std::vector<quillet::CMediaType> types;  ///< What the detector finds; steps fail at the last stream.
  HRESULT rendering = S_OK;
  std::wstring names;  ///< Of the filters added and the file.

  HRESULT at(Error step, bool reached = true) const { return step == failing && reached ? E_FAIL : S_OK; }
};

class FakeDetection : public ComObject<IMediaDet, IGraphBuilder> {
 public:
  explicit FakeDetection(Detection& shared) : detection(shared) {}

  // IMediaDet
  STDMETHODIMP put_Filename(BSTR name) override {
    detection.names.assign(name, SysStringLen(name));
    return detection.at(Error::CannotOpenSourceFile);
  }
  STDMETHODIMP get_OutputStreams(LONG* number) override {
    *number = static_cast<LONG>(detection.types.size());
    return detection.at(Error::CannotRetrieveStreamsNumber);
  }
  STDMETHODIMP put_CurrentStream(LONG stream) override {
    isLast = &detection.types.at(stream) == &detection.types.back();
    current = stream;
    return detection.at(Error::CannotSelectStream, isLast);
  }
  STDMETHODIMP get_StreamMediaType(AM_MEDIA_TYPE* type) override {
    detection.types.at(current).copyTo(*type);
    return detection.at(Error::UnreadableMediaType, isLast);
  }

  // IGraphBuilder
  STDMETHODIMP AddFilter(IBaseFilter*, LPCWSTR name) override {
    detection.names += std::wstring(name) + L' ';
    const bool isVideo = std::wstring(name) == L"VideoRenderer1";
    const bool isAudio = std::wstring(name) == L"AudioRenderer1";
    return detection.at(isVideo ? Error::CannotAddVideoRenderer : Error::CannotAddAudioRenderer, isVideo || isAudio);
  }
  STDMETHODIMP RenderFile(LPCWSTR name, LPCWSTR) override { return detection.names += name, detection.rendering; }

  // What counting has no use for.
  STDMETHODIMP get_Filter(IUnknown**) override { return E_NOTIMPL; }
  STDMETHODIMP put_Filter(IUnknown*) override { return E_NOTIMPL; }
  STDMETHODIMP get_CurrentStream(LONG*) override { return E_NOTIMPL; }
  STDMETHODIMP get_StreamType(GUID*) override { return E_NOTIMPL; }
  STDMETHODIMP get_StreamTypeB(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP get_StreamLength(double*) override { return E_NOTIMPL; }
  STDMETHODIMP get_Filename(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP GetBitmapBits(double, LONG*, char*, LONG, LONG) override { return E_NOTIMPL; }
  STDMETHODIMP WriteBitmapBits(double, LONG, LONG, BSTR) override { return E_NOTIMPL; }
  STDMETHODIMP GetSampleGrabber(ISampleGrabber**) override { return E_NOTIMPL; }
  STDMETHODIMP get_FrameRate(double*) override { return E_NOTIMPL; }
  STDMETHODIMP EnterBitmapGrabMode(double) override { return E_NOTIMPL; }
  STDMETHODIMP RemoveFilter(IBaseFilter*) override { return E_NOTIMPL; }
  STDMETHODIMP EnumFilters(IEnumFilters**) override { return E_NOTIMPL; }
  STDMETHODIMP FindFilterByName(LPCWSTR, IBaseFilter**) override { return E_NOTIMPL; }
  STDMETHODIMP ConnectDirect(IPin*, IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
  STDMETHODIMP Reconnect(IPin*) override { return E_NOTIMPL; }
  STDMETHODIMP Disconnect(IPin*) override { return E_NOTIMPL; }
  STDMETHODIMP SetDefaultSyncSource() override { return E_NOTIMPL; }
  STDMETHODIMP Connect(IPin*, IPin*) override { return E_NOTIMPL; }
  STDMETHODIMP Render(IPin*) override { return E_NOTIMPL; }
  STDMETHODIMP AddSourceFilter(LPCWSTR, LPCWSTR, IBaseFilter**) override { return E_NOTIMPL; }
  STDMETHODIMP SetLogFile(DWORD_PTR) override { return E_NOTIMPL; }
  STDMETHODIMP Abort() override { return E_NOTIMPL; }
  STDMETHODIMP ShouldOperationContinue() override { return E_NOTIMPL; }

 private:
  Detection& detection;
  LONG current = 0;
  bool isLast = false;
};

/// Makes fakes for the place of the system's media detector or filter graph.
inline ClassObjectOverride::Create fakeDetection(Detection& detection) {
  return [&](REFIID iid, void** object) { return makeCom<FakeDetection>(detection)->QueryInterface(iid, object); };
}

TEST(Failures, HaveTheirCodesAndLeaveNothing) {
  Detection fake;
  for (const GUID& major : {MEDIATYPE_Text, MEDIATYPE_Interleaved, MEDIATYPE_Midi, MEDIATYPE_Video, MEDIATYPE_Audio}) {
    fake.types.push_back(typeOf(major));
  }
  const ClassObjectOverride graph(CLSID_FilterGraph, fakeDetection(fake));
  const auto detect = [&] {
    const ClassObjectOverride detector(CLSID_MediaDet, fakeDetection(fake));
    fake.rendering = E_FAIL;
    // The graph's failure to render is no news after the detector's to open, and it is not asked after others.
    for (fake.failing = Error::CannotOpenSourceFile; fake.failing <= Error::UnreadableMediaType; ++fake.failing) {
      expectCount("\xe9.avi", true, fake.failing);
      EXPECT_EQ(fake.names == L"\u00e9.avi", fake.failing != Error::CannotOpenSourceFile);
    }
    expectCount("\xe9.avi", false, Error::Success, 2, 3);
  };
  EXPECT_TRUE(leavesNothingBehind(detect));
  const auto render = [&] {
    const ClassObjectOverride noDetector(CLSID_MediaDet, refuse);
    fake.rendering = VFW_S_PARTIAL_RENDER;
    for (const Error error : {Error::CannotAddVideoRenderer, Error::CannotAddAudioRenderer, Error::Success}) {
      fake.failing = error;
      fake.names.clear();
      expectCount("\xe9.avi", true, error);
    }
    EXPECT_TRUE(fake.names.starts_with(L"VideoRenderer0 AudioRenderer0 VideoRenderer1 AudioRenderer1 "));
    EXPECT_TRUE(fake.names.ends_with(L"VideoRenderer99 AudioRenderer99 \u00e9.avi"));
    fake.rendering = E_FAIL;
    expectCount("\xe9.avi", true, Error::CannotRenderSourceFile);
  };
  EXPECT_TRUE(leavesNothingBehind(render));
}

}  // namespace
