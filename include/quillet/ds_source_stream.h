#pragma once

/// @file
/// What the sources of the DirectShow backend share: private filter graphs.

#include <quillet/ds_audio_or_video_stream.h>
#include <quillet/owned.h>
#include <quillet/source_stream.h>

/// A stream of a file that DirectShow can decode, read through a filter graph of its own: source, sample grabber, null
/// renderer. The graph runs on a worker thread and is held at the sample that was asked for.
///
/// The thread that calls must have called QuilletThread(). Every operation fails with code 1 while the stream is not
/// open. Reads return when the sample has come, when the stream has ended, and when the graph has aborted or has
/// delivered nothing for 20 seconds: these last two fail with ds_error::dataNotFound, since nobody knows whether the
/// stream has more. Reads do not wait for a clock, neither for audio nor for video, unless the graph refuses to go
/// without one.
///
/// The progress sink can stop a read that goes back in search of a sample: ds_error::stoppedByNotification. That counts
/// as fatal, but the stream is as usable as before.
///
/// Graph viewers find the graph. One that somebody has paused is run on by the next read, in half a second; when somebody
/// has stopped it the read fails with ds_error::cannotRunGraph. The reads after a failure seek.
class QUILLET_API DSSourceStream : public DSAudioOrVideoStream, public virtual SourceStream {
 public:
  /// Ends the graph and its thread, and closes the stream.
  ~DSSourceStream() override;

  /// @return the stream's duration in milliseconds, -1.0 when it is not open.
  double msDuration() override;

  /// Tunes the choice between decoding on and seeking; the subclasses' own forms tune more. Leaves #lastError alone, but for
  /// code 1 when the stream is not open.
  /// @param quickDecodeThreshold number of samples (video: frames, audio: blocks) that it is quicker to decode than to
  ///     seek over; values below 1 count as 1.
  void config(int quickDecodeThreshold);

 protected:
  /// A stream that is not open.
  DSSourceStream();

  struct Graph;

  /// Lets the graph deliver until it holds a sample, or the stream has ended or aborted.
  /// @return whether #lastError is 0.
  bool run();

  /// Stops the graph and positions it.
  /// @param position stream time in units of 100 ns.
  /// @param toKeyFrame whether the nearest key frame before will do.
  /// @return whether #lastError is 0.
  bool seek(long long position, bool toKeyFrame);

  /// Plays the whole stream once, for its samples to be counted, then rewinds it. Reports phase 0 for each sample and
  /// phase 1 at the end.
  /// @param flag handed to the callback that counts.
  /// @param failure the code of a stream that could not be played to its end or rewound.
  /// @return 0, `failure` or ds_error::stoppedByNotification.
  int parseStream(bool flag, int failure);

  /// Takes the code of something that the graph was to do, unless that is 0.
  /// @return whether #lastError is 0.
  bool settle(int code);

  /// Ends all activity of the graph, for good: the first step of every subclass's destructor.
  void shutDown();

  /// The filter graph and the thread that runs it.
  quillet::Owned<Graph> graph;
};
