// Reading through DirectShow: the library against a bare filter graph on the same file.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <windows.h>

#include <dshow.h>

#include <quillet/quillet.h>

#include "comparison.h"
#include "core/handles.h"
#include "directshow/graph/filter_graph.h"
#include "directshow/graph/pins.h"
#include "directshow/graph/sample_grabber.h"
#include "support/com_object.h"
#include "support/temp_file.h"

namespace {

using Microsoft::WRL::ComPtr;
using quillet::FilterGraph;
using quillet::bench::compare;
using quillet::bench::require;

constexpr int rounds = 15;
constexpr int randomFrames = 300;
constexpr unsigned seed = 20;

/// Copies each frame, as whoever wants frames has to.
class CopyingCallback : public quillet::test::ComObject<ISampleGrabberCB> {
 public:
  explicit CopyingCallback(std::size_t frameSize) : frame(frameSize) {}

  STDMETHODIMP SampleCB(double, IMediaSample* sample) override {
    BYTE* data = nullptr;
    sample->GetPointer(&data);
    std::memcpy(frame.data(), data, static_cast<std::size_t>(sample->GetActualDataLength()));
    ++frames;
    SetEvent(received.get());
    return S_OK;
  }
  STDMETHODIMP BufferCB(double, BYTE*, long) override { return S_OK; }

  std::vector<BYTE> frame;
  long frames = 0;
  const quillet::KernelHandle received{CreateEventA(nullptr, FALSE, FALSE, nullptr)};
};

/// Source, sample grabber and null renderer, without a clock.
class BareGraph {
 public:
  BareGraph(const std::string& fileName, std::size_t frameSize) : callback(new CopyingCallback(frameSize)) {
    const std::wstring wideName(fileName.begin(), fileName.end());
    ComPtr<IBaseFilter> source;
    ComPtr<IBaseFilter> grabber;
    ComPtr<IBaseFilter> renderer;
    ComPtr<ISampleGrabber> grabberControl;
    require(
        graph.create() == 0 && graph.queryControl() == 0 && graph.removeClock() &&
            SUCCEEDED(CoCreateInstance(CLSID_SampleGrabber, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&grabber))) &&
            SUCCEEDED(CoCreateInstance(CLSID_NullRenderer, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&renderer))),
        "CoCreateInstance");
    AM_MEDIA_TYPE rgb24 = {};
    rgb24.majortype = MEDIATYPE_Video;
    rgb24.subtype = MEDIASUBTYPE_RGB24;
    IGraphBuilder* const builder = graph.builder.Get();
    require(SUCCEEDED(builder->AddSourceFilter(wideName.c_str(), L"source", &source)) &&
                SUCCEEDED(builder->AddFilter(grabber.Get(), L"grabber")) &&
                SUCCEEDED(builder->AddFilter(renderer.Get(), L"renderer")) && SUCCEEDED(grabber.As(&grabberControl)) &&
                SUCCEEDED(grabberControl->SetMediaType(&rgb24)) &&
                quillet::connectPair(builder, source.Get(), grabber.Get(), 0) &&
                quillet::connectPair(builder, grabber.Get(), renderer.Get(), 0) &&
                SUCCEEDED(grabberControl->SetCallback(callback.Get(), 0)) && SUCCEEDED(graph.builder.As(&seeking)),
            "building the graph");
  }

  /// Plays the whole stream.
  void play() {
    seek(0);
    callback->frames = 0;
    require(SUCCEEDED(graph.control->Run()), "Run");
    require(graph.waitForEnd(nullptr, 60000) == FilterGraph::End::completed, "playing");
    graph.stop();
  }

  /// Gets one frame: seek, run, stop.
  void fetch(LONGLONG position) {
    seek(position);
    ResetEvent(callback->received.get());
    require(SUCCEEDED(graph.control->Run()), "Run");
    require(WaitForSingleObject(callback->received.get(), 60000) == WAIT_OBJECT_0, "fetching");
    graph.stop();
  }

  long playedFrames() const { return callback->frames; }

 private:
  void seek(LONGLONG position) {
    require(
        SUCCEEDED(seeking->SetPositions(&position, AM_SEEKING_AbsolutePositioning, nullptr, AM_SEEKING_NoPositioning)),
        "SetPositions");
  }

  const ComPtr<CopyingCallback> callback;
  FilterGraph graph;
  ComPtr<IMediaSeeking> seeking;
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
