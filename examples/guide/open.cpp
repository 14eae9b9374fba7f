// open FILE: tells what a media file holds.

#include <quillet/quillet.h>

#include <cstdio>
#include <memory>

namespace {

// A factory gives an object also when it could not open the file: its code says why.
bool isOpen(AudioOrVideoStream* stream, const char* kind) {
  if (stream != nullptr && !stream->lastErrorIsFatal()) {
    return true;
  }
  std::printf("%s: %s\n", kind, stream != nullptr ? stream->ErrorMessage(stream->lastError) : "not enough memory");
  return false;
}

const char* backendOf(AudioOrVideoStream& stream) {
  return stream.usesDirectShow() ? "DirectShow" : "Video for Windows";
}

}  // namespace

int wmain(int argc, wchar_t* argv[]) {
  if (argc != 2) {
    std::puts("usage: open FILE");
    return 2;
  }
  QuilletThread();  // Once on each thread that uses the library.

  // Stream 0 of each kind, of Video for Windows or, where that cannot open it, of DirectShow.
  const std::unique_ptr<VideoSourceStream> video(VideoSourceStream::open(argv[1], 0, nullptr));
  if (isOpen(video.get(), "video")) {
    const BITMAPINFOHEADER& format = *video->format();
    std::printf("video: %ld x %ld, %ld frames, %g frames/s, %.0f ms, %s\n", format.biWidth, format.biHeight,
                video->duration(), video->frameRate(), video->msDuration(), backendOf(*video));
  }
  const std::unique_ptr<AudioSourceStream> audio(AudioSourceStream::open(argv[1], 0, nullptr));
  if (isOpen(audio.get(), "audio")) {
    const WAVEFORMATEX& format = *audio->format();
    std::printf("audio: %d channels, %d bits, %ld samples, %lu samples/s, %.0f ms, %s\n", format.nChannels,
                format.wBitsPerSample, audio->duration(), format.nSamplesPerSec, audio->msDuration(),
                backendOf(*audio));
  }
  return 0;
}
