#pragma once

/// @file
/// What a media file holds.

#include <quillet/export.h>
#include <quillet/platform_formats.h>

/// Looks into a media file before any of its streams is opened: what a media type describes, and how many streams of each
/// kind there are.
///
/// @code
/// QuilletThread();  // Once on each thread.
/// int video = 0, audio = 0;
/// const MediaContainer::Error error = MediaContainer::streamsNumber("clip.avi", true, &video, &audio);
/// if (error != MediaContainer::Success) {
///   std::puts(MediaContainer::Message(error));
/// }
/// std::printf("%d of video, %d of audio\n", video, audio);
/// @endcode
class QUILLET_API MediaContainer {
 public:
  /// What can go wrong while a file's streams are counted.
  enum Error : int {
    Success = 0,                         ///< "Success"
    NotEnoughMemory = 1,                 ///< "Not enough memory"
    NoMediaDetector = 2,                 ///< "Could not create a MediaDetector object"
    CannotOpenSourceFile = 3,            ///< "Could not open the source file"
    CannotRetrieveStreamsNumber = 4,     ///< "Could not retrieve the streams number"
    CannotSelectStream = 5,              ///< "Unable to select one of the streams"
    UnreadableMediaType = 6,             ///< "Unreadable media type"
    NoGraphBuilderNorMediaDetector = 7,  ///< "Could neither create a GraphBuilder object nor use the MediaDetector"
    CannotCreateVideoRenderer = 8,       ///< "Could not create a new video renderer"
    CannotAddVideoRenderer = 9,          ///< "Could not add a new video renderer to the graph"
    CannotCreateAudioRenderer = 10,      ///< "Could not create a new audio renderer"
    CannotAddAudioRenderer = 11,         ///< "Could not add a new audio renderer to the graph"
    CannotRenderSourceFile = 12,         ///< "Cannot render the source file"
    NoRendererInputPin = 13              ///< "No input pin (audio or video renderer)"
  };

  /// There are no objects: all operations are static.
  MediaContainer() = delete;

  /// Tells by the ids of a media type alone, the format block is not looked at, whether it describes audio. What holds or
  /// may hold both audio and video is both: transport and program streams, interleaved audio and video, AVI, MPEG-1
  /// system streams.
  static bool isAudio(const AM_MEDIA_TYPE& type);

  /// Tells whether a media type describes video, in the way of isAudio(). Both are false of text, for example.
  static bool isVideo(const AM_MEDIA_TYPE& type);

  /// Counts a file's streams of each kind, by the isVideo() and isAudio() of their types: a stream of both kinds counts as
  /// both, one of neither not at all. Nothing is decoded or played. A stream that is counted may still be one that
  /// the system has no decoder for.
  ///
  /// The calling thread must have called QuilletThread().
  ///
  /// The system's media detector is asked first. When there is none, or it cannot open the file, a filter graph may be asked
  /// instead: it finds up to 100 streams of each kind.
  ///
  /// @param fileName name of the media file, in the system's ANSI code page; CannotOpenSourceFile when it is NULL.
  /// @param mayUseGraph true to ask a filter graph where the media detector is of no use; false to have the media
  ///     detector's answer or none.
  /// @param videoStreams receives the number of video streams, 0 on failure; may be NULL.
  /// @param audioStreams receives the number of audio streams, 0 on failure; may be NULL.
  /// @return Success, NotEnoughMemory, or
  ///     - the media detector's NoMediaDetector, CannotOpenSourceFile, CannotRetrieveStreamsNumber, CannotSelectStream or
  ///       UnreadableMediaType. Where a graph may be used, NoMediaDetector does not occur, and CannotOpenSourceFile means
  ///       that the graph could not render the file either;
  ///     - the graph's NoGraphBuilderNorMediaDetector, CannotCreateVideoRenderer to CannotAddAudioRenderer,
  ///       CannotRenderSourceFile, NoRendererInputPin or UnreadableMediaType.
  static Error streamsNumber(const char* fileName, bool mayUseGraph, int* videoStreams, int* audioStreams);

  /// The form above with a name in UTF-16.
  static Error streamsNumber(const wchar_t* fileName, bool mayUseGraph, int* videoStreams, int* audioStreams);

  /// @return the text of `e`, in one buffer that all callers share: valid until the next call on any thread, and not to
  ///     be called from two threads at once. NULL when `e` is outside 0..13.
  static const char* Message(Error e);
};
