#pragma once

/// @file
/// Interleaving of the video and the audio that two threads produce.

#include <quillet/output_avi_file.h>
#include <quillet/owned.h>

/// Lets two threads of the client, one for video and one for audio, write into one file in turns of about one interleaving
/// period each; the audio thread first.
///
/// setOutputStream(), then Write() or WriteNext() by each thread until it calls exit(), then close(), then the file's own
/// `close`. Each of the two threads writes one stream; a third may call userStop(). The engine sets no error codes: a
/// failed write leaves its own in the file.
///
/// @code
/// // Of the audio's thread, after engine.setOutputStream(). That of the video does the same with its frames.
/// void writeSilence(AutomaticInterleaveEngine& engine, long seconds) {
///   constexpr auto audio = AutomaticInterleaveEngine::AudioThread;
///   constexpr long count = 4410;                  // A tenth of a second: the file's buffer holds an interleaving period.
///   std::vector<unsigned char> piece(count * 2);  // Of 16 bits, in one channel.
///   long sample = 0;
///   while (sample < seconds * 44100 && engine.Write(audio, sample, piece.data(), count, -1, true)) {
///     sample += count;
///   }
///   engine.exit(audio);
/// }
/// @endcode
class QUILLET_API AutomaticInterleaveEngine {
 public:
  /// The two writing threads.
  enum ThreadType : int {
    VideoThread = 0,  ///< Writes the frames.
    AudioThread = 1   ///< Writes the samples.
  };

  /// An engine without a file.
  AutomaticInterleaveEngine();
  /// Engines are not copied.
  AutomaticInterleaveEngine(const AutomaticInterleaveEngine&) = delete;
  /// Nor assigned.
  AutomaticInterleaveEngine& operator=(const AutomaticInterleaveEngine&) = delete;

  /// Does not close the file. Neither thread may be in Write() any more.
  ~AutomaticInterleaveEngine();

  /// Makes `file` the file to write, and switches its own interleaving off meanwhile. Neither thread may be writing.
  /// @param file not owned; to be closed and deleted by the caller, after close().
  /// @param continueAlone whether one thread goes on when the other has called exit().
  /// @return false when the file's own interleaving could not be switched off, or the engine could not be made.
  bool setOutputStream(OutputAVIFile* file, bool continueAlone);

  /// Writes a chunk when it is the thread's turn, and waits for it before. Called by the thread that `t` names.
  /// @param t the calling thread.
  /// @param number number of the first frame or sample.
  /// @param data the frames or samples; needed only during the call.
  /// @param count number of frames or samples.
  /// @param bytes size of `data`.
  /// @param key whether the frames or samples are key ones.
  /// @return false when the write failed or the engine was stopped: nothing more can be written.
  bool Write(ThreadType t, long number, unsigned char* data, long count, long bytes, bool key);

  /// The same, with the number that follows what the file has written of the stream: nextFrame_number() or
  /// nextSample_number().
  ///
  /// That is seldom what is wanted. Audio goes through the file's buffer, and samples that are still in it do not count: a
  /// second chunk gets the first one's number again. A file without audio gives its frames the number -1. Use Write():
  /// for audio with the file's nextSample_number_inBuffer(), which counts the buffered samples; for video with a number of
  /// your own, which you raise by `count` after every chunk that was written.
  bool WriteNext(ThreadType t, unsigned char* data, long count, long bytes, bool key);

  /// Tells that the thread has no more data. Called by the thread that `t` names, or after its end.
  void exit(ThreadType t);

  /// Makes both threads leave their waits: every Write() returns false from now on. Any thread may call it.
  void userStop();

  /// Lets the file go: restores its own interleaving and writes the audio that is still buffered. Neither thread may be
  /// writing.
  /// @return the result of flushAudio(); false when there is no file, or it has no audio stream.
  bool close();

 private:
  struct State;
  quillet::Owned<State> state;
};
