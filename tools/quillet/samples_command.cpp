// quillet samples: a run of audio samples as a WAV file.

#include <algorithm>
#include <cstdio>
#include <string>

#include "command_line.h"
#include "interruption.h"
#include "progress_line.h"
#include "shared/failure.h"
#include "shared/library_stream.h"
#include "shared/text.h"
#include "stream_access.h"
#include "wave_file.h"

namespace quillet::client {
namespace {

constexpr Argument arguments[] = {
    fileArgument, {"FIRST", "number of the first sample, from 0"}, {"LAST", "number of the last sample, written too"}};
constexpr Option outputOption = {"--output", "WAV", "file to write", "-o", true};
constexpr Option options[] = {outputOption, streamOption, backendOption};

constexpr long samplesPerChunk = 65536;

void copySamples(AudioSourceStream& stream, long first, long last, long sampleSize, WaveFile& output) {
  ProgressLine progress("Writing samples");
  FirstWarning warning;
  for (long next = first; next <= last;) {
    throwIfInterrupted();
    const long count = std::min(samplesPerChunk, last - next + 1);
    const unsigned char* const samples = decodedSamples(stream, next, next + count - 1);
    warning.look(stream);
    output.write(samples, count * sampleSize);
    next += count;
    progress.show(next - first, last - first + 1LL, "samples");
  }
}

void run(const CommandLine& line) {
  const long first = line.number("FIRST");
  const long last = line.number("LAST");
  if (last < first) {
    throw wrongUsage("LAST is less than FIRST");
  }
  MediaFile file(line);
  const std::filesystem::path output = line.text(outputOption.name);

  const auto stream = file.open<AudioSourceStream>(line);
  const WAVEFORMATEX format = *stream->format();
  if (first < 0 || last >= stream->duration()) {
    decodedSamples(*stream, first, last);  // The library's own refusal, before a file is touched.
  }
  const long long size = (last - first + 1LL) * format.nBlockAlign;
  WaveFile wave(output, format, size);
  copySamples(*stream, first, last, format.nBlockAlign, wave);
  wave.finish();
  std::printf("%s: samples %ld to %ld\n", displayName(output).c_str(), first, last);
}

}  // namespace

const Command samplesCommand = {"samples", "Write a run of audio samples as a WAV file", arguments, options, run};

}  // namespace quillet::client
