// write FILE: makes an AVI file of two seconds, with a picture that fades in and a tone.

#include <quillet/quillet.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

constexpr long seconds = 2, framesPerSecond = 25, samplesPerSecond = 8000, width = 64, height = 48;
constexpr long long second = 10'000'000;  // In units of 100 ns.

VIDEOINFOHEADER videoFormat() {
  VIDEOINFOHEADER format = {};
  format.bmiHeader = {sizeof(BITMAPINFOHEADER), width, height, 1, 24, BI_RGB, width * 3 * height, 0, 0, 0, 0};
  format.AvgTimePerFrame = second / framesPerSecond;
  return format;
}

bool writeAll(OutputAVIFile& file) {
  // The file's buffer gathers the sound of a period, and writes it at once.
  file.setInterleavingPeriod(seconds * second);
  if (!file.start()) {
    return false;
  }
  std::vector<unsigned char> picture(width * 3 * height);
  std::vector<short> tone(samplesPerSecond / framesPerSecond);
  const auto count = static_cast<long>(tone.size());
  for (long frame = 0; frame < seconds * framesPerSecond; ++frame) {
    std::fill(picture.begin(), picture.end(), static_cast<unsigned char>(frame * 5));
    for (long i = 0; i < count; ++i) {
      tone[i] = static_cast<short>(10'000 * std::sin((frame * count + i) * 0.3456));  // 440 Hz.
    }
    if (!file.writeFrame(frame, picture.data(), 1, -1, true) ||
        !file.bufferedWriteSample(frame * count, reinterpret_cast<unsigned char*>(tone.data()), count, -1, true)) {
      return false;
    }
  }
  return file.flushAudio() && file.close();  // close() does not write what is still in the buffer.
}

}  // namespace

int wmain(int argc, wchar_t* argv[]) {
  if (argc != 2) {
    std::puts("usage: write FILE.avi");
    return 2;
  }
  QuilletThread();
  // Both formats outlive the file, which keeps no copies.
  const VIDEOINFOHEADER video = videoFormat();
  const WAVEFORMATEX audio = {WAVE_FORMAT_PCM, 1, samplesPerSecond, samplesPerSecond * 2, 2, 16, 0};
  const std::unique_ptr<OutputAVIFile> file(OutputAVIFile::create(argv[1], &video, false, &audio, false));
  if (file == nullptr || file->lastErrorIsFatal() || !writeAll(*file)) {
    std::puts(file != nullptr ? file->ErrorMessage(file->lastError) : "not enough memory");
    return 1;
  }
  std::printf("%ld frames, %ld samples\n", seconds * framesPerSecond, seconds * samplesPerSecond);
  return 0;
}
