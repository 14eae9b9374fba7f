// Filter graphs that read and write without the library, for what it is compared with.

#pragma once

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <windows.h>

#include <dshow.h>

#include "comparison.h"
#include "directshow/base/c_source.h"
#include "directshow/graph/filter_graph.h"
#include "directshow/graph/pins.h"
#include "directshow/graph/sample_grabber.h"
#include "platform/handles.h"
#include "support/com_object.h"

namespace quillet::bench {

/// Copies each frame, as whoever wants frames has to.
class CopyingCallback : public test::ComObject<ISampleGrabberCB> {
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
  const KernelHandle received{CreateEventA(nullptr, FALSE, FALSE, nullptr)};
};

/// Source, sample grabber and null renderer, without a clock.
class BareGraph {
 public:
  BareGraph(const std::string& fileName, std::size_t frameSize) : callback(new CopyingCallback(frameSize)) {
    const std::wstring wideName(fileName.begin(), fileName.end());
    Microsoft::WRL::ComPtr<IBaseFilter> source;
    Microsoft::WRL::ComPtr<IBaseFilter> grabber;
    Microsoft::WRL::ComPtr<IBaseFilter> renderer;
    Microsoft::WRL::ComPtr<ISampleGrabber> grabberControl;
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
                connectPair(builder, source.Get(), grabber.Get(), 0) &&
                connectPair(builder, grabber.Get(), renderer.Get(), 0) &&
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

  const Microsoft::WRL::ComPtr<CopyingCallback> callback;
  FilterGraph graph;
  Microsoft::WRL::ComPtr<IMediaSeeking> seeking;
};

/// Pushes as many frames as are written, each copied from the same memory.
class BarePin : public CSourceStream {
 public:
  BarePin(CSource& filter, const VIDEOINFOHEADER& format, const std::vector<unsigned char>& frame, long frameCount)
      : CSourceStream(filter, L"Output"), format(format), frame(frame), frameCount(frameCount) {}

  using CSourceStream::GetMediaType;
  HRESULT GetMediaType(CMediaType* type) override {
    type->majortype = MEDIATYPE_Video;
    type->subtype = MEDIASUBTYPE_RGB24;
    type->bFixedSizeSamples = TRUE;
    type->lSampleSize = format.bmiHeader.biSizeImage;
    type->formattype = FORMAT_VideoInfo;
    type->setFormat(&format, sizeof format);
    return S_OK;
  }
  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
    *request = {1, static_cast<long>(frame.size()), 1, 0};
    ALLOCATOR_PROPERTIES granted = {};
    return allocator->SetProperties(request, &granted);
  }

 protected:
  HRESULT FillBuffer(IMediaSample* sample) override {
    if (next == frameCount) {
      return S_FALSE;
    }
    BYTE* buffer = nullptr;
    sample->GetPointer(&buffer);
    std::memcpy(buffer, frame.data(), frame.size());
    sample->SetActualDataLength(static_cast<long>(frame.size()));
    REFERENCE_TIME start = next++ * format.AvgTimePerFrame;
    REFERENCE_TIME stop = start + format.AvgTimePerFrame;
    sample->SetTime(&start, &stop);
    sample->SetSyncPoint(TRUE);
    return S_OK;
  }

 private:
  const VIDEOINFOHEADER format;
  const std::vector<unsigned char>& frame;
  const long frameCount;
  long next = 0;
};

class BareSource : public CSource {
 public:
  BareSource(const VIDEOINFOHEADER& format, const std::vector<unsigned char>& frame, long frameCount)
      : CSource(nullptr, CLSID_NULL) {
    addPin(std::make_unique<BarePin>(*this, format, frame, frameCount));
  }
};

/// Writes the same frame `frameCount` times.
inline void writeBareGraph(const char* fileName, const VIDEOINFOHEADER& format, const std::vector<unsigned char>& frame,
                           long frameCount) {
  FilterGraph graph;
  Microsoft::WRL::ComPtr<IBaseFilter> mux;
  Microsoft::WRL::ComPtr<IFileSinkFilter2> sink;
  Microsoft::WRL::ComPtr<IBaseFilter> writer;
  require(graph.create() == 0 &&
              SUCCEEDED(CoCreateInstance(CLSID_AviDest, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&mux))) &&
              SUCCEEDED(CoCreateInstance(CLSID_FileWriter, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&sink))) &&
              SUCCEEDED(sink.As(&writer)),
          "CoCreateInstance");
  sink->SetMode(AM_FILE_OVERWRITE);
  const std::string name = fileName;
  require(SUCCEEDED(sink->SetFileName(std::wstring(name.begin(), name.end()).c_str(), nullptr)), "SetFileName");
  const Microsoft::WRL::ComPtr<IBaseFilter> source(new BareSource(format, frame, frameCount));
  for (IBaseFilter* const filter : {source.Get(), mux.Get(), writer.Get()}) {
    require(SUCCEEDED(graph.builder->AddFilter(filter, L"")), "AddFilter");
  }
  require(connectPair(graph.builder.Get(), mux.Get(), writer.Get(), 0) &&
              connectPair(graph.builder.Get(), source.Get(), mux.Get(), 0),
          "Connect");
  require(graph.queryControl() == 0 && graph.removeClock(), "QueryInterface");
  require(SUCCEEDED(graph.control->Run()), "Run");
  require(graph.waitForEnd(nullptr) == FilterGraph::End::completed, "EC_COMPLETE");
  require(graph.stop() == 0, "Stop");
}

}  // namespace quillet::bench
