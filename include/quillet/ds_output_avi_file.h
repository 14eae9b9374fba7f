#pragma once

/// @file
/// The AVI writer of the DirectShow backend.

#include <quillet/ds_audio_or_video_stream.h>
#include <quillet/output_avi_file.h>
#include <quillet/owned.h>

/// Writes an AVI file through a filter graph: a source for each stream, a compressor where one is set, the system's AVI
/// multiplexer and file writer.
///
/// Each stream has one media sample, and a write waits until its data is in it: for as long as the filters behind take
/// to let go of it. The multiplexer may make a stream wait that is far ahead of the other one. One thread for each
/// stream, or an AutomaticInterleaveEngine, keeps that from lasting. Video and audio may be written by two threads at
/// once, and a third may close() meanwhile: then only the results count, since #lastError is of any of them. All else
/// is for one thread at a time. Every operation that sets a code fails with code 1 while the file is not open, and
/// again after close(). The threads that call must have called QuilletThread().
class QUILLET_API DSOutputAVIFile : public DSAudioOrVideoStream, public OutputAVIFile {
 public:
  /// Creates a file; the arguments are those of OutputAVIFile::create().
  ///
  /// @param fileName name of the file, in the system's ANSI code page; an existing file is overwritten.
  /// @param video format of the frames, NULL for no video stream; not copied. Uncompressed frames of 16 bits need
  ///     their masks behind the header.
  /// @param compressVideo whether the video stream is to be compressed.
  /// @param audio format of the samples, NULL for no audio stream; not copied. WAVE_FORMAT_EXTENSIBLE without its
  ///     extension is refused with ds_error::improperStreamFormat.
  /// @param compressAudio whether the audio stream is to be compressed.
  /// @return the writer, to be deleted by the caller; #lastError is 0 when it is open, otherwise a code of ds_error
  ///     (notEnoughMemory, cannotOpenSourceFile for a name that cannot be written, noMediaControl, noMediaEvent,
  ///     noSynchronizationObject, noGraphBuilder, cannotAddFilter, cannotConnectFilters, noFileWriter, noFileSinkFilter2,
  ///     noAviMultiplexer, videoSourceCreationFailed, videoStreamCopyImpossible, audioSourceCreationFailed,
  ///     audioStreamCopyImpossible), output_error::noStreamDefined or unacceptableVideoFormat. NULL when no object could
  ///     be made.
  static DSOutputAVIFile* create(const char* fileName, const VIDEOINFOHEADER* video, bool compressVideo,
                                 const WAVEFORMATEX* audio, bool compressAudio);

  /// The form above with a name in UTF-16.
  static DSOutputAVIFile* create(const wchar_t* fileName, const VIDEOINFOHEADER* video, bool compressVideo,
                                 const WAVEFORMATEX* audio, bool compressAudio);

  /// Closes the file, as close() does, when it is being written. No thread may be writing any more.
  ~DSOutputAVIFile() override;

  /// @return whether every stream is connected. Leaves #lastError alone while the file is open.
  bool canRun() override;

  /// Runs the graph.
  /// @return false with ds_error::graphNotFullyConfigured, cannotCreateThread or cannotRunGraph; true with the warning
  ///     cannotChangeReferenceClock when the graph will run at the clock's pace. A second start does nothing.
  bool start() override;

  /// Ends both streams, waits until the multiplexer has completed the file, and stops the graph. Writes that wait in other
  /// threads come back: what was taken before the end is in the file, and a write that the end overtakes fails with
  /// writeError.
  ///
  /// The wait ends as well when nothing has moved for 20 seconds, as when a compressor loses the end of its stream, or keeps
  /// the one buffer that its source has. What a compressor takes and gives away counts as moving, and so does the growth of
  /// the file; but one that needs 20 seconds for a single picture has stalled.
  /// @return false with ds_error::graphNotStarted, writeError (the graph has aborted or stalled, and the file is not
  ///     complete; or it is not there, or shorter than what was written into it as it is: the filters do not tell of a disk
  ///     that is full), cannotStopGraph or getStateFailed.
  bool close() override;

  /// @param frame number of the first frame.
  /// @param data the frames; needed only during the call.
  /// @param count number of frames.
  /// @param bytes size of `data`; when negative it is computed as for uncompressed frames.
  /// @param key whether the frames are key frames.
  /// @return false with output_error::noVideoStream, ds_error::graphNotStarted or writeError (also for more than a frame
  ///     of the format can have): then nothing is written, and the next write may go well.
  bool writeFrame(long frame, unsigned char* data, long count, long bytes, bool key) override;

  /// @param sample number of the first sample.
  /// @param data the samples; needed only during the call.
  /// @param count number of samples.
  /// @param bytes size of `data`, at most what an interleaving period holds; when negative it is computed from the format.
  /// @param key whether the samples are key samples.
  /// @return false with output_error::noAudioStream, ds_error::graphNotStarted or writeError.
  bool writeSample(long sample, unsigned char* data, long count, long bytes, bool key) override;

  /// @param video the video stream (true) or the audio stream (false).
  /// @return false with output_error::noVideoStream, noAudioStream, directCopyRequired or compressorAlreadySet.
  bool canSetCompressor(bool video) override;

  /// @param video the video stream (true) or the audio stream (false).
  /// @param compressor an IMoniker of a compressor filter; NULL makes a direct copy of the stream.
  /// @return false with the codes of canSetCompressor(), ds_error::cannotFetchCompressor, cannotAddFilter or
  ///     cannotConnectFilters. The last two leave the compressor set: the file can only be deleted.
  bool setCompressor(bool video, void* compressor) override;

  /// @return whether a compressor is set; #lastError is 0.
  bool isCompressorSet(bool video) override;

  /// Lets the user choose one of the compressors that the system lists, and sets it. Those whose names cannot be read are
  /// left out; of several with one name the first is set, whichever was chosen.
  /// @param parentWindow the parent's HWND; may be NULL.
  /// @param video the video stream (true) or the audio stream (false).
  /// @return false with the codes of canSetCompressor(), ds_error::notEnoughMemory, noDeviceEnumerator,
  ///     cannotListCompressors (also when there is none), unreachableCompressorDescription, cannotDisplayDialog,
  ///     output_error::dialogCancelled (also for OK without a selection), ds_error::cannotRetrieveFilter (it was removed
  ///     meanwhile) or the codes of setCompressor().
  bool chooseCompressor(void* parentWindow, bool video) override;

  /// Lets the user configure the stream's compressor: of an audio compressor the format of its output; of a video
  /// compressor its key frames, quality, window and bit rate or, when it has no IAMVideoCompression, what the codec's own
  /// dialog or the compressor's property pages offer. For use before start().
  ///
  /// @param parentWindow the parent's HWND; may be NULL.
  /// @param video the video stream (true) or the audio stream (false).
  ///
  /// #lastError is 0, or output_error::noCompressorSelected, dialogCancelled, ds_error::noOutputPin, notConfigurableFilter,
  /// cannotDisplayDialog, cannotAddDialogProperty or unexpectedError; for audio also cannotGetPresentFormat,
  /// cannotGetExposedFormats or cannotRestoreFormat; for video also cannotRetrieveCompressionInfo, cannotChangeDataRate or
  /// configurationPartlyFailed (what was not refused is set). A dialog that is closed with its parent counts as cancelled.
  void configureCompressor(void* parentWindow, bool video) override;

  /// Shows the multiplexer's own property pages.
  /// @param parentWindow the parent's HWND; may be NULL. #lastError is 0, or ds_error::noInterleavingProperties,
  ///     cannotDisplayDialog or cannotChangeInterleavingPeriod.
  void configureAVI(void* parentWindow) override;

  /// @return whether the multiplexer interleaves; false with ds_error::noInterleavingProperties when it does not tell.
  bool isAutomaticallyInterleaved() override;

  /// @return the multiplexer's interleaving period in units of 100 ns; 0 with ds_error::noInterleavingProperties when it does
  ///     not tell.
  long long interleavingPeriod() override;

  /// @return whether the multiplexer has taken the setting; otherwise ds_error::noInterleavingProperties.
  bool setAutomaticInterleaving(bool on) override;

  /// @return false with ds_error::noInterleavingProperties or cannotChangeInterleavingPeriod.
  bool setInterleavingPeriod(long long period) override;

 private:
  DSOutputAVIFile();
  int createGraph(const wchar_t* fileName);
  int addVideoSource();
  int addAudioSource();
  static void runGraph(void* file);
  bool requireRunning(bool isVideo);
  bool renegotiateAudioBuffer(bool atOnce);

  struct Graph;
  quillet::Owned<Graph> graph;
};
