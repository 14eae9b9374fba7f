// compress FILE COPY CODEC: writes a file anew, its frames compressed by a codec of Video for Windows, its sound by mu-law.

#include <quillet/quillet.h>

#include <vfw.h>

#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <memory>

namespace {

bool isOpen(AudioOrVideoStream* object) {
  return object != nullptr && !object->lastErrorIsFatal();
}

int fail(const char* what, AudioOrVideoStream* object) {
  std::printf("%s: %s\n", what, object != nullptr ? object->ErrorMessage(object->lastError) : "not enough memory");
  return 1;
}

// "cvid" and the like; shorter names are filled up with spaces.
FOURCC codecOf(const wchar_t* name) {
  char letters[] = {' ', ' ', ' ', ' '};
  std::copy_n(name, std::min<std::size_t>(std::wcslen(name), 4), letters);
  return mmioFOURCC(letters[0], letters[1], letters[2], letters[3]);
}

// The number of the sample that is heard when a frame begins to be seen.
long sampleAt(long frame, double framesPerSecond, AudioSourceStream& audio) {
  return static_cast<long>(frame * (audio.format()->nSamplesPerSec / framesPerSecond));
}

bool copySound(AudioSourceStream& audio, OutputAVIFile& file, long first, long end) {
  end = std::min(end, audio.duration());
  if (first >= end) {
    return true;
  }
  unsigned char* const samples = audio.getSamples(first, end - 1);
  return samples != nullptr && file.bufferedWriteSample(first, samples, end - first, -1, true);
}

}  // namespace

int wmain(int argc, wchar_t* argv[]) {
  if (argc != 4) {
    std::puts("usage: compress FILE COPY.avi CODEC");
    return 2;
  }
  QuilletThread();
  const std::unique_ptr<VideoSourceStream> video(VideoSourceStream::open(argv[1], 0, nullptr));
  const std::unique_ptr<AudioSourceStream> audio(AudioSourceStream::open(argv[1], 0, nullptr));
  VIDEOINFOHEADER format = {};
  if (!isOpen(video.get()) || video->videoInfo(format) == nullptr) {
    return fail("video", video.get());
  }
  if (!isOpen(audio.get())) {
    return fail("audio", audio.get());
  }

  // What a compressor is depends on the backend: this one is of Video for Windows.
  const WAVEFORMATEX sound = *audio->format();
  const std::unique_ptr<OutputAVIFile> file(OutputAVIFile::create(argv[2], &format, true, &sound, true, false));
  if (!isOpen(file.get())) {
    return fail("file", file.get());
  }
  AVICOMPRESSOPTIONS codec = {};
  codec.fccType = streamtypeVIDEO;
  codec.fccHandler = codecOf(argv[3]);
  codec.dwQuality = static_cast<DWORD>(ICQUALITY_DEFAULT);
  const DWORD bytesPerSecond = sound.nSamplesPerSec * sound.nChannels;  // A byte for each value.
  WAVEFORMATEX muLaw = {
      WAVE_FORMAT_MULAW, sound.nChannels, sound.nSamplesPerSec, bytesPerSecond, sound.nChannels, 8, 0};
  AVICOMPRESSOPTIONS conversion = {};
  conversion.fccType = streamtypeAUDIO;
  conversion.lpFormat = &muLaw;  // Not copied.
  conversion.cbFormat = sizeof muLaw;
  if (!file->setCompressor(true, &codec) || !file->setCompressor(false, &conversion) || !file->start()) {
    return fail("compressors", file.get());  // Also when the system has no such codec, or it does not take the frames.
  }

  const double rate = video->frameRate();
  for (long number = 0; number < video->duration(); ++number) {
    long frame = number;
    unsigned char* const bits = video->getFrameBits(frame);
    if (bits == nullptr) {
      return fail("video", video.get());
    }
    if (!file->writeFrame(number, bits, 1, -1, false) ||  // Where key frames are is the codec's to say.
        !copySound(*audio, *file, sampleAt(number, rate, *audio), sampleAt(number + 1, rate, *audio))) {
      return fail("writing", file.get());
    }
  }
  if (!file->flushAudio() || !file->close()) {
    return fail("closing", file.get());
  }
  std::printf("%ld frames\n", video->duration());
  return 0;
}
