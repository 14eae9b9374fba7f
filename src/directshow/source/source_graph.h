// The filter graph of a DirectShow source: source filter, sample grabber, null renderer.

#pragma once

#include <memory>

#include <windows.h>

#include <strmif.h>
#include <wrl/client.h>

#include <quillet/ds_source_stream.h>

#include "directshow/graph/filter_graph.h"
#include "directshow/source/graph_runner.h"
#include "directshow/source/sg_callback.h"
#include "formats/media_type.h"
#include "platform/wide_name.h"

namespace quillet {

/// What a source plays. The steps that build it are called in the order in which they stand; those that can fail answer a
/// ds_error code. The members are released from the last one to the first.
struct SourceGraph {
  template <class T>
  using ComPtr = Microsoft::WRL::ComPtr<T>;

  /// Which of a file's streams the graph plays.
  struct Choice {
    GUID majorType = {};   ///< What the grabber lets through.
    GUID subtype = {};     ///< The same; GUID_NULL for all of the major type.
    int streamNumber = 0;  ///< 0-based, among those that can reach the grabber.
  };

  SourceGraph() = default;
  SourceGraph(const SourceGraph&) = delete;
  SourceGraph& operator=(const SourceGraph&) = delete;
  ~SourceGraph();

  /// Builds the graph up to the null renderer.
  /// @param type receives the format in which samples reach the grabber.
  int build(const wchar_t* fileName, const Choice& streamChoice, CMediaType& type);

  /// The same for the stream that another graph plays, unseen by graph viewers.
  /// @param other was built; its file name must outlive this graph.
  int buildLike(const SourceGraph& other);

  /// Gets the interfaces that position and run the graph, and #duration.
  int queryInterfaces();

  /// Gives every sample to `sampleCallback`.
  void installCallback(std::unique_ptr<SGCallback> sampleCallback);

  /// @name Positions of the stopped graph, and the end to which it will run
  /// @{

  /// Goes to `position`, in units of 100 ns; the end is what #duration tells.
  bool moveTo(long long position, bool toKeyFrame);

  /// Goes to the start; the end is that of the stream, whatever the duration says.
  bool moveToStart();

  /// Sets that end for a graph that stands at its first position, to which not every seek comes back.
  void playWholeStream();
  /// @}

  std::unique_ptr<SGCallback> callback;

  /// Units of 100 ns.
  LONGLONG duration = 0;

  constOLEstring wideName;
  Choice choice;
  ComPtr<IBaseFilter> renderer;
  ComPtr<IBaseFilter> sampleGrabber;
  ComPtr<IPin> grabberInput;
  ComPtr<ISampleGrabber> grabberControl;
  FilterGraph filters;
  ComPtr<IMediaSeeking> mediaSeeking;

 private:
  LONGLONG behindTheEnd() const;
  int addFilters(const OLECHAR* fileName);
  int addGrabber();
  int addRenderer();
};

}  // namespace quillet

/// What a DirectShow source owns: the graph, and what runs it, which goes first.
struct DSSourceStream::Graph : quillet::SourceGraph {
  quillet::GraphRunner runner{*this};

  /// Samples (video: frames, audio: blocks) that it is quicker to decode than to seek over.
  int quickDecodeThreshold = 1;
};
