// The filter graph of a DirectShow source: source filter, sample grabber, null renderer.

#pragma once

#include <atomic>
#include <memory>

#include <windows.h>

#include <strmif.h>
#include <wrl/client.h>

#include <quillet/ds_source_stream.h>

#include "directshow/graph/filter_graph.h"
#include "directshow/graph/wide_name.h"
#include "directshow/source/sg_callback.h"
#include "formats/media_type.h"
#include "platform/handles.h"

/// What a DirectShow source owns. The steps that build it are called in the order in which they stand; those that can fail
/// answer a ds_error code. The members are released from the last one to the first.
///
/// What is neither an event nor the callback's belongs to the worker while a run is active, and to the reading thread
/// otherwise: the events order all accesses.
struct DSSourceStream::Graph {
  template <class T>
  using ComPtr = Microsoft::WRL::ComPtr<T>;

  /// Which of a file's streams the graph plays.
  struct Choice {
    GUID majorType = {};   ///< What the grabber lets through.
    GUID subtype = {};     ///< The same; GUID_NULL for all of the major type.
    int streamNumber = 0;  ///< 0-based, among those that can reach the grabber.
  };

  Graph() = default;
  Graph(const Graph&) = delete;
  Graph& operator=(const Graph&) = delete;
  ~Graph();

  /// Builds the graph up to the null renderer.
  int build(const char* fileName, const Choice& streamChoice);

  /// The same for the stream that another graph plays, unseen by graph viewers: nobody looks after it while it runs.
  /// @param other was built; its file name must outlive this graph.
  int buildLike(const Graph& other);

  /// Reads the format in which samples reach the grabber.
  int readConnectionType(quillet::CMediaType& type);

  int querySeeking();
  /// Gives every sample to `sampleCallback`.
  void installCallback(std::unique_ptr<quillet::SampleGrabberCallback> sampleCallback);

  int createEvents();

  /// Runs the graph until its stream ends, which leaves it running, until a stop is requested, or until somebody else has
  /// stopped it.
  int runUntilEnd();

  /// Runs the graph through its whole stream, with a callback that holds nothing; #runEnd tells how far, once the graph is
  /// stopped.
  void playToEnd();

  HRESULT start();

  /// Waits until the graph has ended, and sees to it meanwhile that it runs.
  /// @param interruption ends the wait, too; may be null.
  /// @return #End::timedOut when somebody else has stopped it; #End::aborted also when nothing comes from it any more.
  quillet::FilterGraph::End waitForEnd(HANDLE interruption);

  /// Stops the graph and positions it at its start; it will run to the end of the stream, whatever the duration says.
  int rewind();

  /// Positions the stopped graph; it will run to the end that #duration tells.
  bool seek(long long position, bool toKeyFrame);

  /// Dismisses the callback, stops the graph, in whatever state it is, and waits until it is stopped. When it then
  /// turns out that the graph had aborted, #runEnd says so.
  int stop();

  /// The worker thread is to end, and nobody waits any more until the callback has let go of its sample.
  bool destroying = false;

  /// The thread that runs the graph; none until the first run.
  quillet::KernelHandle worker;

  /// @name Events between the worker and the reading thread, each taken by the one wait for it
  /// @{
  quillet::KernelHandle runRequested;
  quillet::KernelHandle stopRequested;  ///< Ends the run.
  quillet::KernelHandle runEnded;
  /// @}

  /// A run was requested, and the reading thread has not taken its end.
  bool runActive = false;

  /// Why the last run has ended; written by the worker before it signals the end. Certain once the graph is stopped.
  quillet::FilterGraph::End runEnd = quillet::FilterGraph::End::interrupted;

  /// The worker is about to signal the end of the run, or has. Unlike that event it is seen without a call to the system.
  std::atomic<bool> isRunOver = false;

  /// The last run's ds_error code; written like #runEnd.
  int runError = 0;

  std::unique_ptr<quillet::SampleGrabberCallback> callback;

  /// Units of 100 ns.
  LONGLONG duration = 0;

  /// Samples (video: frames, audio: blocks) that it is quicker to decode than to seek over.
  int quickDecodeThreshold = 1;

  /// The graph may be running: it was started and not stopped since.
  bool running = false;

  /// The stream was played to its end and not moved since: it can deliver nothing.
  bool ended = false;

  quillet::constOLEstring wideName;
  Choice choice;
  ComPtr<IBaseFilter> renderer;
  ComPtr<IBaseFilter> sampleGrabber;
  ComPtr<IPin> grabberInput;
  ComPtr<ISampleGrabber> grabberControl;
  quillet::FilterGraph graph;
  ComPtr<IMediaSeeking> mediaSeeking;

 private:
  void moved(long long position);
  LONGLONG behindTheEnd() const;
  int addFilters(const OLECHAR* fileName);
  int addGrabber();
  int addRenderer();
};
