// The tests' multiplexer and file writer: what they write is read by others.

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

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

using Microsoft::WRL::ComPtr;
using namespace quillet;
using namespace quillet::test;

namespace {

constexpr REFERENCE_TIME frameTime = 400'000;
constexpr long readyEvent = EC_USER;
constexpr long passedEvent = EC_USER + 1;

ScriptedStream video(std::size_t frames) {
  return scriptedVideo(7, 5, frames, frameTime);
}

/// Blocks of a tenth of a second.
ScriptedStream audio(std::size_t blocks) {
  return scriptedAudio(pcmFormat(8000, 1, 16), blocks, 800);
}

/// A graph that writes the streams of a script to a file, connected but for what the faults prevent.
struct Writing {
  explicit Writing(std::vector<ScriptedStream> streams, MuxFaults faults = {}, HRESULT receive = S_OK) {
    played->streams = std::move(streams);
    mux->faults = faults;
    writer->receive = receive;
    const ClassObjectOverride muxClass(CLSID_AviDest, creating<AviMux>(mux));
    const ClassObjectOverride writerClass(CLSID_FileWriter, creating<FileWriter>(writer));
    ComPtr<IBaseFilter> sink;
    CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&graph));
    CoCreateInstance(CLSID_AviDest, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&filter));
    CoCreateInstance(CLSID_FileWriter, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&sink));
    sink->QueryInterface(IID_PPV_ARGS(&file));
    file->SetMode(AM_FILE_OVERWRITE);
    const std::string narrow = result.name();
    EXPECT_EQ(file->SetFileName(std::wstring(narrow.begin(), narrow.end()).c_str(), nullptr), S_OK);
    const ComPtr<IBaseFilter> source(new ScriptedSource(played));
    graph->AddFilter(source.Get(), L"source");
    graph->AddFilter(filter.Get(), L"mux");
    graph->AddFilter(sink.Get(), L"writer");
    connected = graph->ConnectDirect(firstPin(filter.Get(), PINDIR_OUTPUT).Get(),
                                     firstPin(sink.Get(), PINDIR_INPUT).Get(), nullptr);
    PinList pins;
    listPins(source.Get(), PINDIR_OUTPUT, pins);
    for (std::size_t i = 0; i < pins.size() && SUCCEEDED(connected); ++i) {
      PinList inputs;
      listPins(filter.Get(), PINDIR_INPUT, inputs);
      EXPECT_EQ(inputs.size(), i + 1) << "one is free";
      connected = graph->ConnectDirect(pins[i].Get(), inputs.back().Get(), nullptr);
    }
    graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(control.GetAddressOf()));
    graph->QueryInterface(IID_IMediaEvent, reinterpret_cast<void**>(events.GetAddressOf()));
    ComPtr<IMediaFilter> clocked;
    graph->QueryInterface(IID_PPV_ARGS(&clocked));
    clocked->SetSyncSource(nullptr);
  }
  ~Writing() { control->Stop(); }

  void interleave(InterleavingMode mode, REFERENCE_TIME period) const {
    ComPtr<IConfigInterleaving> config;
    ASSERT_EQ(filter->QueryInterface(IID_PPV_ARGS(&config)), S_OK);
    const REFERENCE_TIME preroll = 0;
    EXPECT_EQ(config->put_Mode(mode), S_OK);
    EXPECT_EQ(config->put_Interleaving(&period, &preroll), S_OK);
  }

  /// Waits for an event of the graph.
  /// @return whether it came before the time was up and before an abort.
  bool comes(long wanted, DWORD limitMs = 10000) const {
    OAEVENT handle = 0;
    events->GetEventHandle(&handle);
    long code = 0;
    LONG_PTR first = 0;
    LONG_PTR second = 0;
    while (code != wanted && code != EC_ERRORABORT &&
           WaitForSingleObject(reinterpret_cast<HANDLE>(handle), limitMs) == WAIT_OBJECT_0) {
      if (events->GetEvent(&code, &first, &second, 0) == S_OK) {
        events->FreeEventParams(code, first, second);
      }
    }
    return code == wanted;
  }

  std::vector<std::size_t> order() const {
    std::vector<std::size_t> streams;
    for (const MuxSample& sample : mux->samples) {
      streams.push_back(sample.stream);
    }
    return streams;
  }

  const TimeLimit limit;
  const std::shared_ptr<Script> played = std::make_shared<Script>();
  const std::shared_ptr<MuxScript> mux = std::make_shared<MuxScript>();
  const std::shared_ptr<WriterFaults> writer = std::make_shared<WriterFaults>();
  const KernelHandle go{CreateEventA(nullptr, TRUE, FALSE, nullptr)};
  const TempFile result{".avi"};
  ComPtr<IGraphBuilder> graph;
  ComPtr<IBaseFilter> filter;
  ComPtr<IFileSinkFilter2> file;
  ComPtr<IMediaControl> control;
  ComPtr<IMediaEvent> events;
  HRESULT connected = E_FAIL;
};

Bytes payloads(const ScriptedStream& stream) {
  Bytes all;
  for (std::size_t i = 0; i < stream.samples.size(); ++i) {
    const Bytes one = scriptedPayload(i, stream.samples[i].size);
    all.insert(all.end(), one.begin(), one.end());
  }
  return all;
}

TEST(Mux, WritesWhatVideoForWindowsReads) {
  for (const std::size_t late : {0U, 1U}) {
    Writing writing({video(25), audio(10)});
    ASSERT_EQ(writing.connected, S_OK);
    const ScriptedStream streams[] = {video(25), audio(10)};
    writing.played->streams[late].samples[0].waitFor = writing.go.get();
    writing.played->streams[1 - late].samples.back().event = readyEvent;
    EXPECT_TRUE(SUCCEEDED(writing.control->Run()));
    EXPECT_TRUE(writing.comes(readyEvent));
    SetEvent(writing.go.get());
    ASSERT_TRUE(writing.comes(EC_COMPLETE));
    writing.control->Stop();
    const auto order = writing.order();
    ASSERT_EQ(order.size(), 35U);
    EXPECT_EQ(std::count(order.begin(), order.begin() + 9, 1 - late), 9);

    const std::unique_ptr<VideoSourceStream> pictures(
        VideoSourceStream::open(writing.result.name(), false, 0, nullptr));
    ASSERT_EQ(pictures->lastError, 0);
    EXPECT_EQ(pictures->duration(), 25);
    EXPECT_EQ(pictures->frameRate(), 25.0);
    for (long frame = 0; frame < 25; ++frame) {
      EXPECT_EQ(frameOf(*pictures, frame), scriptedPayload(frame, streams[0].samples[frame].size));
    }
    const std::unique_ptr<AudioSourceStream> sound(AudioSourceStream::open(writing.result.name(), false, 0, nullptr));
    ASSERT_EQ(sound->duration(), 8000);
    EXPECT_EQ(runOf(*sound, 0, 7999), payloads(streams[1]));
  }
}

TEST(Mux, WritesPalettesAndDroppedFrames) {
  ScriptedStream stream = video(6);
  VIDEOINFOHEADER header = *reinterpret_cast<const VIDEOINFOHEADER*>(stream.type.pbFormat);
  header.bmiHeader.biBitCount = 8;
  header.bmiHeader.biClrUsed = 2;
  header.bmiHeader.biSizeImage = 40;
  Bytes format = bytesOf(header);
  format.insert(format.end(), {1, 2, 3, 0, 4, 5, 6, 0});
  stream.type.setFormat(format.data(), static_cast<ULONG>(format.size()));
  stream.type.subtype = MEDIASUBTYPE_RGB8;
  for (auto& sample : stream.samples) {
    sample.size = 40;
  }
  stream.samples.erase(stream.samples.begin() + 2, stream.samples.begin() + 4);
  const Writing writing({stream});
  ASSERT_EQ(writing.connected, S_OK);
  EXPECT_TRUE(SUCCEEDED(writing.control->Run()));
  ASSERT_TRUE(writing.comes(EC_COMPLETE));
  writing.control->Stop();

  PAVISTREAM opened = nullptr;
  ASSERT_EQ(AVIStreamOpenFromFileA(&opened, writing.result.name(), streamtypeVIDEO, 0, OF_READ, nullptr), S_OK);
  const AviStreamHandle read(opened);
  LONG size = 48;
  Bytes readFormat(48);
  EXPECT_EQ(AVIStreamReadFormat(opened, 0, readFormat.data(), &size), S_OK);
  EXPECT_EQ(readFormat, Bytes(format.end() - 48, format.end()));
  const std::vector<LONG> sizes = {40, 40, 0, 0, 40, 40};
  ASSERT_EQ(AVIStreamLength(opened), 6);
  for (LONG frame = 0; frame < 6; ++frame) {
    Bytes bits(40);
    EXPECT_EQ(AVIStreamRead(opened, frame, 1, bits.data(), 40, &size, nullptr), S_OK);
    EXPECT_EQ(size, sizes[frame]);
    EXPECT_EQ(AVIStreamIsKeyFrame(opened, frame), size != 0);
  }
}

/// Lets the sound run ahead of the video, which stops after its first frame.
void runAhead(Writing& writing) {
  ASSERT_EQ(writing.connected, S_OK);
  writing.interleave(INTERLEAVE_FULL, 1'000'000);
  writing.played->streams[0].samples[1].waitFor = writing.go.get();
  writing.played->streams[1].samples[2].event = readyEvent;
  writing.played->streams[1].samples[3].event = passedEvent;
  EXPECT_TRUE(SUCCEEDED(writing.control->Run()));
  ASSERT_TRUE(writing.comes(readyEvent));
  EXPECT_FALSE(writing.comes(passedEvent, 200)) << "more than 0.1 s ahead";
}

TEST(Mux, HoldsAStreamBackUntilTheOtherCatchesUpOrEnds) {
  for (const std::size_t frames : {25U, 2U}) {
    Writing writing({video(frames), audio(10)});
    runAhead(writing);
    SetEvent(writing.go.get());
    EXPECT_TRUE(writing.comes(EC_COMPLETE));
    writing.control->Stop();
    EXPECT_EQ(writing.mux->samples.size(), frames + 10);
  }
}

TEST(Mux, LetsAStreamGoThatIsHeldBack) {
  Writing writing({video(25), audio(10)});
  runAhead(writing);
  EXPECT_EQ(writing.control->Stop(), S_OK);
  EXPECT_EQ(writing.played->threadsEnded, 2);
}

TEST(Mux, FailsAsAsked) {
  MuxFaults refusing;
  refusing.acceptInput = VFW_E_TYPE_NOT_ACCEPTED;
  EXPECT_TRUE(FAILED(Writing({video(1)}, refusing).connected));
  ScriptedStream untimed = video(1);
  withoutFrameTime(untimed);
  EXPECT_TRUE(FAILED(Writing({untimed}).connected));
  MuxFaults failing;
  failing.failReceiveAfter = 3;
  for (const HRESULT receive : {S_OK, E_ABORT}) {
    const Writing writing({video(25)}, failing, receive);
    EXPECT_TRUE(SUCCEEDED(writing.control->Run()));
    EXPECT_FALSE(writing.comes(EC_COMPLETE)) << "the graph is aborted instead";
    writing.control->Stop();
    EXPECT_EQ(writing.mux->samples.size(), receive == S_OK ? 3U : 0U);
    EXPECT_EQ(writing.file->SetFileName(L"C:\\no such folder\\a.avi", nullptr),
              HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND));
  }
}

}  // namespace
