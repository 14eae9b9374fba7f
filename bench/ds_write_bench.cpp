// Writing through DirectShow: the library against a bare push source in front of the same multiplexer and file writer.

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <windows.h>

#include <dshow.h>

#include <quillet/quillet.h>

#include "comparison.h"
#include "directshow/base/c_source.h"
#include "directshow/graph/filter_graph.h"
#include "directshow/graph/pins.h"
#include "support/avi_builder.h"
#include "support/avi_mux.h"
#include "support/file_writer.h"
#include "support/temp_file.h"

namespace {

using Microsoft::WRL::ComPtr;
using quillet::bench::require;

constexpr long frameCount = 200;
constexpr int rounds = 25;

VIDEOINFOHEADER frameFormat() {
  VIDEOINFOHEADER format = {};
  format.AvgTimePerFrame = 400'000;
  format.bmiHeader = quillet::test::rgb24Format(320, 240);
  return format;
}

/// Pushes as many frames as are written, each copied from the same memory.
class BarePin : public quillet::CSourceStream {
 public:
  BarePin(quillet::CSource& filter, const std::vector<unsigned char>& frame)
      : CSourceStream(filter, L"Output"), frame(frame) {}

  using CSourceStream::GetMediaType;
  HRESULT GetMediaType(quillet::CMediaType* type) override {
    const VIDEOINFOHEADER format = frameFormat();
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
    REFERENCE_TIME start = next++ * frameFormat().AvgTimePerFrame;
    REFERENCE_TIME stop = start + frameFormat().AvgTimePerFrame;
    sample->SetTime(&start, &stop);
    sample->SetSyncPoint(TRUE);
    return S_OK;
  }

 private:
  const std::vector<unsigned char>& frame;
  long next = 0;
};

class BareSource : public quillet::CSource {
 public:
  explicit BareSource(const std::vector<unsigned char>& frame) : CSource(nullptr, CLSID_NULL) {
    addPin(std::make_unique<BarePin>(*this, frame));
  }
};

void writeBare(const char* fileName, const std::vector<unsigned char>& frame) {
  quillet::FilterGraph graph;
  ComPtr<IBaseFilter> mux;
  ComPtr<IFileSinkFilter2> sink;
  ComPtr<IBaseFilter> writer;
  require(graph.create() == 0 &&
              SUCCEEDED(CoCreateInstance(CLSID_AviDest, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&mux))) &&
              SUCCEEDED(CoCreateInstance(CLSID_FileWriter, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&sink))) &&
              SUCCEEDED(sink.As(&writer)),
          "CoCreateInstance");
  sink->SetMode(AM_FILE_OVERWRITE);
  const std::string name = fileName;
  require(SUCCEEDED(sink->SetFileName(std::wstring(name.begin(), name.end()).c_str(), nullptr)), "SetFileName");
  const ComPtr<IBaseFilter> source(new BareSource(frame));
  for (IBaseFilter* const filter : {source.Get(), mux.Get(), writer.Get()}) {
    require(SUCCEEDED(graph.builder->AddFilter(filter, L"")), "AddFilter");
  }
  require(quillet::connectPair(graph.builder.Get(), mux.Get(), writer.Get(), 0) &&
              quillet::connectPair(graph.builder.Get(), source.Get(), mux.Get(), 0),
          "Connect");
  require(graph.queryControl() == 0 && graph.removeClock(), "QueryInterface");
  require(SUCCEEDED(graph.control->Run()), "Run");
  require(graph.waitForEnd(nullptr) == quillet::FilterGraph::End::completed, "EC_COMPLETE");
  require(graph.stop() == 0, "Stop");
}

void writeWithLibrary(const char* fileName, std::vector<unsigned char>& frame) {
  const VIDEOINFOHEADER format = frameFormat();
  const std::unique_ptr<OutputAVIFile> file(OutputAVIFile::create(fileName, &format, false, nullptr, false, true));
  require(file != nullptr && file->start(), "OutputAVIFile::start");
  for (long i = 0; i < frameCount; ++i) {
    require(file->writeFrame(i, frame.data(), 1, static_cast<long>(frame.size()), true), "writeFrame");
  }
  require(file->close(), "close");
}

}  // namespace

int main() {
  using namespace quillet::test;
  QuilletThread();
  const ClassObjectOverride mux(CLSID_AviDest, aviMux(std::make_shared<MuxScript>()));
  const ClassObjectOverride writer(CLSID_FileWriter, fileWriter(std::make_shared<WriterFaults>()));
  std::vector<unsigned char> frame(frameFormat().bmiHeader.biSizeImage);
  const TempFile file(".avi");
  const bool isFast = quillet::bench::compare(
      "200 RGB24 frames of 320x240, written", rounds, 1.10, [&] { writeWithLibrary(file.name(), frame); },
      [&] { writeBare(file.name(), frame); });
  return isFast ? EXIT_SUCCESS : EXIT_FAILURE;
}
