// The tests' multiplexer and file writer: what they write is read by others.

#include <string>

#include <gtest/gtest.h>

#include <evcode.h>
#include <strmif.h>
#include <vfwmsgs.h>

// Needs strmif.h.
#include <control.h>

#include "directshow/graph/pins.h"
#include "support/avi_builder.h"
#include "support/avi_mux.h"
#include "support/ds_streams.h"
#include "support/file_writer.h"

using namespace quillet;
using namespace quillet::test;
using Microsoft::WRL::ComPtr;

namespace {

const auto video = [](std::size_t frames) { return scriptedVideo(7, 5, frames, 400'000); };
const auto audio = [] { return scriptedAudio(pcmFormat(8000, 1, 16), 10, 800); };  // Blocks of a tenth of a second.

/// A graph that writes the streams of a script to a file, in periods of a tenth of a second.
struct Writing {
  explicit Writing(std::vector<ScriptedStream> streams, InterleavingMode mode = INTERLEAVE_NONE,
                   const MuxScript& muxFaults = {}, HRESULT receive = S_OK)
      : mux(std::make_shared<MuxScript>(muxFaults)) {
    played->streams = std::move(streams);
    const ComPtr<IBaseFilter> source(new ScriptedSource(played));
    ComPtr<IBaseFilter> filter;
    ComPtr<IConfigInterleaving> interleaving;
    ComPtr<IFileSinkFilter2> file;
    aviMux(mux)(IID_PPV_ARGS(&filter));
    filter->QueryInterface(IID_PPV_ARGS(&interleaving));
    const REFERENCE_TIME times[] = {1'000'000, 0};
    EXPECT_EQ(interleaving->put_Mode(mode), S_OK);
    EXPECT_EQ(interleaving->put_Interleaving(&times[0], &times[1]), S_OK);
    fileWriter(std::make_shared<WriterFaults>(WriterFaults{false, S_OK, receive}))(IID_PPV_ARGS(&file));
    EXPECT_EQ(file->SetMode(AM_FILE_OVERWRITE), S_OK);
    EXPECT_EQ(file->SetFileName(L"C:\\no\\file.avi", nullptr), HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND));
    const std::string name = result.name();
    EXPECT_EQ(file->SetFileName(std::wstring(name.begin(), name.end()).c_str(), nullptr), S_OK);
    ComPtr<IBaseFilter> writer;
    file.As(&writer);
    ComPtr<IGraphBuilder> graph;
    CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&graph));
    for (IBaseFilter* const one : {source.Get(), filter.Get(), writer.Get()}) {
      graph->AddFilter(one, L"");
    }
    isConnected = connectPair(graph.Get(), filter.Get(), writer.Get(), 0);
    for (std::size_t i = 0; i < played->streams.size(); ++i) {
      isConnected = connectPair(graph.Get(), source.Get(), filter.Get(), 0) && isConnected;
    }
    graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(control.GetAddressOf()));
    graph->QueryInterface(IID_IMediaEvent, reinterpret_cast<void**>(events.GetAddressOf()));
    events->GetEventHandle(reinterpret_cast<OAEVENT*>(&event));
  }
  ~Writing() { control->Stop(); }

  /// @return whether the graph reports an event before the time is up, and before it is aborted.
  bool comes(long wanted, DWORD limitMs = 10000) const {
    long code = 0;
    LONG_PTR parameters[2];
    while (code != wanted && code != EC_ERRORABORT && WaitForSingleObject(event, limitMs) == WAIT_OBJECT_0) {
      events->GetEvent(&code, &parameters[0], &parameters[1], 0);
    }
    return code == wanted;
  }

  const TimeLimit limit;
  const std::shared_ptr<Script> played = std::make_shared<Script>();
  const std::shared_ptr<MuxScript> mux;
  const KernelHandle go{CreateEventA(nullptr, TRUE, FALSE, nullptr)};
  const TempFile result{".avi"};
  ComPtr<IMediaControl> control;
  ComPtr<IMediaEvent> events;
  HANDLE event = nullptr;
  bool isConnected = false;
};

TEST(Mux, WritesWhatVideoForWindowsReads) {
  for (const std::size_t late : {0U, 1U}) {
    Writing writing({video(25), audio()});
    writing.played->streams[late].samples[0].waitFor = writing.go.get();
    writing.played->streams[1 - late].samples.back().event = EC_USER;
    writing.control->Run();
    EXPECT_TRUE(writing.comes(EC_USER));
    SetEvent(writing.go.get());
    ASSERT_TRUE(writing.comes(EC_COMPLETE));
    writing.control->Stop();
    ASSERT_EQ(writing.mux->samples.size(), 35U);
    EXPECT_EQ(writing.mux->samples[8].stream, 1 - late);
    const std::unique_ptr<VideoSourceStream> pictures(
        VideoSourceStream::open(writing.result.name(), false, 0, nullptr));
    EXPECT_EQ(pictures->duration(), 25);
    EXPECT_EQ(pictures->frameRate(), 25.0);
    for (long i = 0; i < 25; ++i) {
      EXPECT_EQ(frameOf(*pictures, i), scriptedPayload(i, 120));
    }
    const std::unique_ptr<AudioSourceStream> sound(AudioSourceStream::open(writing.result.name(), false, 0, nullptr));
    EXPECT_EQ(sound->duration(), 8000);
    for (long i = 0; i < 10; ++i) {
      EXPECT_EQ(runOf(*sound, 800 * i, 800 * i + 799), scriptedPayload(i, 1600));
    }
  }
}

TEST(Mux, WritesPalettesAndDroppedFrames) {
  ScriptedStream stream = video(6);
  Bytes format(stream.type.pbFormat, stream.type.pbFormat + stream.type.cbFormat);
  format.insert(format.end(), {1, 2, 3, 0, 4, 5, 6, 0});
  BITMAPINFOHEADER& bitmap = reinterpret_cast<VIDEOINFOHEADER*>(format.data())->bmiHeader;
  bitmap.biBitCount = 8;
  bitmap.biClrUsed = 2;
  stream.type.setFormat(format.data(), static_cast<ULONG>(format.size()));
  stream.samples.erase(stream.samples.begin() + 2, stream.samples.begin() + 4);
  const Writing writing({stream});
  writing.control->Run();
  ASSERT_TRUE(writing.comes(EC_COMPLETE));
  writing.control->Stop();

  PAVISTREAM opened = nullptr;
  ASSERT_EQ(AVIStreamOpenFromFileA(&opened, writing.result.name(), streamtypeVIDEO, 0, OF_READ, nullptr), S_OK);
  const AviStreamHandle owned(opened);
  LONG size = 48;
  Bytes formatRead(48);
  EXPECT_EQ(AVIStreamReadFormat(opened, 0, formatRead.data(), &size), S_OK);
  EXPECT_EQ(formatRead, Bytes(format.end() - 48, format.end()));
  ASSERT_EQ(AVIStreamLength(opened), 6);
  for (const LONG frame : {0, 1, 2, 3, 4, 5}) {
    EXPECT_EQ(AVIStreamRead(opened, frame, 1, nullptr, 0, &size, nullptr), S_OK);
    EXPECT_EQ(size, frame == 2 || frame == 3 ? 0 : 120);
    EXPECT_EQ(AVIStreamIsKeyFrame(opened, frame), size != 0);
  }
}

TEST(Mux, HoldsAStreamBackThatRunsAhead) {
  for (const std::size_t frames : {25U, 2U, 0U}) {  // The other catches up, it ends, or the graph is stopped.
    Writing writing({video(frames > 0 ? frames : 2), audio()}, INTERLEAVE_FULL);
    writing.played->streams[0].samples[1].waitFor = writing.go.get();
    writing.played->streams[1].samples[2].event = EC_USER;
    writing.played->streams[1].samples[3].event = EC_USER + 1;
    writing.control->Run();
    EXPECT_TRUE(writing.comes(EC_USER));
    EXPECT_FALSE(writing.comes(EC_USER + 1, 200)) << "more than 0.1 s ahead of the first frame's end";
    if (frames > 0) {
      SetEvent(writing.go.get());
      EXPECT_TRUE(writing.comes(EC_COMPLETE));
    }
    EXPECT_EQ(writing.control->Stop(), S_OK);
    EXPECT_EQ(writing.mux->samples.size(), frames > 0 ? frames + 10 : 3);
  }
}

TEST(Mux, FailsAsAsked) {
  MuxScript faults;
  faults.acceptInput = VFW_E_TYPE_NOT_ACCEPTED;
  EXPECT_FALSE(Writing({video(1)}, INTERLEAVE_NONE, faults).isConnected);
  faults = {};
  faults.failReceiveAfter = 3;
  for (const HRESULT receive : {S_OK, E_ABORT}) {
    const Writing writing({video(25)}, INTERLEAVE_NONE, faults, receive);
    writing.control->Run();
    EXPECT_TRUE(writing.comes(EC_ERRORABORT));
    writing.control->Stop();
    EXPECT_EQ(writing.mux->samples.size(), receive == S_OK ? 3U : 0U);
  }
}

}  // namespace
