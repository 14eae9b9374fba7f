// The interface in C against the classes, on the shortest of usual operations. The same streams are read through both, and
// many of them, since what a run costs depends on where a stream's buffers lie more than on how it is called.

#include <cstdlib>
#include <vector>

#include <quillet/quillet_c.h>

#include "c_interface/objects.h"
#include "comparison.h"
#include "support/avi_builder.h"

namespace {

constexpr int rounds = 201;
constexpr int streamCount = 20;
constexpr long runLength = 1024;
constexpr long runCount = 100;

struct Stream {
  quillet_stream* handle;
  AudioSourceStream* object;
};

unsigned long sumOfRuns(const std::vector<Stream>& streams, auto readRun) {
  unsigned long checksum = 0;
  for (const Stream& stream : streams) {
    for (long run = 0; run < runCount; ++run) {
      const auto* const samples = static_cast<const unsigned char*>(readRun(stream, run * runLength));
      quillet::bench::require(samples != nullptr, "reading a run");
      checksum += samples[0];
    }
  }
  return checksum;
}

}  // namespace

int main() {
  using namespace quillet::test;
  const WAVEFORMATEX format = pcmFormat(44100, 2, 16);
  const TempFile file(".wav", wavFile(bytesOf(format), Bytes(std::size_t{runLength} * runCount * format.nBlockAlign)));
  std::vector<Stream> streams;
  for (int i = 0; i < streamCount; ++i) {
    quillet_stream* const handle =
        quillet_stream_open(file.name(), QUILLET_AUDIO, QUILLET_VIDEO_FOR_WINDOWS, 0, nullptr, nullptr);
    quillet::bench::require(quillet_is_open(handle) != 0, "quillet_stream_open");
    streams.push_back({handle, static_cast<quillet::HandledStream*>(quillet::findHandle(handle))->audio});
  }

  unsigned long checksum = 0;
  const bool isCheap = quillet::bench::compare(
      "2000 runs of 1024 PCM samples through the interface in C, against the class", rounds, 1.02,
      [&] {
        checksum += sumOfRuns(streams, [](const Stream& stream, long first) {
          return quillet_audio_samples(stream.handle, first, runLength);
        });
      },
      [&] {
        checksum += sumOfRuns(streams, [](const Stream& stream, long first) {
          return stream.object->getSamples(first, first + runLength - 1);
        });
      });
  for (const Stream& stream : streams) {
    quillet_stream_close(stream.handle);
  }
  std::printf("(checksum %lu)\n", checksum);
  return isCheap ? EXIT_SUCCESS : EXIT_FAILURE;
}
