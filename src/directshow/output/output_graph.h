// The filter graph of the DirectShow writer: sources, compressors, AVI multiplexer, file writer.

#pragma once

#include <atomic>
#include <cstdint>

#include <windows.h>

#include <strmif.h>
#include <wrl/client.h>

#include <quillet/ds_output_avi_file.h>

#include "directshow/graph/filter_graph.h"
#include "directshow/output/msd_filter.h"
#include "platform/event.h"
#include "platform/library_thread.h"
#include "platform/wide_name.h"

/// What a DirectShow writer owns. The steps that build it are called in the order in which they stand; those that can
/// fail answer a ds_error code. The members are released from the last one to the first.
struct DSOutputAVIFile::Graph {
  template <class T>
  using ComPtr = Microsoft::WRL::ComPtr<T>;

  /// A stream on its way to the multiplexer.
  struct Stream {
    ComPtr<quillet::MSDfilter> source;       ///< Null when the file has no such stream.
    ComPtr<IBaseFilter> compressor;          ///< Null until one is set.
    std::atomic<std::uint64_t> written = 0;  ///< Bytes that the writes have handed over.

    bool isConnected() const;

    /// Whether what is written goes into the file as it is, with no filter in between.
    bool leadsTo(IBaseFilter* mux) const;
  };

  /// Builds the graph up to the file writer, which opens the file.
  int build(const wchar_t* fileName);

  /// Adds the source of a stream, which stays unconnected.
  int addSource(const Stream& stream, const wchar_t* name);

  /// Connects a stream's source, or its compressor when it has one, to the multiplexer, with whatever filters the graph
  /// sees fit to put in between.
  HRESULT connectToMux(const Stream& stream);

  /// Puts a compressor between a stream's source and the multiplexer. It is the stream's from then on, also when it could
  /// not be connected.
  int insertCompressor(Stream& stream, IMoniker& moniker, const wchar_t* name);

  int requireEvents() const;

  /// Samples that a media sample of the multiplexer's interleaving period has; at least 1.
  long audioSamplesPerBuffer(const WAVEFORMATEX& format) const;

  /// Has the audio source agree on a new buffer size with what it is connected to; one that still waits for its compressor
  /// agrees when it is connected.
  /// @return false with the size, and the connection where it can be had again, as they were.
  bool resizeAudioBuffer(unsigned long samples);

  /// The same, but leaves the connecting to the graph, which on Windows may still be about it when this returns.
  bool resizeAudioBufferLater(unsigned long samples);

  /// Runs an operation on the interleaving settings of the file's multiplexer, and sets the file's code of the outcome.
  /// @param operation answers an HRESULT.
  template <class Operation>
  static bool withInterleaving(DSOutputAVIFile& file, Operation operation);

  /// Shows the multiplexer's property pages.
  /// @return false when it has none, or they cannot be shown.
  bool showMuxPages(HWND parent) const;

  /// Starts the graph.
  int run();

  /// Waits until the graph ends or a stop is requested. On request it ends the streams, and waits until the file is
  /// complete or nothing moves any more. Then it stops the graph.
  int runToEnd();

  /// Whether the complete file is there, and has what was written: a full disk is told of by no filter.
  bool hasArrived() const;

  Stream& stream(bool isVideo) { return isVideo ? video : audio; }

  quillet::constOLEstring wideName;
  ComPtr<IBaseFilter> mux;
  Stream video;
  Stream audio;
  quillet::FilterGraph filters;

  /// @name The worker thread, none until start(), and the events that it shares with its owner
  /// @{
  quillet::LibraryThread worker;
  const quillet::Event graphStarted = quillet::Event::manual();
  const quillet::Event stopRequested = quillet::Event::manual();
  int startResult = 0;  ///< The worker's ds_error code of starting; read after `graphStarted`.
  int result = 0;       ///< The worker's ds_error code of all that followed; read after the thread's end.
                        /// @}

 private:
  int addFileWriter(ComPtr<IBaseFilter>& writer);
  int addMux();
  bool endStreams();
  bool canComplete();
  std::uint64_t movement() const;
};
