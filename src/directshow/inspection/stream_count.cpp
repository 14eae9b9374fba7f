#include "directshow/inspection/stream_count.h"

#include <new>
#include <string>
#include <vector>

#include <oleauto.h>
#include <strmif.h>
#include <wrl/client.h>

// Needs strmif.h.
#include <qedit.h>

#include "directshow/graph/filter_graph.h"
#include "directshow/graph/pins.h"
#include "directshow/inspection/stream_renderer.h"
#include "formats/media_type.h"
#include "platform/guarded.h"
#include "platform/handles.h"

using Microsoft::WRL::ComPtr;
using Error = MediaContainer::Error;

namespace quillet {
namespace {

using StringHandle = UniqueHandle<BSTR, SysFreeString>;

/// @throws std::bad_alloc
StringHandle copyOf(const OLECHAR* text) {
  StringHandle copy(SysAllocString(text));
  if (copy == nullptr) {
    throw std::bad_alloc();
  }
  return copy;
}

Error addDetectedStream(IMediaDet* detector, long stream, StreamCount& count) {
  if (FAILED(detector->put_CurrentStream(stream))) {
    return Error::CannotSelectStream;
  }
  CMediaType type;
  if (FAILED(detector->get_StreamMediaType(&type))) {
    return Error::UnreadableMediaType;
  }
  count.add(type);
  return Error::Success;
}

/// A kind of renderers: which streams they take, what they are called in the graph, and the codes of their failures.
struct RendererKind {
  bool (*takes)(const AM_MEDIA_TYPE&);
  const wchar_t* name;
  Error cannotCreate;
  Error cannotAdd;
};

constexpr RendererKind rendererKinds[] = {
    {MediaContainer::isVideo, L"VideoRenderer", Error::CannotCreateVideoRenderer, Error::CannotAddVideoRenderer},
    {MediaContainer::isAudio, L"AudioRenderer", Error::CannotCreateAudioRenderer, Error::CannotAddAudioRenderer},
};

// As many as an AVI file can number. They have to be there beforehand: for streams that find no renderer, the graph brings
// the system's own.
constexpr int renderersOfAKind = 100;

using RendererList = std::vector<ComPtr<IBaseFilter>>;

Error addRenderer(IGraphBuilder* graph, const RendererKind& kind, int number, RendererList& renderers) {
  const ComPtr<IBaseFilter> renderer(guardedBy<IBaseFilter*>(nullptr, [&] { return new StreamRenderer(kind.takes); }));
  if (renderer == nullptr) {
    return kind.cannotCreate;
  }
  if (FAILED(graph->AddFilter(renderer.Get(), (kind.name + std::to_wstring(number)).c_str()))) {
    return kind.cannotAdd;
  }
  renderers.push_back(renderer);
  return Error::Success;
}

Error addRenderers(IGraphBuilder* graph, RendererList& renderers) {
  for (int number = 0; number < renderersOfAKind; ++number) {
    for (const RendererKind& kind : rendererKinds) {
      if (const Error error = addRenderer(graph, kind, number, renderers)) {
        return error;
      }
    }
  }
  return Error::Success;
}

/// Counts the stream that a renderer is connected to, if it is.
Error addRenderedStream(IBaseFilter* renderer, StreamCount& count) {
  const ComPtr<IPin> input = firstPin(renderer, PINDIR_INPUT);
  if (input == nullptr) {
    return Error::NoRendererInputPin;
  }
  if (peerOf(input.Get()) == nullptr) {
    return Error::Success;
  }
  CMediaType type;
  if (FAILED(input->ConnectionMediaType(&type))) {
    return Error::UnreadableMediaType;
  }
  count.add(type);
  return Error::Success;
}

}  // namespace

void StreamCount::add(const AM_MEDIA_TYPE& type) {
  video += MediaContainer::isVideo(type);
  audio += MediaContainer::isAudio(type);
}

Error countWithDetector(const OLECHAR* fileName, StreamCount& count) {
  ComPtr<IMediaDet> detector;
  if (FAILED(CoCreateInstance(CLSID_MediaDet, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&detector)))) {
    return Error::NoMediaDetector;
  }
  if (FAILED(detector->put_Filename(copyOf(fileName).get()))) {
    return Error::CannotOpenSourceFile;
  }
  long streams = 0;
  if (FAILED(detector->get_OutputStreams(&streams))) {
    return Error::CannotRetrieveStreamsNumber;
  }
  for (long stream = 0; stream < streams; ++stream) {
    if (const Error error = addDetectedStream(detector.Get(), stream, count)) {
      return error;
    }
  }
  return Error::Success;
}

Error countWithGraph(const OLECHAR* fileName, StreamCount& count) {
  FilterGraph graph;
  if (graph.create() != ds_error::success) {
    return Error::NoGraphBuilderNorMediaDetector;
  }
  RendererList renderers;
  if (const Error error = addRenderers(graph.builder.Get(), renderers)) {
    return error;
  }
  // VFW_S_PARTIAL_RENDER will do: what finds no renderer is neither video nor audio.
  if (FAILED(graph.builder->RenderFile(fileName, nullptr))) {
    return Error::CannotRenderSourceFile;
  }
  for (const auto& renderer : renderers) {
    if (const Error error = addRenderedStream(renderer.Get(), count)) {
      return error;
    }
  }
  return Error::Success;
}

}  // namespace quillet
