#include <array>
#include <atomic>
#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <windows.h>

#include <quillet/quillet.h>

#include "bare_avifile.h"
#include "bare_graph.h"
#include "soak/soak.h"
#include "support/temp_file.h"

namespace quillet::bench {
namespace {

using namespace test;

constexpr long runLength = 2000;  // Of samples, which are read a run at a time.
constexpr DWORD hangLimitMs = 120'000;

/// Something that reads pieces by number: a frame, or a run of samples.
struct Reader {
  virtual ~Reader() = default;
  virtual long pieces() const = 0;
  virtual Bytes read(long piece) = 0;
};

class LibraryReader : public Reader {
 public:
  LibraryReader(const std::string& file, bool isVideo, bool directShow)
      : stream(SourceStream::open(file.c_str(), isVideo, directShow, 0, nullptr)) {
    require(stream != nullptr && !stream->lastErrorIsFatal(), "open");
  }

  long pieces() const override {
    return dynamic_cast<VideoSourceStream*>(stream.get()) != nullptr ? stream->duration()
                                                                     : stream->duration() / runLength;
  }

  Bytes read(long piece) override {
    const unsigned char* data = nullptr;
    std::size_t size = 0;
    if (auto* const video = dynamic_cast<VideoSourceStream*>(stream.get())) {
      size = video->format()->biSizeImage;
      data = video->getFrameBits(piece);
    } else {
      auto& audio = dynamic_cast<AudioSourceStream&>(*stream);
      size = std::size_t{runLength} * audio.format()->nBlockAlign;
      data = audio.getSamples(piece * runLength, (piece + 1) * runLength - 1);
    }
    return data != nullptr ? Bytes(data, data + size) : Bytes();
  }

 private:
  const std::unique_ptr<SourceStream> stream;
};

/// AVIFile, which decodes audio through a stream that is made of the file's.
class BareFileReader : public Reader {
 public:
  BareFileReader(const std::string& file, bool isVideo)
      : stream(openBareStream(file.c_str(), isVideo ? streamtypeVIDEO : streamtypeAUDIO)) {
    if (isVideo) {
      getFrame.reset(AVIStreamGetFrameOpen(stream.get(), nullptr));
      require(getFrame != nullptr, "AVIStreamGetFrameOpen");
      return;
    }
    WAVEFORMATEX format = {};
    LONG formatSize = sizeof format;
    AVIStreamReadFormat(stream.get(), 0, &format, &formatSize);
    if (format.wFormatTag == WAVE_FORMAT_PCM) {
      return;
    }
    WAVEFORMATEX pcm = {WAVE_FORMAT_PCM, 2, 44100, 176400, 4, 16, 0};
    AVICOMPRESSOPTIONS options = {};
    options.fccType = streamtypeAUDIO;
    options.lpFormat = &pcm;
    options.cbFormat = sizeof pcm;
    PAVISTREAM decoded = nullptr;
    require(AVIMakeCompressedStream(&decoded, stream.get(), &options, nullptr) == 0, "AVIMakeCompressedStream");
    stream.reset(decoded);
  }

  long pieces() const override {
    return getFrame ? AVIStreamLength(stream.get()) : AVIStreamLength(stream.get()) / runLength;
  }

  Bytes read(long piece) override {
    if (getFrame) {
      const auto* const dib = static_cast<const BITMAPINFOHEADER*>(AVIStreamGetFrame(getFrame.get(), piece));
      require(dib != nullptr, "AVIStreamGetFrame");
      const auto* const bits = reinterpret_cast<const std::uint8_t*>(dib) + dib->biSize;
      return Bytes(bits, bits + dib->biSizeImage);
    }
    Bytes samples(runLength * 4);
    AVIStreamRead(stream.get(), piece * runLength, runLength, samples.data(), static_cast<LONG>(samples.size()),
                  nullptr, nullptr);
    return samples;
  }

 private:
  AviStreamHandle stream;
  AviGetFrameHandle getFrame;
};

/// A graph, which delivers a frame of a position.
class BareGraphReader : public Reader {
 public:
  explicit BareGraphReader(const std::string& file) : graph(file, 64 * 48 * 3) {}
  long pieces() const override { return 100; }
  Bytes read(long piece) override {
    graph.fetch(piece * 100'000);
    return {};  // Which frame came is not the question.
  }

 private:
  BareGraph graph;
};

struct Source {
  std::string file;
  bool isVideo;
  std::vector<Bytes> expected;
};

/// What the threads of a schedule share.
struct Schedule {
  bool directShow, bare;
  std::vector<Source> sources;
  ULONGLONG end;
  std::atomic<long> reads = 0;
  std::atomic<long> wrong = 0;

  std::unique_ptr<Reader> open(const Source& source) const {
    if (!bare) {
      return std::make_unique<LibraryReader>(source.file, source.isVideo, directShow);
    }
    return directShow ? std::unique_ptr<Reader>(std::make_unique<BareGraphReader>(source.file))
                      : std::make_unique<BareFileReader>(source.file, source.isVideo);
  }
};

struct Worker {
  Schedule& schedule;
  unsigned seed;

  static DWORD WINAPI run(void* self) {
    auto& [schedule, seed] = *static_cast<Worker*>(self);
    QuilletThread();
    std::mt19937 random(seed);
    while (GetTickCount64() < schedule.end) {
      const Source& source = schedule.sources[random() % schedule.sources.size()];
      const std::unique_ptr<Reader> reader = schedule.open(source);
      for (unsigned reads = random() % 50; reads > 0; --reads, ++schedule.reads) {
        const std::size_t piece = random() % source.expected.size();
        const Bytes data = reader->read(static_cast<long>(piece));
        // AVIFile's own decoding of audio does not seek to the sample.
        const bool isWrong = data != source.expected[piece] && (source.isVideo || !schedule.bare);
        if (isWrong && ++schedule.wrong <= 5) {
          std::printf("wrong: piece %u of %s, seed %u\n", static_cast<unsigned>(piece), source.file.c_str(), seed);
        }
      }
    }
    return 0;
  }
};

}  // namespace

bool readsRightOnThreads(const std::string& what, bool bare, unsigned threads, unsigned seconds, unsigned seed) {
  using File = std::pair<const char*, bool>;
  const std::map<std::string, std::array<File, 2>> files = {
      {"vfw", {File("copy.avi", true), File("copy.avi", false)}},
      {"codecs", {File("cinepak.avi", true), File("ima_44100_stereo.wav", false)}},
      {"ds", {File("ds_raw.avi", true), File("ds_mjpeg.avi", true)}}};
  Schedule schedule = {what == "ds", bare, {}, GetTickCount64() + seconds * 1000ULL};
  for (const auto& [name, isVideo] : files.at(what)) {
    Source source = {mediaFile(name), isVideo, {}};
    const std::unique_ptr<Reader> reader = schedule.open(source);
    for (long piece = 0; piece < reader->pieces(); ++piece) {
      source.expected.push_back(reader->read(piece));
    }
    require(!source.expected.empty(), "reading for reference");
    schedule.sources.push_back(std::move(source));
  }

  std::vector<std::unique_ptr<Worker>> workers;
  std::vector<KernelHandle> handles;
  for (unsigned i = 0; i < threads; ++i) {
    workers.push_back(std::make_unique<Worker>(schedule, seed + i));
    handles.emplace_back(CreateThread(nullptr, 0, Worker::run, workers.back().get(), 0, nullptr));
  }
  for (const KernelHandle& handle : handles) {
    // Ends: after the time of the schedule and that of a hang.
    require(WaitForSingleObject(handle.get(), seconds * 1000 + hangLimitMs) == WAIT_OBJECT_0, "a thread's end");
  }
  std::printf("%s %s, %u threads: %ld reads, %ld wrong\n", what.c_str(), bare ? "bare" : "library", threads,
              schedule.reads.load(), schedule.wrong.load());
  return schedule.wrong == 0;
}

}  // namespace quillet::bench
