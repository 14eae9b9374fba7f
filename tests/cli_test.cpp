// The command-line client, run as a user runs it: its exit statuses, its messages and the files that it writes.

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <windows.h>

#include <wincodec.h>
#include <wrl/client.h>

#include <gtest/gtest.h>

#include "core/handles.h"
#include "support/avi_builder.h"
#include "support/reading.h"

namespace {

using Microsoft::WRL::ComPtr;
using quillet::KernelHandle;
using namespace quillet::test;
using testing::IsSubstring;

struct Outcome {
  DWORD status = ~0U;
  std::string out;
  std::string err;
};

class Cli : public testing::Test {
 protected:
  ~Cli() override {
    // Also names that the ANSI code page cannot express.
    std::error_code ignored;
    std::filesystem::remove_all(folder.name(), ignored);
  }

  std::filesystem::path path(const std::filesystem::path& name) const { return folder.name() / name; }

  /// Runs the client in the test's folder.
  /// @param meanwhile is called again and again while it runs.
  Outcome run(
      const std::vector<std::wstring>& words, const std::function<void()>& meanwhile = [] {}) const {
    wchar_t self[MAX_PATH];
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    const std::filesystem::path program = std::filesystem::path(self).replace_filename(L"quillet.exe");
    std::wstring commandLine = L"quillet";
    for (const std::wstring& word : words) {
      commandLine += L" \"" + word + L"\"";
    }
    Outcome outcome;
    {
      const KernelHandle out = createInheritable(path("stdout.txt"));
      const KernelHandle err = createInheritable(path("stderr.txt"));
      STARTUPINFOW startup = {};
      startup.cb = sizeof startup;
      startup.dwFlags = STARTF_USESTDHANDLES;
      startup.hStdOutput = out.get();
      startup.hStdError = err.get();
      PROCESS_INFORMATION process = {};
      if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr,
                          std::filesystem::path(folder.name()).c_str(), &startup, &process)) {
        ADD_FAILURE() << "cannot start " << program;
        return outcome;
      }
      const KernelHandle thread(process.hThread);
      const KernelHandle running(process.hProcess);
      for (int i = 0; WaitForSingleObject(running.get(), 20) == WAIT_TIMEOUT; ++i) {
        meanwhile();
        if (i == 1500) {
          ADD_FAILURE() << "the client does not end";
          TerminateProcess(running.get(), outcome.status);
        }
      }
      GetExitCodeProcess(running.get(), &outcome.status);
    }
    outcome.out = textOf("stdout.txt");
    outcome.err = textOf("stderr.txt");
    return outcome;
  }

  static std::unique_ptr<VideoSourceStream> openVideo(const char* name) {
    return std::unique_ptr<VideoSourceStream>(VideoSourceStream::open(mediaFile(name).c_str(), false, 0, nullptr));
  }
  static std::wstring media(const char* name) { return std::filesystem::path(mediaFile(name)).native(); }

 private:
  static KernelHandle createInheritable(const std::filesystem::path& file) {
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    return KernelHandle(CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inheritable, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
  }

  std::string textOf(const char* name) const {
    const Bytes bytes = readFile(folder.file(name).c_str());
    return std::string(bytes.begin(), bytes.end());
  }

  TempFolder folder;
};

TEST_F(Cli, HelpAndVersionAreNoFailures) {
  for (const auto* command : {L"info", L"frame", L"sheet", L"raw", L"samples", L"wave", L"time", L"copy", L"convert"}) {
    const Outcome help = run({command, L"--help"});
    EXPECT_EQ(help.status, 0U);
    EXPECT_PRED_FORMAT2(IsSubstring, "Usage: quillet " + std::filesystem::path(command).string() + " ", help.out);
    EXPECT_EQ(help.err, "");
  }
  EXPECT_PRED_FORMAT2(IsSubstring, "samples", run({L"--help"}).out);
  EXPECT_PRED_FORMAT2(IsSubstring, "quillet ", run({L"--version"}).out);
}

TEST_F(Cli, FailuresHaveAStatusAndAMessage) {
  constexpr DWORD failed = 1;
  constexpr DWORD wrongUsage = 2;
  const std::wstring video = media("cinepak.avi");
  const std::wstring audio = media("ima_8000_mono.wav");
  const struct {
    std::vector<std::wstring> words;
    DWORD status;
    const char* message;
  } cases[] = {
      {{}, wrongUsage, "Usage: quillet"},
      {{L"bogus"}, wrongUsage, "unknown command 'bogus'"},
      {{L"info"}, wrongUsage, "missing FILE"},
      {{L"info", video, L"x"}, wrongUsage, "unexpected argument 'x'"},
      {{L"info", video, L"--bogus"}, wrongUsage, "unknown option '--bogus'"},
      {{L"info", video, L"--backend"}, wrongUsage, "needs a value"},
      {{L"info", video, L"--backend", L"x"}, wrongUsage, "none of vfw, ds, auto"},
      {{L"frame", video, L"12x"}, wrongUsage, "'12x' is not a whole number"},
      {{L"frame", video, L"2147483648"}, wrongUsage, "outside the range of 32 bits"},
      {{L"frame", video, L"1", L"-o", L"x.gif"}, wrongUsage, "neither in .png nor in .bmp"},
      {{L"samples", video, L"0", L"1"}, wrongUsage, "missing option '--output'"},
      {{L"samples", video, L"1", L"0", L"-o", L"x.wav"}, wrongUsage, "LAST is less than FIRST"},
      {{L"sheet", video, L"-n", L"0"}, wrongUsage, "--count: 0 is not from 1 to 1000"},
      {{L"wave", audio}, wrongUsage, "missing option '--output'"},
      {{L"time", video, L"--sample", L"1", L"--ms", L"1"}, wrongUsage, "either --sample or --ms"},
      {{L"info", L"missing.avi"}, failed, "Could not open the source file (code 3, Video for Windows)"},
      {{L"info", L"missing \u65e5.avi"}, failed, "cannot open 'missing \xE6\x97\xA5.avi'"},
      {{L"frame", audio, L"0"}, failed, "cannot open video stream 0"},
      {{L"raw", video, L"--audio", L"--backend", L"vfw"}, failed, "Could not open the source file (code 3"},
      {{L"frame", video, L"-1"}, failed, "Parameter out of range (code 8, Video for Windows)"},
      {{L"frame", video, L"0", L"-o", L"no\\x.png"}, failed, "cannot write 'no\\x.png'"},
      {{L"samples", audio, L"0", L"9999999", L"-o", L"x.wav"}, failed, "Parameter out of range (code 8"},
      {{L"samples", audio, L"0", L"1", L"-o", L"no\\x.wav"}, failed, "cannot write 'no\\x.wav'"},
      {{L"copy", video}, wrongUsage, "missing OUT"},
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
  for (const auto& [words, status, message] : cases) {
    const Outcome outcome = run(words);
    EXPECT_EQ(outcome.status, status) << message;
    EXPECT_PRED_FORMAT2(IsSubstring, message, outcome.err);
    EXPECT_EQ(outcome.out, "");
  }
  EXPECT_FALSE(std::filesystem::exists(path("x.wav")) || std::filesystem::exists(path("x.avi")));
}

TEST_F(Cli, AnswersAreWritten) {
  const TempFile ntsc(".avi", aviFile({videoStream(rgb24Format(4, 4), 30000, 1001, {{Bytes(48)}})}).build());
  const std::wstring ntscName = std::filesystem::path(ntsc.name()).native();
  const std::wstring video = media("cinepak.avi");
  const std::wstring audio = media("ima_8000_mono.wav");
  const struct {
    std::vector<std::wstring> words;
    std::string begin;
    int lines = 1;
  } cases[] = {
      {{L"info", video, L"--backend=vfw"},
       "video 0: 64 x 48, 24-bit RGB, 50 frames, 25 frames/s, 2.000 s, Video for Windows\r\n"},
      {{L"info", media("ima_44100_stereo.wav")}, "audio 0: 16-bit PCM, 2 channels, "},
      {{L"raw", video, L"--csv", L"--backend", L"vfw"},
       "sample,count,bytes,key,ms\r\n0,1,2377,1,0.000\r\n1,1,2368,1,40.000\r\n2,1,3934,0,80.000\r\n",
       51},
      {{L"raw", media("compressed.avi"), L"--audio", L"--csv"}, "sample,count,bytes,key,ms\r\n0,1152,", 48},
      {{L"time", video, L"--sample", L"25"}, "frame 25: 1000.000 ms\r\n"},
      {{L"time", video, L"--ms", L"1040"}, "frame 26: 1040.000 ms\r\n"},
      {{L"time", ntscName, L"--sample", L"1"}, "frame 1: 33.367 ms\r\n"},
      {{L"time", ntscName, L"--ms", L"100.1"}, "frame 3: 100.100 ms\r\n"},
      {{L"time", audio, L"--audio", L"--ms", L"500.5"}, "sample 4004: 500.500 ms\r\n"},
      {{L"time", audio, L"--audio", L"--sample", L"-80"}, "sample -80: -10.000 ms\r\n"},
  };
  for (const auto& [words, begin, lines] : cases) {
    const Outcome outcome = run(words);
    EXPECT_EQ(outcome.out.substr(0, begin.size()), begin) << outcome.err;
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), lines);
    EXPECT_EQ(outcome.status, 0U);
  }
}

/// Decodes an image to 24-bit BGR rows without padding, from the top.
Bytes decodeImage(const std::filesystem::path& file, UINT& width, UINT& height) {
  ComPtr<IWICImagingFactory> factory;
  ComPtr<IWICBitmapDecoder> decoder;
  ComPtr<IWICBitmapFrameDecode> frame;
  ComPtr<IWICBitmapSource> converted;
  if (FAILED(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&factory))) ||
      FAILED(factory->CreateDecoderFromFilename(file.c_str(), nullptr, GENERIC_READ, WICDecodeMetadataCacheOnDemand,
                                                &decoder)) ||
      FAILED(decoder->GetFrame(0, &frame)) || FAILED(frame->GetSize(&width, &height)) ||
      FAILED(WICConvertBitmapSource(GUID_WICPixelFormat24bppBGR, frame.Get(), &converted))) {
    return {};
  }
  Bytes pixels(width * 3 * height);
  return SUCCEEDED(converted->CopyPixels(nullptr, width * 3, static_cast<UINT>(pixels.size()), pixels.data()))
             ? pixels
             : Bytes();
}

TEST_F(Cli, FrameIsTheLibrarysPictureInEitherFormatAndUnderAnyName) {
  const std::wstring input = L"Pr\u00FCfung \u65E5\u672C";
  std::filesystem::copy_file(mediaFile("cinepak.avi"), path(input + L".avi"));
  const auto stream = openVideo("cinepak.avi");
  const Bytes bits = frameOf(*stream, 17);
  const std::ptrdiff_t rowSize = stream->format()->biWidth * 3;  // A multiple of 4: no padding.
  Bytes expected;
  for (auto row = bits.end(); row != bits.begin(); row -= rowSize) {
    expected.insert(expected.end(), row - rowSize, row);
  }
  const std::pair<std::wstring, std::string> names[] = {{L"frame.bmp", "frame.bmp"},
                                                        {input + L"-17.png",
                                                         "Pr\xC3\xBC"
                                                         "fung \xE6\x97\xA5\xE6\x9C\xAC-17.png"}};
  for (const auto& [name, shown] : names) {
    std::vector<std::wstring> words = {L"frame", input + L".avi", L"17", L"-o", name};
    words.resize(name == L"frame.bmp" ? 5 : 3);  // The other is the name that it takes by itself.
    const Outcome outcome = run(words);
    EXPECT_EQ(outcome.out, shown + ": frame 17\r\n");
    UINT width = 0;
    UINT height = 0;
    EXPECT_TRUE(decodeImage(path(name), width, height) == expected) << outcome.err;
    EXPECT_EQ(std::pair(width, height), std::pair(64U, 48U));
  }
}

TEST_F(Cli, SheetShowsFramesFromTheFirstToTheLast) {
  const Outcome outcome = run({L"sheet", media("bench_raw.avi"), L"-n", L"3"});
  UINT width = 0, height = 0;
  const Bytes sheet = decodeImage(path("sheet.png"), width, height);
  ASSERT_TRUE(width == 522 && height == 496) << width << " x " << height << outcome.err;
  const auto stream = openVideo("bench_raw.avi");
  constexpr int places[][3] = {{0, 16, 72}, {100, 266, 72}, {199, 16, 284}};
  for (const auto& [frame, left, top] : places) {
    const Bytes bits = frameOf(*stream, frame);
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
  UINT width = 0, height = 0;
  const Bytes wave = decodeImage(path("wave.png"), width, height);
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
      run({L"samples", media("ima_44100_stereo.wav"), L"5", std::to_wstring(last), L"-o", L"x.wav"});
  EXPECT_EQ(outcome.status, 0U) << outcome.err;
  Bytes format = bytesOf(*stream->format());
  format.resize(sizeof(PCMWAVEFORMAT));
  EXPECT_TRUE(readFile(path("x.wav").string().c_str()) == wavFile(format, runOf(*stream, 5, last)));
}

TEST_F(Cli, ConvertLetsTheUserChooseTheCompressor) {
  for (const int button : {IDOK, IDCANCEL}) {
    const auto answer = [&] {
      if (const HWND dialog = FindWindowA("#32770", nullptr); IsWindowVisible(dialog)) {
        PostMessageA(dialog, WM_COMMAND, button, 0);
      }
    };
    const Outcome convert =
        run({L"convert", media("ds_raw.avi"), L"out.avi", L"--choose", L"--video", L"--backend", L"vfw"}, answer);
    EXPECT_EQ(convert.status, 0U) << convert.err;
    EXPECT_PRED_FORMAT2(IsSubstring, "120 frames", convert.out);
    EXPECT_EQ(convert.err.find("not compressed: Dialog box cancelled") != std::string::npos, button == IDCANCEL);
  }
}

}  // namespace
