#include "avi_output.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "avi_check.h"
#include "progress_line.h"
#include "shared/library_stream.h"
#include "shared/text.h"
#include "shared/worker.h"

namespace quillet::client {
namespace {

constexpr long long unitsPerMs = 10'000;
constexpr long long unitsPerSecond = 10'000'000;

/// Writes the feed to its end, unless the engine is stopped before.
/// @return whether all of it was written.
bool writeAll(AutomaticInterleaveEngine& engine, AutomaticInterleaveEngine::ThreadType thread, MediaFeed& feed) {
  MediaPiece piece;
  try {
    while (feed.next(piece)) {
      if (!engine.Write(thread, piece.first, piece.data, piece.count, piece.bytes, piece.key)) {
        return false;
      }
    }
  } catch (...) {
    engine.userStop();  // The other one must not wait for what does not come.
    throw;
  }
  engine.exit(thread);
  return true;
}

/// A stream that is being written on a thread of its own.
class StreamWriter {
 public:
  StreamWriter(AutomaticInterleaveEngine& engine, AutomaticInterleaveEngine::ThreadType thread, MediaFeed& feed)
      : engine(engine), feed(feed), worker([this, thread] {
          QuilletThread();
          isWritten = writeAll(this->engine, thread, this->feed);
        }) {}

  /// Ends the writing of both streams when it has not ended.
  ~StreamWriter() { stop(); }

  bool endsWithin(DWORD ms) const { return worker.endsWithin(ms); }
  void stop() { engine.userStop(); }

  /// Throws what went wrong with the feed.
  void rethrow() const { worker.rethrow(); }

  bool hasWrittenAll() const { return isWritten; }

 private:
  AutomaticInterleaveEngine& engine;
  MediaFeed& feed;
  bool isWritten = false;
  Worker worker;
};

/// The part of a feed that is done.
double shareOf(const MediaFeed& feed) {
  return feed.total() > 0 ? static_cast<double>(feed.done()) / static_cast<double>(feed.total()) : 1.0;
}

/// Shows how far the stream has come that has most to go. Either may be null.
void show(ProgressLine& progress, const MediaFeed* video, const MediaFeed* audio) {
  if (video != nullptr && (audio == nullptr || shareOf(*video) <= shareOf(*audio))) {
    progress.show(video->done(), video->total(), "frames");
  } else if (audio != nullptr) {
    progress.show(audio->done(), audio->total(), "samples");
  }
}

/// Shows how far the writing has come until it has ended. It ends: each writer comes to the end of its feed, or fails,
/// and is not made to wait for one that has.
void waitFor(const std::vector<std::unique_ptr<StreamWriter>>& writers, const MediaFeed* video,
             const MediaFeed* audio) {
  constexpr DWORD intervalMs = 50;
  ProgressLine progress("Writing");
  for (const auto& writer : writers) {
    while (!writer->endsWithin(intervalMs)) {
      show(progress, video, audio);
    }
  }
}

}  // namespace

AviOutput::AviOutput(const std::filesystem::path& path, std::span<const Backend> backends, const AviContent& content)
    : content(content), pending(path) {
  pending.handOver();
  create(backends);
  setCompressors();
}

void AviOutput::create(std::span<const Backend> backends) {
  std::string reasons;
  for (const Backend backend : backends) {
    const bool directShow = backend == Backend::directShow;
    file.reset();  // Lets go of the file, should it have it.
    file.reset(OutputAVIFile::create(pending.place().c_str(), content.video, isCompressed(true), content.audio,
                                     isCompressed(false), directShow));
    if (file != nullptr && !file->lastErrorIsFatal()) {
      return;
    }
    reasons += (reasons.empty() ? "" : "; ") + failureOf(file.get(), directShow);
  }
  file.reset();
  throw pending.failure(reasons);
}

Compression* AviOutput::compressionOf(bool isVideo) const {
  return isVideo ? content.videoCompression : content.audioCompression;
}

bool AviOutput::isCompressed(bool isVideo) const {
  const bool isWritten = isVideo ? content.video != nullptr : content.audio != nullptr;
  return isWritten && (compressionOf(isVideo) != nullptr || content.userChooses);
}

void AviOutput::setCompressors() {
  for (const bool isVideo : {true, false}) {
    if (!isCompressed(isVideo)) {
      continue;
    }
    if (Compression* const compression = compressionOf(isVideo)) {
      setCompressor(isVideo, *compression);
    } else {
      letUserChoose(isVideo);
    }
  }
}

void AviOutput::setCompressor(bool isVideo, Compression& compression) {
  if (file->usesDirectShow()) {
    throw Failure("DirectShow has no compressor of the name '" + compression.name() + "'");
  }
  if (!file->setCompressor(isVideo, &compression.options())) {
    throw Failure("compressor '" + compression.name() + "': " + lastErrorText(*file));
  }
}

void AviOutput::letUserChoose(bool isVideo) {
  if (file->chooseCompressor(nullptr, isVideo)) {
    if (file->usesDirectShow()) {  // Video for Windows asks for the settings along with the choice.
      letUserConfigure(isVideo);
    }
    return;
  }
  const int noneToChoose = file->usesDirectShow() ? int{ds_error::cannotListCompressors} : vfw_error::noAudioCompressor;
  if (file->lastError != noneToChoose && file->lastError != output_error::dialogCancelled) {
    throw failure();
  }
  warn(isVideo, "compressed");
  if (!file->setCompressor(isVideo, nullptr)) {
    throw failure();
  }
}

void AviOutput::letUserConfigure(bool isVideo) {
  file->configureCompressor(nullptr, isVideo);
  const int outcome = file->lastError;
  // A compressor without settings, or with those that it has, will do.
  if (outcome != common_error::success && outcome != output_error::dialogCancelled &&
      outcome != ds_error::notConfigurableFilter) {
    warn(isVideo, "compressed with the settings chosen");
  }
}

/// Tells what a stream is not, and why, by the file's last error.
void AviOutput::warn(bool isVideo, const char* state) const {
  std::fprintf(stderr, "quillet: warning: the %s stream is not %s: %s\n", isVideo ? "video" : "audio", state,
               lastErrorText(*file).c_str());
}

void AviOutput::setInterleavingPeriod(double ms) {
  if (!file->setInterleavingPeriod(static_cast<long long>(ms * unitsPerMs))) {
    throw failure();
  }
}

void AviOutput::write(MediaFeed* video, MediaFeed* audio) {
  start(audio);
  writeInTurns(video, audio);
  finish(video, audio, false);
}

void AviOutput::copy(RawFeed* video, RawFeed* audio) {
  start(audio);
  ProgressLine progress("Copying");
  RawFeed* frames = video;
  RawFeed* samples = audio;
  MediaPiece piece;
  while (frames != nullptr || samples != nullptr) {
    const bool isVideo = samples == nullptr || (frames != nullptr && frames->reachedMs() <= samples->reachedMs());
    RawFeed*& feed = isVideo ? frames : samples;
    const auto writePiece = isVideo ? &OutputAVIFile::writeFrame : &OutputAVIFile::writeSample;
    if (!feed->next(piece)) {
      feed = nullptr;
    } else if (!((*file).*writePiece)(piece.first, piece.data, piece.count, piece.bytes, piece.key)) {
      throw failure();
    }
    show(progress, video, audio);
  }
  for (const RawFeed* const feed : {video, audio}) {
    if (feed != nullptr && !feed->missing().empty() && pending.replaces()) {
      file.reset();  // Lets go of the pending file.
      throw Failure("the file that is there stays, since the copy would not be whole; samples not copied: " +
                    feed->missing());
    }
  }
  finish(video, audio, true);
}

void AviOutput::start(MediaFeed* audio) {
  if (!file->start()) {
    throw failure();
  }
  if (audio != nullptr) {
    // A piece always fits into the file's audio buffer, and beside what a compressor may have left of the one before.
    const long long rate = content.audio->nSamplesPerSec;
    audio->limitPieces(static_cast<long>(file->interleavingPeriod() * rate / unitsPerSecond / 2 + 1));
  }
}

void AviOutput::finish(const MediaFeed* video, const MediaFeed* audio, bool areCopied) {
  if (!file->close()) {
    throw failure();
  }
  const bool directShow = file->usesDirectShow();
  file.reset();
  const AviLengths written = {video != nullptr ? video->done() : 0, audio != nullptr ? audio->done() : 0, areCopied};
  if (const std::string fault = faultOf(pending.place(), directShow, written); !fault.empty()) {
    throw pending.failure(fault);
  }
  pending.complete();
}

void AviOutput::writeInTurns(MediaFeed* video, MediaFeed* audio) {
  using Engine = AutomaticInterleaveEngine;
  Engine engine;
  if (!engine.setOutputStream(file.get(), true)) {
    throw pending.failure("its own interleaving cannot be switched off");
  }
  std::vector<std::unique_ptr<StreamWriter>> writers;
  if (video != nullptr) {
    writers.push_back(std::make_unique<StreamWriter>(engine, Engine::VideoThread, *video));
  }
  if (audio != nullptr) {
    writers.push_back(std::make_unique<StreamWriter>(engine, Engine::AudioThread, *audio));
  }
  waitFor(writers, video, audio);
  // First what a feed has thrown: the other stream was only stopped by it.
  for (const auto& writer : writers) {
    writer->rethrow();
  }
  if (!std::ranges::all_of(writers, [](const auto& writer) { return writer->hasWrittenAll(); })) {
    throw failure();
  }
  if (!engine.close() && audio != nullptr) {
    throw failure();
  }
}

Failure AviOutput::failure() {
  const std::string reason = lastErrorText(*file);
  file.reset();  // Lets go of the pending file.
  return pending.failure(reason);
}

}  // namespace quillet::client
