// audio FILE: prints how loud each second of a sound is.

#include <quillet/quillet.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

int wmain(int argc, wchar_t* argv[]) {
  if (argc != 2) {
    std::puts("usage: audio FILE");
    return 2;
  }
  QuilletThread();
  const std::unique_ptr<AudioSourceStream> audio(AudioSourceStream::open(argv[1], 0, nullptr));
  if (audio == nullptr || audio->lastErrorIsFatal()) {
    std::puts(audio != nullptr ? audio->ErrorMessage(audio->lastError) : "not enough memory");
    return 1;
  }
  const WAVEFORMATEX& format = *audio->format();
  if (format.wBitsPerSample != 16) {
    std::puts("this program knows samples of 16 bits only");
    return 1;
  }

  // A sample has a value for each channel. Runs that follow one another cost no seek.
  const long length = audio->duration();
  const auto second = static_cast<long>(format.nSamplesPerSec);
  for (long first = 0; first < length; first += second) {
    const long last = std::min(first + second, length) - 1;  // Both ends belong to the run.
    const auto* const values = reinterpret_cast<const short*>(audio->getSamples(first, last));
    if (values == nullptr) {
      std::printf("samples %ld to %ld: %s\n", first, last, audio->ErrorMessage(audio->lastError));
      return 1;
    }
    int peak = 0;
    std::for_each(values, values + (last - first + 1) * format.nChannels,
                  [&](int value) { peak = std::max(peak, std::abs(value)); });
    std::printf("%ld to %ld: %d %%\n", first, last, peak * 100 / 32768);
  }
  return 0;
}
