#include <quillet/vfw_output_avi_file.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include <windows.h>

#include <vfw.h>

#include <quillet/error_codes.h>

#include "core/admit.h"
#include "core/operation.h"
#include "core/owned.h"
#include "core/time_units.h"
#include "formats/format_sizes.h"
#include "platform/files.h"
#include "platform/guarded.h"
#include "platform/handles.h"
#include "ui/interleaving_period_dialog.h"
#include "ui/run_dialog.h"
#include "vfw/audio_compression.h"
#include "vfw/video_compression.h"
#include "vfw/written_size.h"

namespace output_error = quillet::output_error;
namespace vfw_error = quillet::vfw_error;

namespace {

constexpr long long defaultPeriod = 7'500'000;

/// The nearest whole number of frames per second, exact halves down; 0 when there is none.
DWORD frameRate(const VIDEOINFOHEADER& format) {
  const REFERENCE_TIME frameTime = format.AvgTimePerFrame;
  if (frameTime <= 0) {
    return 0;
  }
  const bool roundUp = quillet::unitsPerSecond % frameTime > frameTime / 2;
  return static_cast<DWORD>(quillet::unitsPerSecond / frameTime + (roundUp ? 1 : 0));
}

/// @return null on failure.
PAVISTREAM createStream(PAVIFILE file, AVISTREAMINFOA& info, std::string_view name) {
  std::ranges::copy(name, info.szName);
  PAVISTREAM stream = nullptr;
  return AVIFileCreateStreamA(file, &stream, &info) == 0 ? stream : nullptr;
}

PAVISTREAM createVideoStream(PAVIFILE file, const VIDEOINFOHEADER& format) {
  AVISTREAMINFOA info = {};
  info.fccType = streamtypeVIDEO;
  info.fccHandler = format.bmiHeader.biCompression;
  info.dwScale = 1;
  info.dwRate = frameRate(format);
  info.rcFrame = format.rcTarget;
  return info.dwRate > 0 ? createStream(file, info, "video stream") : nullptr;
}

PAVISTREAM createAudioStream(PAVIFILE file, const WAVEFORMATEX& format) {
  AVISTREAMINFOA info = {};
  info.fccType = streamtypeAUDIO;
  info.dwScale = format.nBlockAlign;
  info.dwRate = format.nSamplesPerSec * format.nBlockAlign;
  return info.dwRate > 0 ? createStream(file, info, "audio stream") : nullptr;
}

}  // namespace

/// What writes the file. The writer is open whenever anything but createStreams() is asked of it.
struct VfWOutputAVIFile::State {
  explicit State(VfWOutputAVIFile& owner) : writer(owner) {}

  int createStreams(const wchar_t* name);

  bool hasCompressor(bool isVideo) { return isVideo ? videoCompression.isSet() : audioCompression.isSet(); }

  bool canRun(bool isVideo);
  bool requireUnset(bool isVideo);
  bool requireBothStreams() const;
  bool requireStarted() const;

  int startVideo();
  int startAudio();
  void updateBufferSamples() const;

  bool writeConverted(bool keyFrame);
  bool write(PAVISTREAM stream, long start, unsigned char* data, long samples, long bytes, bool keyFrame, long& next);

  bool isInterleavedByOptions() { return (audioCompression.options().dwFlags & AVICOMPRESSF_INTERLEAVE) != 0; }

  /// Whether the closed file is there, and has what was written: a full disk is told of by no call.
  bool hasArrived() const {
    const std::optional<std::uint64_t> length = quillet::fileLength(fileName.c_str());
    return length && *length >= size.atLeast();
  }

  VfWOutputAVIFile& writer;

  // Destroyed from the last one upwards: the streams before their file, what they are compressed with at the end.
  quillet::VideoCompression videoCompression;
  quillet::AudioCompression audioCompression;
  quillet::AviFileHandle file;
  quillet::AviStreamHandle videoStream;
  quillet::AviStreamHandle audioStream;
  quillet::AviStreamHandle compressedVideoStream;
  std::wstring fileName;
  quillet::WrittenSize size;
  bool isStarted = false;
  long long period = defaultPeriod;
};

VfWOutputAVIFile::VfWOutputAVIFile() = default;

VfWOutputAVIFile::~VfWOutputAVIFile() = default;

VfWOutputAVIFile* VfWOutputAVIFile::create(const wchar_t* fileName, const VIDEOINFOHEADER* video, bool compressVideo,
                                           const WAVEFORMATEX* audio, bool compressAudio) {
  auto* const writer = new (std::nothrow) VfWOutputAVIFile;
  if (writer != nullptr) {
    writer->createFile(fileName, video, compressVideo, audio, compressAudio);
  }
  return writer;
}

void VfWOutputAVIFile::createFile(const wchar_t* fileName, const VIDEOINFOHEADER* videoFormat, bool isVideoCompressed,
                                  const WAVEFORMATEX* audioFormat, bool isAudioCompressed) {
  video = videoFormat;
  compressVideo = isVideoCompressed;
  audio = audioFormat;
  compressAudio = isAudioCompressed;
  finishOpening(quillet::guarded([&]() -> int {
    if (!acceptableFormats()) {
      return lastError;
    }
    if (audio != nullptr && !quillet::canBeWhole(*audio)) {
      return vfw_error::cannotSetFormat;
    }
    state.reset(new State(*this));
    return state->createStreams(fileName);
  }));
}

int VfWOutputAVIFile::State::createStreams(const wchar_t* name) {
  const std::wstring usable = name != nullptr ? quillet::nameForAviFile(name, quillet::FileUse::write) : std::wstring();
  PAVIFILE created = nullptr;
  if (usable.empty() || AVIFileOpenW(&created, usable.c_str(), OF_WRITE | OF_CREATE, nullptr) != 0) {
    return vfw_error::cannotCreateFile;
  }
  file.reset(created);
  fileName = quillet::fullName(usable.c_str());
  if (writer.video != nullptr) {
    videoStream.reset(createVideoStream(created, *writer.video));
    if (!videoStream) {
      return vfw_error::cannotCreateVideoStream;
    }
  }
  if (writer.audio != nullptr) {
    audioStream.reset(createAudioStream(created, *writer.audio));
    if (!audioStream) {
      return vfw_error::cannotCreateAudioStream;
    }
  }
  return vfw_error::success;
}

/// Whether the stream, if it exists, needs no compressor or has it.
bool VfWOutputAVIFile::State::canRun(bool isVideo) {
  const bool exists = isVideo ? writer.video != nullptr : writer.audio != nullptr;
  return !exists || !(isVideo ? writer.compressVideo : writer.compressAudio) || hasCompressor(isVideo);
}

/// Sets a code unless the stream can have a compressor, and has none yet.
bool VfWOutputAVIFile::State::requireUnset(bool isVideo) {
  return writer.requireUnsetCompressor(isVideo, hasCompressor(isVideo));
}

/// Sets a code unless the file has something to interleave.
bool VfWOutputAVIFile::State::requireBothStreams() const {
  const bool hasBoth = writer.video != nullptr && writer.audio != nullptr;
  if (!hasBoth) {
    writer.lastError = vfw_error::notInterleaved;
  }
  return hasBoth;
}

/// Sets a code unless start() has succeeded.
bool VfWOutputAVIFile::State::requireStarted() const {
  if (!isStarted) {
    writer.lastError = vfw_error::notFullyConfigured;
  }
  return isStarted;
}

int VfWOutputAVIFile::State::startVideo() {
  if (writer.video == nullptr) {
    return vfw_error::success;
  }
  compressedVideoStream.reset();
  PAVISTREAM stream = videoStream.get();
  auto* const format = const_cast<BITMAPINFOHEADER*>(&writer.video->bmiHeader);
  auto formatSize = static_cast<LONG>(quillet::formatSize(*format));
  if (writer.compressVideo) {
    PAVISTREAM compressed = nullptr;
    if (AVIMakeCompressedStream(&compressed, stream, &videoCompression.options(), nullptr) != 0) {
      videoCompression.reset();
      return vfw_error::cannotSetCompressor;
    }
    compressedVideoStream.reset(compressed);
    stream = compressed;
    // Kept for clients (see CONTRIBUTING.md), which need have nothing behind the header: to a compressor it means
    // nothing.
    formatSize = sizeof(BITMAPINFOHEADER);
  }
  return AVIStreamSetFormat(stream, 0, format, formatSize) == 0 ? vfw_error::success : vfw_error::cannotSetFormat;
}

int VfWOutputAVIFile::State::startAudio() {
  if (writer.audio == nullptr) {
    return vfw_error::success;
  }
  const WAVEFORMATEX& format = writer.compressAudio ? audioCompression.format() : *writer.audio;
  if (AVIStreamSetFormat(audioStream.get(), 0, const_cast<WAVEFORMATEX*>(&format),
                         static_cast<LONG>(quillet::formatSize(format))) != 0) {
    return vfw_error::cannotSetFormat;
  }
  updateBufferSamples();
  return writer.compressAudio
             ? audioCompression.start(static_cast<long long>(writer.bufferSamples) * writer.audio->nBlockAlign)
             : vfw_error::success;
}

/// Makes the audio buffer hold an interleaving period.
void VfWOutputAVIFile::State::updateBufferSamples() const {
  writer.bufferSamples = quillet::samplesInPeriod(writer.interleavingPeriod(), writer.audio->nSamplesPerSec);
}

/// Writes the blocks that the compressor made last.
bool VfWOutputAVIFile::State::writeConverted(bool keyFrame) {
  const auto blocks = static_cast<long>(audioCompression.outputBlocks());
  auto bytes = static_cast<long>(audioCompression.outputSize());
  if (!quillet::admit(writer, audioCompression.nextBlock, audioCompression.output(), blocks, bytes,
                      audioCompression.format().nBlockAlign)) {
    return false;  // There have been more blocks than a stream can number.
  }
  const bool isWritten = write(audioStream.get(), audioCompression.nextBlock, audioCompression.output(), blocks, bytes,
                               keyFrame, writer.nextSample);
  audioCompression.nextBlock += blocks;
  return isWritten;
}

/// Writes into one stream of the file, in as many pieces as AVIFile takes; a failure leaves those written before.
/// @param start number of the first frame or sample.
/// @param keyFrame whether the first one is a key frame; only the first piece is marked.
/// @param next receives the number that follows those written.
/// @return false with vfw_error::notFullyConfigured or writeError; `next` is left alone then.
bool VfWOutputAVIFile::State::write(PAVISTREAM stream, long start, unsigned char* data, long samples, long bytes,
                                    bool keyFrame, long& next) {
  if (!writer.canRun()) {
    writer.lastError = vfw_error::notFullyConfigured;
    return false;
  }
  const bool isVideo = stream != audioStream.get();
  const bool isCompressed = stream == compressedVideoStream.get();
  const long end = start + samples;
  // Ends: every piece has at least one of the samples.
  do {
    LONG writtenSamples = 0;
    LONG writtenBytes = 0;
    // No compressor makes twice of a frame: what it cannot make smaller it stores as it is.
    const bool hasRoom = size.admits({isVideo, start, samples, isCompressed ? 2LL * bytes : bytes});
    if (!hasRoom ||
        AVIStreamWrite(stream, start, samples, data, bytes, keyFrame ? AVIIF_KEYFRAME : 0, &writtenSamples,
                       &writtenBytes) != 0 ||
        (writtenSamples <= 0 && samples != 0)) {
      writer.lastError = vfw_error::writeError;
      return false;
    }
    // For compressed frames the two numbers have been seen in exchanged places: the size is the larger one.
    const LONG compressedBytes = std::max(writtenSamples, writtenBytes);
    // No stream has written more than it was given, whatever it says.
    writtenSamples = std::min(writtenSamples, samples);
    writtenBytes = std::clamp(writtenBytes, 0L, std::max(bytes, 0L));
    size.add({isVideo, start, writtenSamples, isCompressed ? compressedBytes : writtenBytes});
    start += writtenSamples;
    samples -= writtenSamples;
    data += writtenBytes;
    bytes -= writtenBytes;
    keyFrame = false;
  } while (start < end);
  next = start;
  writer.lastError = vfw_error::success;
  return true;
}

bool VfWOutputAVIFile::canSetCompressor(bool isVideo) {
  const bool canSet = requireOpened() && state->requireUnset(isVideo);
  lastError = vfw_error::success;  // Kept for clients (see CONTRIBUTING.md): also while the file is not open.
  return canSet;
}

bool VfWOutputAVIFile::setCompressor(bool isVideo, void* compressor) {
  if (!requireOpened() || !state->requireUnset(isVideo)) {
    return false;
  }
  const auto* const options = static_cast<const AVICOMPRESSOPTIONS*>(compressor);
  lastError = vfw_error::success;
  if (options == nullptr) {
    (isVideo ? compressVideo : compressAudio) = false;
  } else if (isVideo) {
    state->videoCompression.set(*options);
  } else {
    lastError = state->audioCompression.set(*options, *audio);
  }
  return lastError == vfw_error::success;
}

bool VfWOutputAVIFile::isCompressorSet(bool isVideo) {
  return quillet::beginOperation(*this) && state->hasCompressor(isVideo);
}

bool VfWOutputAVIFile::chooseCompressor(void* parentWindow, bool isVideo) {
  // Asked before the dialog, not only by setCompressor: the user is not to choose in vain.
  if (!requireOpened() || !state->requireUnset(isVideo)) {
    return false;
  }
  auto* const parent = static_cast<HWND>(parentWindow);
  lastError = quillet::guarded([&] {
    return isVideo ? state->videoCompression.choose(parent, state->videoStream.get())
                   : state->audioCompression.choose(parent, *audio);
  });
  if (lastError != vfw_error::success) {
    return false;
  }
  return setCompressor(isVideo, isVideo ? &state->videoCompression.options() : &state->audioCompression.options());
}

void VfWOutputAVIFile::configureCompressor(void* parentWindow, bool isVideo) {
  lastError = vfw_error::success;
  if (!isVideo || !requireOpened()) {
    return;
  }
  if (!state->videoCompression.isSet()) {
    lastError = output_error::noCompressorSelected;
    return;
  }
  lastError = quillet::guarded([&] { return state->videoCompression.configure(static_cast<HWND>(parentWindow)); });
}

bool VfWOutputAVIFile::canRun() {
  return requireOpened() && state->canRun(true) && state->canRun(false);
}

bool VfWOutputAVIFile::start() {
  if (!requireOpened()) {
    return false;
  }
  state->isStarted = false;
  if (!canRun()) {
    lastError = vfw_error::notFullyConfigured;
    return false;
  }
  lastError = quillet::guarded([this] {
    if (const int error = state->startVideo()) {
      return error;
    }
    return state->startAudio();
  });
  if (lastError != vfw_error::success) {
    return false;
  }
  state->isStarted = true;
  nextFrame = 0;
  nextSample = 0;
  return true;
}

bool VfWOutputAVIFile::close() {
  if (!requireOpened()) {
    return false;
  }
  const bool hasEnd = !state->audioCompression.finish() || state->writeConverted(false);
  state->audioCompression.close();
  state->compressedVideoStream.reset();
  state->audioStream.reset();
  state->videoStream.reset();
  state->file.reset();
  notOpened = true;
  const bool isComplete = hasEnd && state->hasArrived();
  lastError = isComplete ? vfw_error::success : vfw_error::writeError;
  return isComplete;
}

bool VfWOutputAVIFile::isAutomaticallyInterleaved() {
  return false;
}

bool VfWOutputAVIFile::setAutomaticInterleaving(bool) {
  return false;
}

long long VfWOutputAVIFile::interleavingPeriod() {
  const bool isRunnable = canRun();
  lastError = vfw_error::success;
  if (isRunnable && video != nullptr && audio != nullptr && compressAudio && state->isInterleavedByOptions() &&
      state->audioCompression.options().dwInterleaveEvery != 0) {
    return state->audioCompression.options().dwInterleaveEvery * video->AvgTimePerFrame;
  }
  return state ? state->period : defaultPeriod;
}

void VfWOutputAVIFile::configureAVI(void* parentWindow) {
  if (!requireOpened() || !state->requireBothStreams()) {
    return;
  }
  long long period = interleavingPeriod();
  const INT_PTR result = quillet::showInterleavingPeriodDialog(static_cast<HWND>(parentWindow), period);
  if (result == IDOK) {
    setInterleavingPeriod(period);
  } else {
    lastError = quillet::codeOf(result, vfw_error::success, vfw_error::cannotDisplayDialog);
  }
}

bool VfWOutputAVIFile::setInterleavingPeriod(long long period) {
  if (!requireOpened() || !state->requireBothStreams()) {
    return false;
  }
  period = std::max(period, video->AvgTimePerFrame);
  if (canRun() && compressAudio && state->isInterleavedByOptions()) {
    state->audioCompression.options().dwInterleaveEvery =
        static_cast<DWORD>(std::min<long long>(period / video->AvgTimePerFrame, std::numeric_limits<DWORD>::max()));
  } else {
    state->period = period;
  }
  state->updateBufferSamples();
  lastError = vfw_error::success;
  return true;
}

bool VfWOutputAVIFile::writeFrame(long frame, unsigned char* data, long frames, long bytes, bool keyFrame) {
  if (!requireStream(true) || !state->requireStarted()) {
    return false;
  }
  const BITMAPINFOHEADER& format = video->bmiHeader;
  const std::int64_t frameSize =
      format.biCompression != BI_RGB ? std::int64_t{format.biSizeImage} : quillet::uncompressedFrameSize(format);
  if (!quillet::admit(*this, frame, data, frames, bytes, frameSize)) {
    return false;
  }
  PAVISTREAM stream = state->compressedVideoStream ? state->compressedVideoStream.get() : state->videoStream.get();
  return state->write(stream, frame, data, frames, bytes, keyFrame, nextFrame);
}

bool VfWOutputAVIFile::writeSample(long sample, unsigned char* data, long samples, long bytes, bool keyFrame) {
  if (!requireStream(false) || !state->requireStarted()) {
    return false;
  }
  if (!quillet::admit(*this, sample, data, samples, bytes, audio->nBlockAlign)) {
    return false;
  }
  if (!compressAudio) {
    return state->write(state->audioStream.get(), sample, data, samples, bytes, keyFrame, nextSample);
  }
  lastError = state->audioCompression.convert(data, static_cast<DWORD>(bytes));
  if (lastError != vfw_error::success) {
    return false;
  }
  return state->audioCompression.outputSize() == 0 || state->writeConverted(keyFrame);
}
