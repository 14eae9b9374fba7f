// The interface in C: what the C++ classes do, through handles, and what becomes of handles that are none.

#include <cstring>

#include <quillet/quillet_c.h>

#include "support/ds_writing.h"
#include "support/leak_check.h"
#include "support/test_codec.h"
#include "support/wine_gaps.h"

using namespace quillet::test;

namespace {

using CStream = std::unique_ptr<quillet_stream, decltype(&quillet_stream_close)>;
using CFile = std::unique_ptr<quillet_file, decltype(&quillet_file_close)>;
using CEngine = std::unique_ptr<quillet_engine, decltype(&quillet_engine_close)>;

void* const noWindow = reinterpret_cast<void*>(4);

CStream openStream(const std::string& name, int kind, int backend, quillet_progress progress = nullptr,
                   void* user = nullptr) {
  return CStream(quillet_stream_open(name.c_str(), kind, backend, 0, progress, user), quillet_stream_close);
}

// Pictures of 8 x 4 pixels with 24 bits, 25 a second, and 16-bit mono PCM.
constexpr quillet_video_format pictures = {8, 4, 0, 24, 0, 0, 0, 400'000, 0, nullptr, 0};
constexpr quillet_audio_format sound = {1, 1, 8000, 16, 0, 0, nullptr, 0};

CFile create(const TempFile& file, int backend, const quillet_video_format* video, const quillet_audio_format* audio,
             bool compress = false) {
  return CFile(quillet_file_open(file.name(), backend, video, compress, audio, compress), quillet_file_close);
}

bool has(const void* handle, int code, const char* text) {
  return quillet_error(handle) == code && std::strcmp(quillet_error_text(handle), text) == 0;
}

/// A picture of 24-bit BGR without padding in other pixels, whose red stands at `red`, and perhaps the other way up.
/// @param gap bytes of 1 behind each row.
Bytes converted(const Bytes& bits, int width, bool isTurned, int size, int red, int gap = 0) {
  Bytes result;
  const int rows = static_cast<int>(bits.size()) / (width * 3);
  for (int row = 0; row < rows; ++row) {
    const uint8_t* pixel = &bits[(isTurned ? rows - 1 - row : row) * width * 3];
    for (int x = 0; x < width; ++x, pixel += 3) {
      result.insert(result.end(), {pixel[2 - red], pixel[1], pixel[red]});
      result.resize(result.size() + size - 3, 255);
    }
    result.resize(result.size() + gap, 1);
  }
  return result;
}

struct EitherBackend : testing::TestWithParam<int> {
  const std::string name = mediaFile("copy.avi");
  const bool directShow = GetParam() == QUILLET_DIRECTSHOW;
};
INSTANTIATE_TEST_SUITE_P(, EitherBackend, testing::Values(QUILLET_VIDEO_FOR_WINDOWS, QUILLET_DIRECTSHOW));

TEST_P(EitherBackend, ReadsVideoAsTheClassesDo) {
  const std::unique_ptr<VideoSourceStream> expected(VideoSourceStream::open(name.c_str(), directShow, 0, nullptr));
  const CStream video = openStream(name, QUILLET_VIDEO, GetParam());
  ASSERT_TRUE(quillet_is_open(video.get())) << quillet_error_text(video.get());
  EXPECT_EQ(std::pair(quillet_stream_kind(video.get()), quillet_uses_directshow(video.get())),
            std::pair(int{QUILLET_VIDEO}, int{directShow}));
  EXPECT_EQ(std::tuple(quillet_stream_length(video.get()), quillet_stream_duration(video.get())),
            std::tuple(expected->duration(), expected->msDuration()));
  EXPECT_EQ(quillet_video_rate(video.get()), expected->frameRate());
  quillet_video_format format = {};
  ASSERT_TRUE(quillet_stream_video_format(video.get(), &format));
  EXPECT_EQ(format.frame_bytes, expected->format()->biSizeImage);
  EXPECT_EQ(format.top_down, expected->format()->biHeight < 0);
  EXPECT_EQ(format.frame_duration, 400'000);

  long asked = 42;
  const unsigned char* const bits = expected->getFrameBits(asked);
  const Bytes wanted(bits, bits + format.frame_bytes);
  int64_t number = 42;
  EXPECT_EQ(std::memcmp(quillet_video_frame(video.get(), &number), wanted.data(), wanted.size()), 0);
  EXPECT_EQ(quillet_video_find(video.get(), 42), 42);
  EXPECT_TRUE(quillet_video_set_frame_budget(video.get(), 0));
  double time = quillet_stream_time_of(video.get(), &number);
  EXPECT_EQ(time, 1680.0);
  EXPECT_EQ(quillet_stream_sample_at(video.get(), &time), 42);
  for (const int rows : {QUILLET_TOP_DOWN, QUILLET_BOTTOM_UP}) {
    for (const auto& [pixels, size, red] :
         {std::tuple(QUILLET_BGR24, 3, 2), {QUILLET_BGRA32, 4, 2}, {QUILLET_RGB24, 3, 0}, {QUILLET_RGBA32, 4, 0}}) {
      const int64_t stride = format.width * size + 5;
      Bytes buffer(stride * format.height, 1);
      const auto read = [&, pixels = pixels](int64_t step, std::size_t bytes) {
        return quillet_video_read(video.get(), &number, pixels, rows, buffer.data(), step, bytes);
      };
      EXPECT_FALSE(read(stride, buffer.size() - 6) || read(format.width * size - 1, buffer.size()));
      EXPECT_EQ(quillet_error(video.get()), QUILLET_ERROR_ARGUMENT);
      ASSERT_TRUE(read(stride, buffer.size() - 5)) << quillet_error_text(video.get());
      const bool isTurned = (rows == QUILLET_TOP_DOWN) != (format.top_down != 0);
      EXPECT_TRUE(buffer == converted(wanted, format.width, isTurned, size, red, 5)) << pixels << ", " << rows;
    }
  }
  number = int64_t{1} << 40;
  EXPECT_EQ(quillet_video_frame(video.get(), &number), nullptr);
  EXPECT_TRUE(has(video.get(), directShow ? 20 : 8, "Parameter out of range"));
  EXPECT_FALSE(quillet_error_is_fatal(video.get()));
  EXPECT_EQ(quillet_stream_tune(video.get(), 3, 2, 1), directShow);
  EXPECT_EQ(quillet_error(video.get()), directShow ? 0 : QUILLET_ERROR_KIND);
  EXPECT_FALSE(quillet_stream_configure(video.get(), noWindow));
  EXPECT_EQ(quillet_error(video.get()), directShow ? 49 : 29);
}

TEST_P(EitherBackend, ReadsSoundAsTheClassesDo) {
  const std::unique_ptr<AudioSourceStream> expected(AudioSourceStream::open(name.c_str(), directShow, 0, nullptr));
  const CStream audio = openStream(name, QUILLET_AUDIO, GetParam());
  const Bytes wanted = runOf(*expected, 1000, 1999);
  Bytes buffer(wanted.size());
  ASSERT_TRUE(quillet_audio_read(audio.get(), 1000, 1000, buffer.data(), buffer.size()));
  EXPECT_EQ(buffer, wanted);
  EXPECT_EQ(std::memcmp(quillet_audio_samples(audio.get(), 1000, 1000), wanted.data(), wanted.size()), 0);
  EXPECT_FALSE(quillet_audio_read(audio.get(), 1000, 1000, buffer.data(), buffer.size() - 1));
  EXPECT_EQ(quillet_error(audio.get()), QUILLET_ERROR_ARGUMENT);
  for (const int64_t count : {int64_t{0}, INT64_MIN, INT64_MAX}) {
    EXPECT_EQ(quillet_audio_samples(audio.get(), 1000, count), nullptr) << count;
    EXPECT_EQ(quillet_error(audio.get()), directShow ? 20 : 8) << count;
  }
  quillet_audio_format format = {};
  ASSERT_TRUE(quillet_stream_audio_format(audio.get(), &format));
  EXPECT_EQ(format.sample_rate, 22050);
  EXPECT_EQ(std::memcmp(format.header, expected->format(), format.header_bytes), 0);
  EXPECT_EQ(quillet_stream_tune(audio.get(), 3, 2, 1), directShow);
}

TEST_P(EitherBackend, ReadsRawSamplesAsTheClassesDo) {
  const std::unique_ptr<RawDataSourceStream> expected(
      RawDataSourceStream::open(name.c_str(), true, directShow, 0, nullptr));
  const CStream raw = openStream(name, QUILLET_RAW_VIDEO, GetParam());
  quillet_raw_sample sample = {};
  sample.number = 5;
  sample.key = 1;
  ASSERT_TRUE(quillet_raw_read(raw.get(), &sample)) << quillet_error_text(raw.get());
  long number = 5, count = 0, bytes = 0;
  bool key = true;
  const unsigned char* const data = expected->getData(number, count, bytes, key);
  EXPECT_EQ(std::tuple(sample.number, sample.count, sample.bytes, sample.key, sample.time),
            std::tuple(number, count, bytes, 1, -1.0));
  EXPECT_EQ(std::memcmp(sample.data, data, bytes), 0);
  EXPECT_EQ(quillet_raw_first_key(raw.get()), 0);
  EXPECT_TRUE(quillet_is_video_type(quillet_raw_media_type(raw.get())));
  EXPECT_FALSE(quillet_is_audio_type(quillet_raw_media_type(raw.get())));
  for (const double time : {0.0, 40.0}) {
    EXPECT_EQ(quillet_raw_next(raw.get(), &sample), directShow);
    EXPECT_EQ(sample.time, directShow ? time : -1.0);
  }
  EXPECT_EQ(quillet_error(raw.get()), directShow ? 0 : QUILLET_ERROR_KIND);
  EXPECT_EQ(quillet_stream_tune(raw.get(), 3, 2, 1), directShow);
  const CStream rawSound = openStream(name, QUILLET_RAW_AUDIO, GetParam());
  quillet_audio_format format = {};
  ASSERT_TRUE(quillet_stream_audio_format(rawSound.get(), &format));
  EXPECT_EQ(std::tuple(format.tag, format.sample_rate, format.header_bytes), std::tuple(1, 22050, 18));
}

TEST(Handles, OfNothingFail) {
  const std::string name = mediaFile("copy.avi");
  const CStream video = openStream(name, QUILLET_VIDEO, QUILLET_AUTOMATIC);
  int64_t frame = 0;
  quillet_stream* const closed = openStream(name, QUILLET_VIDEO, QUILLET_AUTOMATIC).get();
  for (auto* const handle : {static_cast<quillet_stream*>(nullptr), closed, reinterpret_cast<quillet_stream*>(&frame),
                             reinterpret_cast<quillet_stream*>(-1)}) {
    EXPECT_EQ(quillet_video_frame(handle, &frame), nullptr);
    EXPECT_TRUE(has(handle, QUILLET_ERROR_HANDLE, "No object has this handle"));
    EXPECT_TRUE(quillet_error_is_fatal(handle));
    EXPECT_FALSE(quillet_is_open(handle) || quillet_uses_directshow(handle) || quillet_stream_kind(handle));
    EXPECT_EQ(quillet_engine_open(reinterpret_cast<quillet_file*>(handle), 0), nullptr);
    quillet_stream_close(handle);
  }
  // Objects of other kinds, and arguments that are missing: the object says so, and stays as it is.
  const auto refused = [&](bool hasFailed, int code) {
    return hasFailed && quillet_error(video.get()) == code && !quillet_error_is_fatal(video.get());
  };
  EXPECT_TRUE(refused(quillet_audio_samples(video.get(), 0, 1) == nullptr, QUILLET_ERROR_KIND));
  EXPECT_TRUE(refused(quillet_raw_first_key(video.get()) == -1, QUILLET_ERROR_KIND));
  auto* const file = reinterpret_cast<quillet_file*>(video.get());
  EXPECT_TRUE(refused(!quillet_file_start(file), QUILLET_ERROR_KIND));
  quillet_file_close(file);
  quillet_audio_format format = {};
  EXPECT_TRUE(refused(!quillet_stream_audio_format(video.get(), &format), QUILLET_ERROR_KIND));
  EXPECT_STREQ(quillet_error_text(video.get()), "The object has no such operation");
  EXPECT_TRUE(refused(!quillet_video_frame(video.get(), nullptr), QUILLET_ERROR_ARGUMENT));
  EXPECT_TRUE(refused(!quillet_stream_video_format(video.get(), nullptr), QUILLET_ERROR_ARGUMENT));
  EXPECT_TRUE(refused(quillet_stream_time_of(video.get(), nullptr) == -1.0, QUILLET_ERROR_ARGUMENT));
  EXPECT_TRUE(refused(quillet_stream_sample_at(video.get(), nullptr) == -1, QUILLET_ERROR_ARGUMENT));
  EXPECT_STREQ(quillet_error_text(video.get()), "An argument is missing or out of its range");
  EXPECT_NE(quillet_video_frame(video.get(), &frame), nullptr);
  EXPECT_TRUE(has(video.get(), 0, "Success"));
}

TEST(Handles, OfFailedOpeningsTellWhy) {
  const TempFile text(".avi", {'n', 'o', ' ', 'f', 'i', 'l', 'm'});
  for (const int kind : {QUILLET_VIDEO, QUILLET_AUDIO, QUILLET_RAW_VIDEO, QUILLET_RAW_AUDIO}) {
    EXPECT_TRUE(
        has(openStream("missing.avi", kind, QUILLET_VIDEO_FOR_WINDOWS).get(), 3, "Could not open the source file"));
    EXPECT_TRUE(has(openStream("missing.avi", kind, QUILLET_DIRECTSHOW).get(), 4, "Could not open the source file"));
    const CStream stream = openStream(text.name(), kind, QUILLET_AUTOMATIC);
    EXPECT_TRUE(!quillet_is_open(stream.get()) && quillet_error_is_fatal(stream.get()));
  }
  const CStream none(quillet_stream_open(nullptr, QUILLET_VIDEO, QUILLET_AUTOMATIC, 0, nullptr, nullptr),
                     quillet_stream_close);
  EXPECT_EQ(quillet_error(none.get()), 4);
  for (const auto& [kind, backend] : {std::pair(0, 0), {5, 0}, {1, -1}, {1, 3}}) {
    const CStream stream = openStream("missing.avi", kind, backend);
    EXPECT_EQ(quillet_error(stream.get()), QUILLET_ERROR_ARGUMENT);
    EXPECT_EQ(quillet_stream_length(stream.get()), -1);
    EXPECT_TRUE(has(stream.get(), 1, "Stream was not successfully opened"));
  }
  int videos = -1;
  EXPECT_EQ(quillet_count_streams("missing.avi", 1, &videos, nullptr), 3);
  EXPECT_EQ(videos, 0);
  EXPECT_STREQ(quillet_count_streams_text(3), "Could not open the source file");
  EXPECT_EQ(quillet_count_streams_text(14), nullptr);
}

TEST(Handles, ComeBackNeverAndEndSomeDay) {
  std::vector<CStream> streams;
  while (streams.empty() || streams.back() != nullptr) {
    ASSERT_LE(streams.size(), 8192U);
    streams.push_back(openStream("", 0, 0));
  }
  EXPECT_EQ(streams.size(), 8193U);
  const auto old = reinterpret_cast<std::uintptr_t>(streams[4711].get());  // What it points at is nobody's.
  streams[4711].reset();
  const CStream next = openStream("", 0, 0);
  EXPECT_TRUE(next != nullptr && reinterpret_cast<std::uintptr_t>(next.get()) != old);
  EXPECT_EQ(quillet_error(reinterpret_cast<void*>(old)), QUILLET_ERROR_HANDLE);
}

TEST(Handles, LeaveNothingBehind) {
  const std::string name = mediaFile("copy.avi");
  EXPECT_TRUE(leavesNothingBehind([&] {
    const CStream stream = openStream(name, QUILLET_RAW_VIDEO, QUILLET_VIDEO_FOR_WINDOWS);
    quillet_video_format format = {};
    quillet_stream_video_format(stream.get(), &format);
  }));
}

using Files = DSWriting;

TEST_F(Files, AreWrittenInEveryWay) {
  for (const bool directShow : {false, true}) {
    SCOPED_TRACE(directShow);
    const CFile written = create(file, directShow ? QUILLET_DIRECTSHOW : QUILLET_VIDEO_FOR_WINDOWS, &pictures, &sound);
    quillet_file* const output = written.get();
    ASSERT_TRUE(quillet_is_open(output)) << quillet_error_text(output);
    EXPECT_TRUE(quillet_file_accepts_formats(output) && quillet_file_can_start(output));
    EXPECT_EQ(quillet_file_set_interleaving(output, 1), directShow);
    EXPECT_EQ(quillet_file_is_interleaving(output), directShow);
    EXPECT_EQ(quillet_file_set_interleaving(output, 0), directShow);
    EXPECT_TRUE(quillet_file_set_interleaving_period(output, 2'000'000));
    EXPECT_EQ(quillet_file_interleaving_period(output), 2'000'000);
    for (const int kind : {QUILLET_VIDEO, QUILLET_AUDIO}) {
      EXPECT_FALSE(quillet_file_is_compressed(output, kind) || quillet_file_is_compressor_set(output, kind));
      EXPECT_FALSE(quillet_file_can_set_compressor(output, kind));
      EXPECT_FALSE(quillet_file_set_compressor(output, kind, nullptr));
      EXPECT_FALSE(quillet_file_choose_compressor(output, kind, noWindow));
      EXPECT_EQ(quillet_error(output), 204);
    }
    EXPECT_FALSE(quillet_file_configure_compressor(output, QUILLET_VIDEO, noWindow));
    EXPECT_EQ(quillet_error(output), 207);
    ASSERT_TRUE(quillet_file_start(output)) << quillet_error_text(output);
    EXPECT_FALSE(quillet_file_write(output, QUILLET_VIDEO, int64_t{1} << 31, picture(0).data(), 1, -1, 1));
    EXPECT_FALSE(quillet_file_write(output, 7, 0, picture(0).data(), 1, -1, 1));
    EXPECT_EQ(quillet_error(output), QUILLET_ERROR_ARGUMENT);
    const Bytes turned = converted(picture(0), 8, true, 3, 0);
    EXPECT_FALSE(quillet_file_write_picture(output, 0, QUILLET_RGB24, QUILLET_TOP_DOWN, turned.data(), 24, 95));
    EXPECT_TRUE(quillet_file_write_picture(output, 0, QUILLET_RGB24, QUILLET_TOP_DOWN, turned.data(), 24, 96));
    ASSERT_TRUE(quillet_file_write(output, QUILLET_VIDEO, 1, picture(1).data(), 1, -1, 1)) << quillet_error(output);
    const long buffered = directShow || !wine_gap::aviFileWritesOnePieceOfAudio ? 100 : 0;
    if (buffered > 0) {
      ASSERT_TRUE(quillet_file_write(output, QUILLET_AUDIO, 0, countedSamples(0, 100).data(), 100, -1, 1));
    }
    const Bytes rest = countedSamples(buffered, 200 - buffered);
    ASSERT_TRUE(quillet_file_write_buffered(output, buffered, rest.data(), 200 - buffered, -1, 1));
    EXPECT_EQ(quillet_file_next_number(output, QUILLET_VIDEO, 0), 2);
    EXPECT_EQ(quillet_file_next_number(output, QUILLET_AUDIO, 0), buffered);
    EXPECT_EQ(quillet_file_next_number(output, QUILLET_AUDIO, 1), 200);
    ASSERT_TRUE(quillet_file_flush(output)) << quillet_error(output);
    ASSERT_TRUE(quillet_file_finish(output)) << quillet_error_text(output);
    EXPECT_FALSE(quillet_is_open(output) || quillet_file_finish(output) || quillet_file_configure(output, nullptr));
    EXPECT_EQ(quillet_error(output), 1);
    expectPictures(file.name(), 2);
    if (buffered > 0) {
      expectCounted(file.name(), 200);
    }
  }
}

TEST_F(Files, AreWrittenInTurns) {
  CFile output = create(file, QUILLET_DIRECTSHOW, &pictures, &sound);
  ASSERT_TRUE(quillet_file_start(output.get())) << quillet_error_text(output.get());
  const CEngine engine(quillet_engine_open(output.get(), 1), quillet_engine_close);
  ASSERT_NE(engine, nullptr);
  output.reset();  // The engine has it still.
  {
    const Thread videoThread([&] {
      for (int frame = 0; frame < 10; ++frame) {
        EXPECT_TRUE(quillet_engine_write_next(engine.get(), QUILLET_VIDEO, picture(frame).data(), 1, -1, 1));
      }
      quillet_engine_end(engine.get(), QUILLET_VIDEO);
    });
    const Thread audioThread([&] {
      for (int first = 0; first < 3200; first += 800) {
        EXPECT_TRUE(
            quillet_engine_write(engine.get(), QUILLET_AUDIO, first, countedSamples(first, 800).data(), 800, -1, 1));
      }
      quillet_engine_end(engine.get(), QUILLET_AUDIO);
    });
  }
  EXPECT_TRUE(quillet_engine_finish(engine.get()));
  EXPECT_EQ(quillet_error(engine.get()), 0);
  quillet_engine_stop(engine.get());
  EXPECT_FALSE(quillet_engine_write(engine.get(), QUILLET_VIDEO, 10, picture(10).data(), 1, -1, 1));
}

TEST_F(Files, AreCompressedAndCopied) {
  quillet_audio_format target = sound;
  WAVEFORMATEX wave = pcmFormat(8000, 1, 8);
  wave.wFormatTag = WAVE_FORMAT_MULAW;
  target.header = &wave;
  target.header_bytes = sizeof wave;
  const quillet_compression compression = {TestCodec::fourcc, 10, 7500, &target};
  const TestCodec codecOfTests;
  {
    const CFile output = create(file, QUILLET_AUTOMATIC, &pictures, &sound, true);
    for (const int kind : {QUILLET_VIDEO, QUILLET_AUDIO}) {
      EXPECT_FALSE(quillet_file_compress(output.get(), kind, nullptr));
      ASSERT_TRUE(quillet_file_compress(output.get(), kind, &compression)) << quillet_error_text(output.get());
      EXPECT_TRUE(quillet_file_is_compressor_set(output.get(), kind));
    }
    ASSERT_TRUE(quillet_file_start(output.get())) << quillet_error_text(output.get());
    EXPECT_TRUE(quillet_file_write(output.get(), QUILLET_VIDEO, 0, picture(0).data(), 1, -1, 1));
    EXPECT_TRUE(quillet_file_write(output.get(), QUILLET_AUDIO, 0, countedSamples(0, 800).data(), 800, -1, 1));
    EXPECT_TRUE(quillet_file_finish(output.get()));
  }
  const TempFile copy(".avi");
  const CStream source = openStream(file.name(), QUILLET_RAW_AUDIO, QUILLET_VIDEO_FOR_WINDOWS);
  ASSERT_TRUE(quillet_stream_audio_format(source.get(), &target));
  EXPECT_EQ(target.tag, WAVE_FORMAT_MULAW);
  const CStream frames = openStream(file.name(), QUILLET_RAW_VIDEO, QUILLET_VIDEO_FOR_WINDOWS);
  quillet_video_format codec = {};
  ASSERT_TRUE(quillet_stream_video_format(frames.get(), &codec)) << quillet_error_text(frames.get());
  EXPECT_EQ(codec.compression, compression.codec);
  const CFile output = create(copy, QUILLET_VIDEO_FOR_WINDOWS, &codec, &target);
  ASSERT_TRUE(quillet_file_start(output.get())) << quillet_error_text(output.get());
  quillet_raw_sample sample = {};
  ASSERT_TRUE(quillet_raw_read(frames.get(), &sample));
  EXPECT_TRUE(quillet_file_write(output.get(), QUILLET_VIDEO, 0, sample.data, 1, sample.bytes, sample.key));
  EXPECT_TRUE(quillet_file_finish(output.get()));
  expectPictures(copy.name(), 1);
  // Formats that cannot be.
  codec.header_bytes = 39;
  target.header_bytes = 17;
  EXPECT_EQ(quillet_error(create(copy, QUILLET_AUTOMATIC, &codec, nullptr).get()), QUILLET_ERROR_ARGUMENT);
  EXPECT_EQ(quillet_error(create(copy, QUILLET_AUTOMATIC, nullptr, &target).get()), QUILLET_ERROR_ARGUMENT);
  EXPECT_EQ(quillet_error(create(copy, QUILLET_AUTOMATIC, nullptr, nullptr).get()), 202);
}

TEST(Progress, IsToldAndStops) {
  ScriptedStream frames = scriptedVideo(4, 2, 2000, 400'000);
  withoutFrameTime(frames);
  const ScriptedFile file(scriptOf(frames));
  int told = 0;
  const quillet_progress progress = [](void* user, int32_t) -> int32_t { return ++*static_cast<int*>(user) == 100; };
  const CStream stopped = openStream(file.name(), QUILLET_VIDEO, QUILLET_DIRECTSHOW, progress, &told);
  EXPECT_TRUE(has(stopped.get(), 74, "Operation stopped by the progress notification"));
  EXPECT_EQ(told, 100);
  EXPECT_FALSE(quillet_is_open(stopped.get()));
  const CStream whole(quillet_stream_open_behind_dialog(file.name(), QUILLET_VIDEO, QUILLET_DIRECTSHOW, 0, nullptr,
                                                        QUILLET_DIALOG_CAPTIONED, "Opening"),
                      quillet_stream_close);
  EXPECT_EQ(quillet_stream_length(whole.get()), 2000) << quillet_error_text(whole.get());
  EXPECT_TRUE(quillet_stream_set_progress(whole.get(), nullptr, nullptr));
  ASSERT_TRUE(quillet_stream_use_dialog(whole.get(), 1, noWindow, 0, nullptr));
  int64_t frame = 3;
  EXPECT_EQ(quillet_video_frame(whole.get(), &frame), nullptr);
  EXPECT_EQ(quillet_error(whole.get()), 49);
  ASSERT_TRUE(quillet_stream_use_dialog(whole.get(), 0, nullptr, 0, nullptr));
  EXPECT_NE(quillet_video_frame(whole.get(), &frame), nullptr);
  const CStream unseen(
      quillet_stream_open_behind_dialog(file.name(), QUILLET_VIDEO, QUILLET_AUTOMATIC, 0, noWindow, 0, nullptr),
      quillet_stream_close);
  EXPECT_TRUE(has(unseen.get(), QUILLET_ERROR_DIALOG, "Can't display the dialog box"));
}

TEST(Threads, AreSetUpAndVersionIsTold) {
  const auto openAndCount = [] {
    const std::string name = mediaFile("copy.avi");
    EXPECT_TRUE(quillet_is_open(openStream(name, QUILLET_VIDEO, QUILLET_DIRECTSHOW).get()));
    int videos = 0, audios = 0;
    EXPECT_EQ(quillet_count_streams(name.c_str(), 1, &videos, &audios), 0);
    EXPECT_EQ(std::pair(videos, audios), std::pair(1, 1));
  };
  Thread(openAndCount, false);
  EXPECT_STREQ(quillet_version(), QUILLET_VERSION);
  quillet_set_apartment(1);
  quillet_set_apartment(0);
}

}  // namespace
