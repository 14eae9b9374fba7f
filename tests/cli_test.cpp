// The command-line client, run as a user runs it: its exit statuses, its messages and the files that it writes.

#include <wincodec.h>
#include <wrl/client.h>

#include "support/reading.h"
#include "support/wine_gaps.h"

namespace {

using Microsoft::WRL::ComPtr;
using namespace quillet::test;
using testing::IsSubstring;

struct Outcome {
  int status;
  std::string out;
  std::string err;
};

class Cli : public testing::Test {
 protected:
  Cli() {
    std::filesystem::current_path(folder.name());
    _putenv_s("PATH", mediaFile(R"(..\bin)").c_str());
  }
  ~Cli() override { std::filesystem::current_path("\\"); }  // For the folder to go.

  /// Runs the client in the test's folder.
  static Outcome run(const std::vector<std::wstring>& words) {
    std::wstring commandLine = L"quillet";
    for (const std::wstring& word : words) {
      commandLine += L" \"" + word + L"\"";
    }
    const int status = _wsystem((commandLine + L" >stdout.txt 2>stderr.txt").c_str());
    return {status, textOf("stdout.txt"), textOf("stderr.txt")};
  }

  static std::unique_ptr<VideoSourceStream> openVideo(const char* name) {
    return std::unique_ptr<VideoSourceStream>(VideoSourceStream::open(mediaFile(name).c_str(), false, 0, nullptr));
  }
  static std::wstring media(const char* name) { return std::filesystem::path(mediaFile(name)).native(); }

 private:
  static std::string textOf(const char* name) {
    const Bytes bytes = readFile(name);
    return std::string(bytes.begin(), bytes.end());
  }

  TempFolder folder;
};

TEST_F(Cli, FailuresHaveAStatusAndAMessage) {
  constexpr int failed = 1;
  constexpr int wrongUsage = 2;
  const std::wstring video = media("cinepak.avi");
  const std::wstring audio = media("ima_8000_mono.wav");
  const struct {
    std::vector<std::wstring> words;
    int status;
    const char* message;
  } cases[] = {
      {{}, wrongUsage, "Usage: quillet"},
      {{L"bogus"}, wrongUsage, "unknown command 'bogus'"},
      {{L"info"}, wrongUsage, "missing FILE"},
      {{L"info", video, L"x"}, wrongUsage, "unexpected argument 'x'"},
      {{L"info", video, L"--bogus"}, wrongUsage, "unknown option '--bogus'"},
      {{L"info", video, L"--backend", L"x"}, wrongUsage, "none of vfw, ds, auto"},
      {{L"frame", video, L"2147483648"}, wrongUsage, "outside the range of 32 bits"},
      {{L"frame", video, L"1", L"-o", L"x.gif"}, wrongUsage, "neither in .png nor in .bmp"},
      {{L"samples", video, L"0", L"1"}, wrongUsage, "missing option '--output'"},
      {{L"samples", video, L"1", L"0", L"-o", L"x.wav"}, wrongUsage, "LAST is less than FIRST"},
      {{L"time", video, L"--sample", L"1", L"--ms", L"1"}, wrongUsage, "either --sample or --ms"},
      {{L"info", L"missing \u65e5.avi"}, failed, "cannot open 'missing \xE6\x97\xA5.avi': "},
      {{L"frame", audio, L"0"}, failed, ".wav', which has none: "},
      {{L"frame", video, L"0", L"--stream", L"1"}, failed, ".avi', which has 1, numbered from 0: "},
      {{L"raw", video, L"--audio", L"--backend", L"vfw"}, failed, "Could not open the source file (code 3"},
      {{L"frame", video, L"-1"},
       failed,
       "Parameter out of range (code 8, Video for Windows): there are frames 0 to 49"},
      {{L"frame", video, L"0", L"-o", L"no\\x.png"}, failed, "cannot write 'no\\x.png'"},
      {{L"samples", audio, L"0", L"9999999", L"-o", L"x.wav"}, failed, ": there are samples 0 to 1"},
      {{L"time", video, L"--ms", L"2000"}, failed, "2000 is outside of the stream: there are frames 0 to 49"},
      {{L"time", audio, L"--audio", L"--sample", L"-80"}, failed, "-80 is outside of the stream"},
      {{L"copy", video, L"\\\\?\\" + video}, wrongUsage, "IN and OUT are the same file"},
      {{L"copy", video, L"no\\x.avi"}, failed, "cannot write 'no\\x.avi'"},
      {{L"copy", video, L"x.avi", L"--audio", L"--backend", L"vfw"},
       failed,
       ": audio: Could not open the source file (code 3"},
      {{L"copy", video, L"x.avi", L"--period", L"5"}, failed, "not actually interleaved (code 31"},
      {{L"convert", video, L"x.avi", L"--video-codec", L"much too long"}, wrongUsage, "is no FOURCC"},
      {{L"convert", video, L"x.avi", L"--video-codec", L"none"}, failed, "Cannot set the compessor (code 25"},
      {{L"convert", audio, L"x.avi", L"--audio-format", L"x"}, wrongUsage, "'x' is no audio format"},
      {{L"convert", audio, L"x.avi", L"--audio-format", L"77"}, failed, "the system converts no 1 channels"},
  };
  std::filesystem::copy_file(video, "x.avi");
  for (const auto& [words, status, message] : cases) {
    const Outcome outcome = run(words);
    EXPECT_EQ(outcome.status, status) << message;
    EXPECT_PRED_FORMAT2(IsSubstring, message, outcome.err);
    EXPECT_EQ(outcome.out, "");
  }
  EXPECT_TRUE(readFile(L"x.avi") == readFile(video)) << "what was there";
  const std::filesystem::directory_iterator begin(".");
  EXPECT_EQ(std::distance(begin, {}), 3) << "it, and both outputs";
}

TEST_F(Cli, BackendIsTheEnvironmentsUnlessTheCommandLineHasOne) {
  _putenv_s("QUILLET_BACKEND", "x");
  EXPECT_PRED_FORMAT2(IsSubstring, "QUILLET_BACKEND: 'x' is none of", run({L"info", media("cinepak.avi")}).err);
  EXPECT_EQ(run({L"info", media("cinepak.avi"), L"--backend", L"vfw"}).status, 0);
  _putenv_s("QUILLET_BACKEND", "");
}

TEST_F(Cli, AnswersAreWritten) {
  const TempFile ntsc(".avi", aviFile({videoStream(rgb24Format(4, 4), 30000, 1001, noiseChunks(4, 48))}));
  const std::wstring ntscName = std::filesystem::path(ntsc.name()).native();
  const std::wstring video = media("cinepak.avi");
  const std::wstring audio = media("ima_8000_mono.wav");
  const struct {
    std::vector<std::wstring> words;
    std::string begin;
    int lines = 1;
  } cases[] = {
      {{L"--help"}, "Usage: quillet COMMAND", 17},
      {{L"--version"}, "quillet "},
      {{L"frame", L"--help"}, "Usage: quillet frame FILE N... [options]\r\n", 14},
      {{L"info", video, L"--backend=vfw"},
       "video 0: cvid, 64 x 48, 50 frames, 25 frames/s, 2.000 s, 27 key frames at most 5 apart, ",
       2},
      {{L"info", media("ima_44100_stereo.wav")}, "audio 0: IMA ADPCM, decoded to 16-bit PCM, 2 channels, 6", 2},
      {{L"info", media("mp3.wav"), L"--backend", L"vfw"}, "audio 0: MP3, decoded to 16-bit PCM, 1 channel, about ", 2},
      {{L"raw", video, L"--csv", L"--backend", L"vfw"},
       "sample,count,bytes,key,ms\r\n0,1,2377,1,0.000\r\n1,1,2368,1,40.000\r\n2,1,3934,0,80.000\r\n",
       51},
      {{L"raw", media("compressed.avi"), L"--audio", L"--csv"}, "sample,count,bytes,key,ms\r\n0,1152,", 48},
      {{L"time", video, L"--sample", L"25"}, "frame 25: 1000.000 ms\r\n"},
      {{L"time", video, L"--ms", L"1040"}, "frame 26: 1040.000 ms\r\n"},
      {{L"time", ntscName, L"--sample", L"1"}, "frame 1: 33.367 ms\r\n"},
      {{L"time", ntscName, L"--ms", L"100.1"}, "frame 3: 100.100 ms\r\n"},
      {{L"time", audio, L"--audio", L"--ms", L"500.5"}, "sample 4004: 500.500 ms\r\n"},
  };
  for (const auto& [words, begin, lines] : cases) {
    const Outcome outcome = run(words);
    EXPECT_EQ(outcome.out.substr(0, begin.size()), begin) << outcome.err;
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), lines);
    EXPECT_EQ(outcome.status, 0);
  }
}

struct Image {
  UINT width = 0;
  UINT height = 0;
  Bytes pixels;  ///< In 24-bit BGR rows without padding, from the top.
};

Image decodeImage(const std::filesystem::path& file) {
  ComPtr<IWICImagingFactory> factory;
  ComPtr<IWICBitmapDecoder> decoder;
  ComPtr<IWICBitmapFrameDecode> frame;
  ComPtr<IWICBitmapSource> converted;
  Image image;
  CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&factory));
  if (SUCCEEDED(factory->CreateDecoderFromFilename(file.c_str(), nullptr, GENERIC_READ, WICDecodeMetadataCacheOnDemand,
                                                   &decoder)) &&
      SUCCEEDED(decoder->GetFrame(0, &frame))) {
    WICConvertBitmapSource(GUID_WICPixelFormat24bppBGR, frame.Get(), &converted);
    frame->GetSize(&image.width, &image.height);
    image.pixels.resize(image.width * 3 * image.height);
    converted->CopyPixels(nullptr, image.width * 3, static_cast<UINT>(image.pixels.size()), image.pixels.data());
  }
  return image;
}

TEST_F(Cli, FrameIsTheLibrarysPictureInEitherFormatAndUnderAnyName) {
  const std::wstring input = L"\u041F\u0440\u043E\u0431\u0430 \u65E5\u672C \U0001F3AC";
  std::filesystem::copy_file(mediaFile("cinepak.avi"), input + L".avi");
  const auto stream = openVideo("cinepak.avi");
  ASSERT_EQ(stream->lastError, 0);
  const Bytes expected = turnedOver(frameOf(*stream, 17), stream->format()->biHeight);  // Rows have no padding.
  const auto line = [](const std::wstring& name, long frame) {
    const std::u8string shown = std::filesystem::path(name).u8string();
    return std::string(shown.begin(), shown.end()) + ": frame " + std::to_string(frame) + "\r\n";
  };
  for (const bool isNamed : {true, false}) {
    const std::wstring name = isNamed ? L"frame.bmp" : input + L"-17.png";
    std::vector<std::wstring> words = {L"frame", input + L".avi", L"17", L"-o", name};
    words.resize(isNamed ? 5 : 3);
    const Outcome outcome = run(words);
    EXPECT_EQ(outcome.out, line(name, 17));
    const Image image = decodeImage(name);
    EXPECT_TRUE(image.width == 64 && image.pixels == expected) << outcome.err;
  }
  EXPECT_EQ(run({L"frame", input + L".avi", L"17", L"3", L"17", L"-o", L"f.v.bmp"}).out,
            line(L"f.v-3.bmp", 3) + line(L"f.v-17.bmp", 17));
  EXPECT_TRUE(decodeImage(L"f.v-17.bmp").pixels == expected);
}

TEST_F(Cli, SheetShowsFramesFromTheFirstToTheLast) {
  const Outcome outcome = run({L"sheet", media("bench_raw.avi"), L"-n", L"3"});
  const auto [width, height, sheet] = decodeImage("sheet.png");
  ASSERT_TRUE(width == 522 && height == 496) << width << " x " << height << outcome.err;
  const auto stream = openVideo("bench_raw.avi");
  constexpr int places[][3] = {{0, 16, 72}, {100, 266, 72}, {199, 16, 284}};
  for (const auto& [frame, left, top] : places) {
    const Bytes bits = turnedOver(frameOf(*stream, frame), 240);
    for (int i = 0; i < 80 * 60 * 3; ++i) {  // 4 x 4 pixels have become 3 x 3: their colours' means are the same.
      const int x = i % 240 / 3, y = i / 240, colour = i % 3;
      int expected = 0, found = 0;
      for (int j = 0; j < 16 * 9; ++j) {
        expected += bits[(y * 4 + j / 4 % 4) * 960 + (x * 4 + j % 4) * 3 + colour];
        found += sheet[((top + y * 3 + j / 3 % 3) * width + left + x * 3 + j % 3) * 3 + colour];
      }
      ASSERT_NEAR(found, expected, 16 * 9 / 2) << "frame " << frame << ", at " << x << ", " << y;
    }
  }
}

TEST_F(Cli, WaveHasItsPeaksWhereTheSoundIs) {
  const Outcome outcome = run({L"wave", media("peaks.wav"), L"-o", L"wave.png", L"--width", L"100"});
  const auto [width, height, wave] = decodeImage("wave.png");
  ASSERT_GT(height, 402U) << outcome.err;
  for (UINT x = 0; x < 100; ++x) {  // Each of 800 samples, of which 50000 to 69999 sound in the lower lane.
    UINT y = 72;
    while (y < 402 && (wave[(y * width + 16 + x) * 3] < 150 || y == 152)) {  // 152 is the silence in the upper one.
      ++y;
    }
    EXPECT_EQ(y, x >= 62 && x <= 87 ? 281U : 321U) << "column " << x;
  }
}

TEST_F(Cli, SamplesAreTheLibrarysOwn) {
  const std::unique_ptr<AudioSourceStream> stream(
      AudioSourceStream::open(mediaFile("ima_44100_stereo.wav").c_str(), false, 0, nullptr));
  const long last = stream->duration() - 1;
  ASSERT_GT(last, 65536 + 5) << "more than the client reads at once";
  const Outcome outcome =
      run({L"samples", media("ima_44100_stereo.wav"), L"5", std::to_wstring(last), L"-o", L"\u65E5.wav"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  Bytes format = bytesOf(*stream->format());
  format.resize(sizeof(PCMWAVEFORMAT));
  EXPECT_TRUE(readFile(L"\u65E5.wav") == wavFile(format, runOf(*stream, 5, last)));
}

using Writing = Cli;

// With AVIFile and the multiplexer that is registered.
TEST_F(Writing, KeepsWhatTheFileHolds) {
  const auto contentOf = [](const char* name) {
    const std::unique_ptr<VideoSourceStream> video(VideoSourceStream::open(name, false, 0, nullptr));
    const std::unique_ptr<AudioSourceStream> sound(AudioSourceStream::open(name, false, 0, nullptr));
    std::vector<Bytes> content = {runOf(*sound, 0, sound->duration() - 1)};
    for (long frame = 0; frame < video->duration(); ++frame) {
      content.push_back(frameOf(*video, frame));
    }
    return content;
  };
  const std::vector<Bytes> content = contentOf(mediaFile("copy.avi").c_str());
  ASSERT_EQ(content.size(), 1 + 75U);
  for (const wchar_t* const command : {L"copy", L"convert"}) {
    for (const wchar_t* const backend : {L"vfw", L"ds"}) {
      const bool isWritten = *backend == L'd' || !wine_gap::aviFileWritesOnePieceOfAudio;
      const Outcome outcome = run({command, media("copy.avi"), L"out.avi", L"--backend", backend});
      EXPECT_EQ(outcome.status == 0, isWritten) << outcome.err;
      EXPECT_TRUE(!isWritten || contentOf("out.avi") == content) << command << backend;
    }
  }
}

}  // namespace
