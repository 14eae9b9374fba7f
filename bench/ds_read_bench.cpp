// Reading through DirectShow: the library against a bare filter graph on the same file.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <windows.h>

#include <dshow.h>
#include <wrl/client.h>

#include <quillet/quillet.h>

#include "comparison.h"
#include "directshow/graph/sample_grabber.h"
#include "support/temp_file.h"

namespace {

using Microsoft::WRL::ComPtr;
using quillet::bench::compare;
using quillet::bench::require;

constexpr int rounds = 15;
constexpr int randomFrames = 300;
constexpr unsigned seed = 20;

/// Copies each frame, as whoever wants frames has to.
class CopyingCallback : public ISampleGrabberCB {
 public:
  explicit CopyingCallback(std::size_t frameSize) : frame(frameSize) {}

  STDMETHODIMP QueryInterface(REFIID, void** object) override {
    *object = this;
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP SampleCB(double, IMediaSample* sample) override {
    BYTE* data = nullptr;
    sample->GetPointer(&data);
    std::memcpy(frame.data(), data, static_cast<std::size_t>(sample->GetActualDataLength()));
    ++frames;
    SetEvent(received);
    return S_OK;
  }
  STDMETHODIMP BufferCB(double, BYTE*, long) override { return S_OK; }

  std::vector<BYTE> frame;
  long frames = 0;
  HANDLE received = CreateEventA(nullptr, FALSE, FALSE, nullptr);
};

/// Source, sample grabber and null renderer, without a clock.
class BareGraph {
 public:
  BareGraph(const std::string& fileName, std::size_t frameSize) : callback(frameSize) {
    const std::wstring wideName(fileName.begin(), fileName.end());
    ComPtr<IBaseFilter> source;
    ComPtr<IBaseFilter> grabber;
    ComPtr<IBaseFilter> renderer;
    ComPtr<ISampleGrabber> grabberControl;
    ComPtr<IMediaFilter> filter;
    require(
        SUCCEEDED(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&graph))) &&
            SUCCEEDED(CoCreateInstance(CLSID_SampleGrabber, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&grabber))) &&
            SUCCEEDED(CoCreateInstance(CLSID_NullRenderer, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&renderer))),
        "CoCreateInstance");
    AM_MEDIA_TYPE rgb24 = {};
    rgb24.majortype = MEDIATYPE_Video;
    rgb24.subtype = MEDIASUBTYPE_RGB24;
    require(SUCCEEDED(graph->AddSourceFilter(wideName.c_str(), L"source", &source)) &&
                SUCCEEDED(graph->AddFilter(grabber.Get(), L"grabber")) &&
                SUCCEEDED(graph->AddFilter(renderer.Get(), L"renderer")) && SUCCEEDED(grabber.As(&grabberControl)) &&
                SUCCEEDED(grabberControl->SetMediaType(&rgb24)) &&
                SUCCEEDED(graph->Connect(pin(source, PINDIR_OUTPUT).Get(), pin(grabber, PINDIR_INPUT).Get())) &&
                SUCCEEDED(graph->Connect(pin(grabber, PINDIR_OUTPUT).Get(), pin(renderer, PINDIR_INPUT).Get())) &&
                SUCCEEDED(grabberControl->SetCallback(&callback, 0)) && SUCCEEDED(graph.As(&filter)) &&
                SUCCEEDED(filter->SetSyncSource(nullptr)) && SUCCEEDED(graph.As(&seeking)) &&
                SUCCEEDED(graph->QueryInterface(IID_IMediaControl, &control)) &&
                SUCCEEDED(graph->QueryInterface(IID_IMediaEvent, &event)),
            "building the graph");
  }

  /// Plays the whole stream.
  void play() {
    seek(0);
    callback.frames = 0;
    require(SUCCEEDED(control->Run()), "Run");
    // Not by WaitForCompletion, which under Wine answers with the completion before.
    HANDLE waiting = nullptr;
    event->GetEventHandle(reinterpret_cast<OAEVENT*>(&waiting));
    for (long code = 0; code != EC_COMPLETE;) {
      LONG_PTR first = 0;
      LONG_PTR second = 0;
      require(WaitForSingleObject(waiting, 60000) == WAIT_OBJECT_0, "playing");
      if (SUCCEEDED(event->GetEvent(&code, &first, &second, 0))) {
        event->FreeEventParams(code, first, second);
      }
    }
    control->Stop();
  }

  /// Gets one frame: seek, run, stop.
  void fetch(LONGLONG position) {
    seek(position);
    ResetEvent(callback.received);
    require(SUCCEEDED(control->Run()) && WaitForSingleObject(callback.received, 60000) == WAIT_OBJECT_0, "fetching");
    control->Stop();
    OAFilterState state = State_Stopped;
    control->GetState(60000, &state);
  }

  long playedFrames() const { return callback.frames; }

 private:
  static ComPtr<IPin> pin(const ComPtr<IBaseFilter>& filter, PIN_DIRECTION wanted) {
    ComPtr<IEnumPins> pins;
    require(SUCCEEDED(filter->EnumPins(&pins)), "EnumPins");
    for (ComPtr<IPin> candidate; pins->Next(1, candidate.ReleaseAndGetAddressOf(), nullptr) == S_OK;) {
      PIN_DIRECTION direction = PINDIR_INPUT;
      candidate->QueryDirection(&direction);
      if (direction == wanted) {
        return candidate;
      }
    }
    return nullptr;
  }

  void seek(LONGLONG position) {
    require(
        SUCCEEDED(seeking->SetPositions(&position, AM_SEEKING_AbsolutePositioning, nullptr, AM_SEEKING_NoPositioning)),
        "SetPositions");
  }

  CopyingCallback callback;  // Outlives the graph.
  ComPtr<IGraphBuilder> graph;
  ComPtr<IMediaSeeking> seeking;
  ComPtr<IMediaControl> control;
  ComPtr<IMediaEvent> event;
};

bool compareFile(const char* fileName) {
  const std::string path = quillet::test::mediaFile(fileName);
  const std::unique_ptr<VideoSourceStream> library(VideoSourceStream::open(path.c_str(), true, 0, nullptr));
  require(library != nullptr && library->lastError == 0, "VideoSourceStream::open");
  const long frames = library->duration();
  BareGraph bare(path, library->format()->biSizeImage);
  const auto read = [&](long wanted) {
    long frame = wanted;
    require(library->getFrameBits(frame) != nullptr, "getFrameBits");
  };

  std::printf("%s, %ld frames of %ldx%ld\n", fileName, frames, library->format()->biWidth, library->format()->biHeight);
  const bool inOrder = compare(
      "  all frames, in order", rounds, 1.25,
      [&] {
        for (long i = 0; i < frames; ++i) {
          read(i);
        }
      },
      [&] { bare.play(); });
  std::printf("  (the bare graph delivered %ld frames)\n", bare.playedFrames());

  const double framePeriod = 10'000'000 / library->frameRate();
  const bool atRandom = compare(
      "  300 frames in random order", rounds, 1.0,
      [&] {
        std::mt19937 random(seed);
        for (int i = 0; i < randomFrames; ++i) {
          read(static_cast<long>(random() % static_cast<unsigned long>(frames)));
        }
      },
      [&] {
        std::mt19937 random(seed);
        for (int i = 0; i < randomFrames; ++i) {
          bare.fetch(static_cast<LONGLONG>((random() % static_cast<unsigned long>(frames)) * framePeriod));
        }
      });
  const std::unique_ptr<RawDataSourceStream> raw(RawDataSourceStream::open(path.c_str(), true, true, 0, nullptr));
  require(raw != nullptr && raw->lastError == 0, "RawDataSourceStream::open");
  // Where the platform decodes, the samples are of another format: then there is nothing to compare them with.
  const bool untouched =
      raw->format()->subtype != MEDIASUBTYPE_RGB24 || compare(
                                                          "  all frames as samples, in order", rounds, 1.25,
                                                          [&] { quillet::bench::readAll(*raw); }, [&] { bare.play(); });
  return inOrder && atRandom && untouched;
}

}  // namespace

int main() {
  QuilletThread();
  bool isFast = true;
  for (const char* fileName : {"bench_raw.avi", "bench_mjpeg.avi"}) {
    isFast = compareFile(fileName) && isFast;
  }
  return isFast ? EXIT_SUCCESS : EXIT_FAILURE;
}
