#include "directshow/inspection/stream_count.h"

#include <memory>
#include <new>
#include <string>
#include <vector>

#include <oleauto.h>
#include <strmif.h>
#include <uuids.h>
#include <vfwmsgs.h>
#include <wrl/client.h>

// Needs strmif.h.
#include <qedit.h>

#include "directshow/base/c_base_filter.h"
#include "directshow/base/c_base_pin.h"
#include "directshow/graph/filter_graph.h"
#include "directshow/graph/pins.h"
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

// {3F0B5C52-6E1D-4C07-9D6A-2B8E47A1F9C3}
constexpr CLSID classOfRenderers = {0x3f0b5c52, 0x6e1d, 0x4c07, {0x9d, 0x6a, 0x2b, 0x8e, 0x47, 0xa1, 0xf9, 0xc3}};

/// Where streams of one kind end, without a window, a sound device or a decoder, in graphs that are built but never run.
/// The system's own renderers will not do to find a file's streams: that of audio needs a sound device, that of video a
/// decoder, and the null renderer takes the file itself before it is split into its streams.
class StreamRenderer : public CBaseFilter {
 public:
  /// @param takes whether a stream of a type may end here. MEDIATYPE_Stream never may: that is what is still to be split.
  explicit StreamRenderer(bool (*takes)(const AM_MEDIA_TYPE&)) : CBaseFilter(nullptr, classOfRenderers) {
    addPin(std::make_unique<Input>(*this, takes));
  }

 private:
  class Input : public WithInterfaces<CBasePin, IMemInputPin> {
   public:
    Input(CBaseFilter& filter, bool (*acceptable)(const AM_MEDIA_TYPE&))
        : WithInterfaces(filter, PINDIR_INPUT, L"Input"), takes(acceptable) {}

    HRESULT CheckMediaType(const CMediaType* type) override {
      return !IsEqualGUID(type->majortype, MEDIATYPE_Stream) && takes(*type) ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
    }

    // IMemInputPin. Output pins connect to no other; the graph is never run, so no sample comes.
    STDMETHODIMP GetAllocator(IMemAllocator**) override { return VFW_E_NO_ALLOCATOR; }
    STDMETHODIMP NotifyAllocator(IMemAllocator*, BOOL) override { return S_OK; }
    STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES*) override { return E_NOTIMPL; }
    STDMETHODIMP Receive(IMediaSample*) override { return VFW_E_WRONG_STATE; }
    STDMETHODIMP ReceiveMultiple(IMediaSample**, long, long* processed) override {
      *processed = 0;
      return VFW_E_WRONG_STATE;
    }
    STDMETHODIMP ReceiveCanBlock() override { return S_FALSE; }

   private:
    bool (*const takes)(const AM_MEDIA_TYPE&);
  };
};

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
