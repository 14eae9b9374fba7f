// The progress dialog, and the operations that run behind it.

#include <windows.h>

#include <commctrl.h>

#include "platform/module.h"
#include "support/dialog_driver.h"
#include "support/ds_streams.h"
#include "support/leak_check.h"
#include "ui/progress_dialog.h"

using namespace quillet;
using namespace quillet::test;

namespace {

enum Control { label = 101, bar = 102, icon = 103 };
constexpr UINT reported = 37089;
constexpr UINT done = 37090;
using Kind = OperationKind;

HANDLE libraryIcon(int id) {
  return LoadImageA(moduleInstance(), MAKEINTRESOURCEA(id), IMAGE_ICON, 0, 0, LR_SHARED | LR_DEFAULTSIZE);
}

/// Waits for what other threads do, of which nothing tells.
template <class Condition>
bool comes(Condition condition) {
  for (const ULONGLONG end = GetTickCount64() + 10000; !condition() && GetTickCount64() < end;) {
    Sleep(1);
  }
  return condition();
}

using Reports = std::vector<std::pair<WPARAM, LPARAM>>;

/// Keeps an eye on the dialogs of the thread that makes it.
class DialogWatch {
 public:
  DialogWatch() {
    reports.clear();
    dialog = nullptr;
    shown.clear();
  }
  static inline Reports reports;
  static inline std::atomic<HWND> dialog = nullptr;
  /// The caption, the label and the icon that the dialog had before its first message.
  static inline std::string shown;
  static inline std::function<void()> beforeReport = [] {};

 private:
  static LRESULT CALLBACK seePosted(int code, WPARAM removed, LPARAM parameter) {
    const MSG& message = *reinterpret_cast<MSG*>(parameter);
    const bool isTaken = code == HC_ACTION && removed == PM_REMOVE;
    if (isTaken && shown.empty() && (message.message == reported || message.message == done)) {
      char caption[400] = {};
      GetWindowTextA(dialog, caption, sizeof caption);
      const auto shownIcon = reinterpret_cast<HANDLE>(SendDlgItemMessageA(dialog, icon, STM_GETIMAGE, IMAGE_ICON, 0));
      const char* const kind = shownIcon == libraryIcon(2) ? " (audio)" : shownIcon == libraryIcon(3) ? " (raw)" : "";
      shown = caption + (": " + textOf(dialog, label)) + kind;
    }
    if (isTaken && message.message == reported) {
      reports.emplace_back(message.wParam, message.lParam);
      beforeReport();
    }
    return CallNextHookEx(nullptr, code, removed, parameter);
  }
  static LRESULT CALLBACK seeSent(int code, WPARAM wParam, LPARAM parameter) {
    const CWPSTRUCT& message = *reinterpret_cast<CWPSTRUCT*>(parameter);
    if (code == HC_ACTION && message.message == WM_INITDIALOG) {
      dialog = message.hwnd;
    }
    if (message.message == WM_ENTERIDLE) {
      SetPropA(dialog, "idle", dialog);
    }
    return CallNextHookEx(nullptr, code, wParam, parameter);
  }
  UniqueHandle<HHOOK, UnhookWindowsHookEx> posted{
      SetWindowsHookExA(WH_GETMESSAGE, seePosted, nullptr, GetCurrentThreadId())};
  UniqueHandle<HHOOK, UnhookWindowsHookEx> sent{
      SetWindowsHookExA(WH_CALLWNDPROC, seeSent, nullptr, GetCurrentThreadId())};
};

class ProgressDialog : public testing::Test {
 protected:
  static HWND dialog() { return DialogWatch::dialog; }
  static LRESULT ask(int control, UINT message) { return SendDlgItemMessageA(dialog(), control, message, 0, 0); }
  static LONG area() {
    RECT box = {};
    GetWindowRect(dialog(), &box);
    return (box.right - box.left) * (box.bottom - box.top);
  }
  static bool barIsHidden() { return (GetWindowLongA(GetDlgItem(dialog(), bar), GWL_STYLE) & WS_VISIBLE) == 0; }
  static bool run(Kind kind, int options, const std::function<void(QuilletNotification&)>& operation,
                  HWND parent = nullptr) {
    const DialogWatch watch;
    return runBehindProgressDialog(ProgressDialogParameters(kind, options, parent, nullptr), operation);
  }
  /// Waits until the dialog, which needs a parent for that, has no message left: at first it is then shown once more.
  static void awaitIdle() {
    EXPECT_TRUE(comes([] { return GetPropA(dialog(), "idle") != nullptr; }));
  }

  const UniqueHandle<HWND, DestroyWindow> parentHandle{CreateWindowA(
      "STATIC", "Parent", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 300, 200, nullptr, nullptr, nullptr, nullptr)};
  const HWND parent = parentHandle.get();
};

TEST_F(ProgressDialog, FollowsTheReports) {
  for (const auto& [kind, range] : {std::pair(Kind::open, 128), std::pair(Kind::getData, 8)}) {
    run(kind, 0, [&, range = range](QuilletNotification& sink) {
      int counter = 0;
      const auto report = [&](int phase, int cycle, const char* text) {
        EXPECT_TRUE(sink.progress(phase));
        ++counter;
        EXPECT_TRUE(comes([&] {
          const bool isThere = cycle == 0 || ask(bar, PBM_GETPOS) == std::min(counter % cycle, range);
          return isThere && barIsHidden() == (cycle == 0) && textOf(dialog(), label) == text;
        })) << counter;
      };
      for (int i = 0; i < 9; ++i) {
        report(2, 8, "Fetching samples: backtracking");
      }
      report(1, 0, "Opening the stream");
      report(3, 128, "Opening the stream");
      sink.progress(4);  // No phase: tells nothing.
      ++counter;
      for (int i = 0; i < 130; ++i) {
        report(0, 128, "Opening: parsing the stream");
      }
    });
  }
}

TEST_F(ProgressDialog, GetsTheNewestOfWhatItCannotFollow) {
  constexpr int count = 100'000;
  const KernelHandle allReported = manualEvent();
  // Ends: the operation, which sets the event, waits for nothing.
  DialogWatch::beforeReport = [&] { WaitForSingleObject(allReported.get(), INFINITE); };
  run(Kind::open, 0, [&](QuilletNotification& sink) {
    for (int i = 0; i < count; ++i) {
      sink.progress(i % 5);
    }
    SetEvent(allReported.get());
    EXPECT_TRUE(comes([&] { return ask(bar, PBM_GETPOS) == (count - 1) % 128; })) << "before the operation's end";
  });
  DialogWatch::beforeReport = [] {};
  EXPECT_EQ(DialogWatch::reports, (Reports{{0, 1}, {2, count - 2}, {3, count - 1}})) << "the label, then the bar";
}

TEST_F(ProgressDialog, StartsHiddenWhenItIsToldTo) {
  LONG full = 0;
  run(Kind::open, 0, [&](QuilletNotification&) { full = area(); });
  const auto operation = [&](QuilletNotification& sink) {
    awaitIdle();
    EXPECT_EQ(area(), 0);
    const HWND other = CreateWindowA("STATIC", "", WS_POPUP, 0, 0, 9, 9, nullptr, nullptr, nullptr, nullptr);
    SetForegroundWindow(other);
    sink.progress(2);
    EXPECT_TRUE(comes([&] { return area() == full; }));
    EXPECT_EQ(GetForegroundWindow(), other);  // Where the user may have gone meanwhile.
    DestroyWindow(other);
  };
  run(Kind::getData, 16, operation, parent);
}

TEST_F(ProgressDialog, TakesItsParentAlongWhenMinimised) {
  for (const bool isShown : {true, false}) {
    ShowWindow(parent, isShown ? SW_SHOW : SW_HIDE);  // A hidden one is the client's wish, not the dialog's.
    const auto becomes = [&](WPARAM command, bool minimised, bool visible) {
      PostMessageA(dialog(), WM_SYSCOMMAND, command, 0);
      EXPECT_TRUE(comes([&] { return IsIconic(dialog()) == minimised && IsWindowVisible(parent) == visible; }));
    };
    const auto operation = [&](QuilletNotification&) {
      awaitIdle();
      becomes(SC_MINIMIZE, true, false);
      becomes(SC_RESTORE, false, isShown);
      becomes(SC_MINIMIZE, true, false);
    };
    run(Kind::open, 32, operation, parent);
    EXPECT_EQ(IsWindowVisible(parent) != FALSE, isShown);
  }
}

TEST_F(ProgressDialog, EndsWithTheOperationOnly) {
  const KernelHandle returned = manualEvent();
  bool isOver = false;
  const auto operation = [&](QuilletNotification& sink) {
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_FALSE);  // The worker has done so.
    CoUninitialize();
    press(dialog(), IDOK);
    press(dialog(), IDCANCEL);
    PostMessageA(dialog(), WM_SYSCOMMAND, SC_CLOSE, 0);
    sink.progress(3);
    EXPECT_TRUE(comes([&] { return ask(bar, PBM_GETPOS) == 1; }));
    PostMessageA(parent, WM_CLOSE, 0, 0);  // Takes the dialog with it.
    EXPECT_TRUE(comes([&] { return !IsWindow(dialog()); }));
    EXPECT_FALSE(sink.progress(3));
    EXPECT_EQ(WaitForSingleObject(returned.get(), 50), DWORD{WAIT_TIMEOUT}) << "the caller has not waited";
    isOver = true;
  };
  EXPECT_TRUE(run(Kind::open, 32, operation, parent));
  SetEvent(returned.get());
  EXPECT_TRUE(isOver);
}

TEST_F(ProgressDialog, DoesNotRunWhatItCannotShow) {
  const auto never = [](QuilletNotification&) { ADD_FAILURE(); };
  EXPECT_FALSE(run(Kind::open, 0, never, reinterpret_cast<HWND>(4)));
  EXPECT_FALSE((NoWindows(), run(Kind::open, 32, never)));
}

/// With a video that takes long enough to report: its frames must be counted, and searches go back.
class EntryPoints : public ProgressDialog {
 protected:
  static constexpr long frames = 40;

  static ScriptedStream hollow() {
    ScriptedStream stream = scriptedVideo(4, 2, frames, 400'000);
    withoutFrameTime(stream);
    stream.seek = landLater(3);
    return stream;
  }
  /// Calls an operation on a stream that has a sink of its client's, who is not to notice.
  template <class Operation>
  static auto behind(SourceStream& stream, const std::string& shown, Operation operation) {
    Phases clients;
    stream.notify(&clients);
    const DialogWatch watch;
    const auto result = operation();
    EXPECT_EQ(stream.notify(nullptr), &clients);
    EXPECT_EQ(clients.counts, std::vector<int>(4));
    EXPECT_EQ(DialogWatch::shown, stream.usesDirectShow() ? shown : "");
    return result;
  }
};

TEST_F(EntryPoints, OpenWhatTheOptionsSay) {
  const std::string clip = mediaFile("ds_raw.avi");
  const std::string tooLong(300, 'T');
  const ScriptedFile scripted(scriptOf(hollow()));
  const struct {
    const char* file;
    int options, code;
    const char* shown = ": Opening the stream";
  } cases[] = {{clip.c_str(), 2, 0, ": Opening the stream (raw)"},
               {scripted.name(), 2 | 4 | 32, 0, ": Opening the stream (raw)"},
               {scripted.name(), 0, vfw_error::cannotOpenSourceFile},
               {scripted.name(), 8, 0},
               {"no such file", 1 | 4, ds_error::cannotOpenSourceFile, ": Opening the stream (audio)"},
               {nullptr, 1 | 2 | 8, ds_error::cannotOpenSourceFile, ": Opening the stream (raw)"}};
  for (const auto& [file, options, code, shown] : cases) {
    SCOPED_TRACE(std::string(file != nullptr ? file : "none") + " " + std::to_string(options));
    const DialogWatch watch;
    const std::unique_ptr<SourceStream> stream(SourceStream::open(options, nullptr, file, 0, tooLong.c_str()));
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(stream->lastError, code);
    EXPECT_EQ(stream->notify(), nullptr);
    EXPECT_EQ(DialogWatch::shown, ((options & 32) != 0 ? tooLong.substr(0, 256) : "") + shown);
    const bool isCounted = file == scripted.name() && code == 0;
    EXPECT_EQ(DialogWatch::reports.empty(), !isCounted);
    EXPECT_TRUE(!isCounted || DialogWatch::reports.back() == std::pair(WPARAM{1}, LPARAM{frames + 1}));
  }
}

TEST_F(EntryPoints, DoWhatTheOrdinaryOperationsDo) {
  const UniqueHandle<HWND, DestroyWindow> child{
      CreateWindowA("STATIC", "Child", WS_POPUP, 0, 0, 9, 9, parent, nullptr, nullptr, nullptr)};
  const std::string clip = mediaFile("ds_two.avi");
  const auto script = scriptOf(hollow());
  script->streams.push_back(scriptedAudio(pcmFormat(8000, 1, 16), 10, 80));
  const ScriptedFile scripted(script);
  for (const char* const name : {scripted.name(), clip.c_str()}) {
    const bool directShow = name != clip.c_str();
    SCOPED_TRACE(directShow);
    const std::unique_ptr<VideoSourceStream> video(VideoSourceStream::open(name, directShow, 0, nullptr));
    ASSERT_EQ(video->lastError, 0);
    EXPECT_EQ(behind(*video, ": Fetching a frame", [&] { return video->findFrame(16, nullptr, 20, nullptr); }), 20);
    if (directShow) {
      EXPECT_EQ(DialogWatch::reports, (Reports{{2, 1}, {2, 2}}));
    }
    const auto getBits = [&](long frame, int options, const char* shown) {
      const auto get = [&] { return video->getFrameBits(options, nullptr, frame, "Title"); };
      return std::pair(behind(*video, shown, get) != nullptr, frame);
    };
    EXPECT_EQ(getBits(25, 32, "Title: Fetching a frame"), std::pair(true, 25L));
    EXPECT_EQ(getBits(1'000'000, 1 | 2, ": Fetching a frame"), std::pair(false, -1L));
    EXPECT_NE(video->lastError, 0);
    long frame = 5;
    double time = video->StreamSampleToTime(frame);
    const auto toTime = [&] { return video->StreamSampleToTime(32, child.get(), frame, nullptr); };
    EXPECT_EQ(behind(*video, "Parent: Searching the stream", toTime), time);
    const auto toFrame = [&] { return video->StreamTimeToSample(0, nullptr, time, nullptr); };
    EXPECT_EQ(behind(*video, ": Searching the stream", toFrame), 5);

    const std::unique_ptr<RawDataSourceStream> raw(RawDataSourceStream::open(name, true, directShow, 0, nullptr));
    long samples = 0;
    long bytes = 0;
    bool key = true;
    frame = 7;
    const auto getData = [&] { return raw->getData(0, nullptr, frame, samples, bytes, key, nullptr); };
    EXPECT_NE(behind(*raw, ": Fetching samples (raw)", getData), nullptr);
    EXPECT_EQ(std::tuple(frame, samples, key, bytes > 0), std::tuple(7, 1, true, true));

    const std::unique_ptr<AudioSourceStream> audio(AudioSourceStream::open(name, directShow, 0, nullptr));
    const Bytes wanted = runOf(*audio, 100, 199);
    const auto getSamples = [&] { return audio->getSamples(0, nullptr, 100, 199, nullptr); };
    const unsigned char* const run = behind(*audio, ": Fetching audio samples (audio)", getSamples);
    EXPECT_TRUE(run != nullptr && std::equal(wanted.begin(), wanted.end(), run));
  }
}

TEST_F(EntryPoints, FailWithACodeAndWithoutADialog) {
  const ScriptedFile file(scriptOf(hollow()));
  const DSVideo unopened = openVideo("no such file");
  EXPECT_TRUE(failed(unopened->findFrame(0, nullptr, 7, nullptr), *unopened, ds_error::notOpened));
  const DSVideo video = openVideo(file.name());
  const NoWindows noWindows;
  EXPECT_TRUE(failed(video->findFrame(0, nullptr, 7, nullptr), *video, ds_error::cannotDisplayDialog));
  EXPECT_EQ(SourceStream::open(4, nullptr, file.name(), 0, nullptr), nullptr);
}

TEST_F(EntryPoints, LeaveNothingBehind) {
  const PlayedVideo video(hollow());
  const auto round = [&] {
    const DialogWatch watch;
    video->findFrame(16, nullptr, 20, nullptr);
    video->findFrame(32, nullptr, 0, "Title");
  };
  EXPECT_TRUE(leavesNothingBehind(round, 0, 0, 20));
}

}  // namespace
