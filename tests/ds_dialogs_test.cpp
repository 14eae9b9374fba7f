// The dialogs of the DirectShow backend: the tuning of its sources and the choice of a compressor.

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "directshow/graph/sample_grabber.h"
#include "support/avi_mux.h"
#include "support/dialog_driver.h"
#include "support/ds_streams.h"
#include "support/file_writer.h"
#include "support/graph_override.h"
#include "support/registered_compressor.h"
#include "support/writing.h"

using namespace quillet;
using namespace quillet::test;
using Microsoft::WRL::ComPtr;

namespace {

constexpr char videoTitle[] = "Quillet DirectShow video source configuration";
constexpr char audioTitle[] = "Quillet DirectShow audio source configuration";
constexpr char property[] = "DSSCONFIG";
enum Control { quickDecode = 101, growthRatio = 102, stepBack = 103, compressors = 101 };

WNDPROC dialogProcedure = nullptr;
std::atomic<int> propertiesLeft = 0;

/// Sees to it that a dialog's property is gone once the dialog has been answered or destroyed.
LRESULT CALLBACK watch(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  const LRESULT result = CallWindowProcA(dialogProcedure, dialog, message, wParam, lParam);
  const bool isOver = message == WM_DESTROY || (message == WM_COMMAND && LOWORD(wParam) <= IDCANCEL);
  propertiesLeft += isOver && GetPropA(dialog, property) != nullptr;
  return result;
}

void watchProperty(HWND dialog) {
  EXPECT_NE(GetPropA(dialog, property), nullptr);
  dialogProcedure =
      reinterpret_cast<WNDPROC>(SetWindowLongPtrA(dialog, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(watch)));
}

LRESULT select(HWND dialog, int control, UINT message, int index) {
  return SendDlgItemMessageA(dialog, control, message, index, 0);
}

/// Keeps the windows of its thread from being made.
class NoWindows {
 public:
  NoWindows() = default;
  NoWindows(const NoWindows&) = delete;
  NoWindows& operator=(const NoWindows&) = delete;
  ~NoWindows() { UnhookWindowsHookEx(hook); }

 private:
  static LRESULT CALLBACK refuse(int code, WPARAM, LPARAM) { return code == HCBT_CREATEWND; }
  HHOOK hook = SetWindowsHookExA(WH_CBT, refuse, nullptr, GetCurrentThreadId());
};

/// The dialog's controls in their order: id, place and size in dialog units, and text.
std::string layoutOf(HWND dialog) {
  RECT base = {0, 0, 4, 8};
  MapDialogRect(dialog, &base);
  const auto units = [&](HWND window, const RECT& rect) {
    return std::to_string(GetDlgCtrlID(window)) + ' ' + std::to_string(MulDiv(rect.left, 4, base.right)) + ',' +
           std::to_string(MulDiv(rect.top, 8, base.bottom)) + ' ' +
           std::to_string(MulDiv(rect.right - rect.left, 4, base.right)) + 'x' +
           std::to_string(MulDiv(rect.bottom - rect.top, 8, base.bottom)) + ' ';
  };
  RECT rect = {};
  GetClientRect(dialog, &rect);
  LOGFONTA font = {};
  GetObjectA(reinterpret_cast<HFONT>(SendMessageA(dialog, WM_GETFONT, 0, 0)), sizeof font, &font);
  std::string layout = units(dialog, rect) + font.lfFaceName + '\n';
  for (HWND child = GetWindow(dialog, GW_CHILD); child != nullptr; child = GetWindow(child, GW_HWNDNEXT)) {
    char text[256] = {};
    GetWindowTextA(child, text, sizeof text);
    GetWindowRect(child, &rect);
    MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&rect), 2);
    layout += units(child, rect) + text + '\n';
  }
  return layout;
}

constexpr char videoLayout[] = R"(0 0,0 249x93 MS Sans Serif
101 136,6 52x13 1
103 136,32 52x13 1
102 136,58 52x13 2
1 193,58 50x14 OK
2 193,74 50x14 Cancel
-1 4,4 128x20 number of frames which it is quicker to decode than perform a seek operation
-1 192,8 56x12 0 = default value
-1 4,25 128x30 number of frames to step back in "hollow" streams when a given frame could not be found
-1 192,34 56x12 0 = default value
-1 4,56 132x34 geometrical growth ratio of the backtrack step when successive backward searches are )"
                               "required in a \"hollow\" stream to find a given frame\n";
constexpr char audioLayout[] = R"(0 0,0 249x80 MS Sans Serif
101 136,6 52x13 1
103 136,35 52x13 1024
1 71,62 50x14 OK
2 127,62 50x14 Cancel
-1 4,4 128x20 number of samples which it is quicker to decode than perform a seek operation
-1 192,8 56x12 0 = default value
-1 4,25 128x35 number of samples to step back when seeking for a given sample delivers a later one and )"
                               "samples blocks size is still unknown\n-1 192,37 56x12 0 = default value\n";
constexpr char compressorLayout[] = R"(0 0,0 186x130 MS Sans Serif
-1 7,7 172x8 Select one in the list below:
101 7,18 172x86 
1 39,110 50x14 OK
2 97,110 50x14 Cancel
)";

/// A source of one kind on a scripted file.
struct Tuned {
  const char* title;
  bool isAudio;
  std::size_t textLength;
  std::unique_ptr<SourceStream> stream;
};

class Tuning : public testing::Test {
 protected:
  static ScriptedStream hollowVideo() {
    ScriptedStream stream = scriptedVideo(4, 2, 200, 400'000);
    stream.seek = landLater(8);
    return stream;
  }

  std::vector<Tuned> open() const {
    std::vector<Tuned> sources;
    sources.push_back({videoTitle, false, 34, openVideo(video.name())});
    sources.push_back({audioTitle, true, 18, openAudio(audio.name())});
    sources.push_back({videoTitle, false, 34, raw(video, true)});
    sources.push_back({audioTitle, true, 18, raw(audio, false)});
    return sources;
  }
  static std::unique_ptr<SourceStream> raw(const ScriptedFile& file, bool isVideo) {
    return std::unique_ptr<SourceStream>(DSRawDataSourceStream::open(file.name(), isVideo, 0, nullptr));
  }

  const TimeLimit limit{60};
  const ScriptedFile video{scriptOf(hollowVideo())};
  const ScriptedFile audio{scriptOf(scriptedAudio(pcmFormat(8000, 1, 16), 10, 800))};
};

TEST_F(Tuning, ShowsTheValuesAndTakesWhatIsEntered) {
  // What is entered in one dialog is shown by the next; "-" stands for the kind's default.
  const struct {
    std::string quick, step;
    int ratio, button;
    std::string nextQuick, nextStep, nextRatio;
  } cases[] = {
      {"5", "9", 3, IDCANCEL, "1", "-", "2"}, {"5", "9", 3, IDOK, "5", "9", "3"},
      {"8", "8", 8, IDCANCEL, "5", "9", "3"}, {"0", "0", 0, IDOK, "1", "-", "2"},
      {"6", "0", 1, IDOK, "6", "-", "1"},     {"-4", "-7", 7, IDOK, "1", "-", "7"},
      {"none", "", 4, IDOK, "1", "-", "4"},   {" 12 frames", "99999999999", 5, IDOK, "12", "2147483647", "5"},
      {"%12", "%12", 6, IDOK, "1", "1", "6"},  // Its last digit is beyond what is read.
  };
  for (const Tuned& source : open()) {
    SCOPED_TRACE(source.title);
    ASSERT_EQ(source.stream->lastError, 0);
    std::string quick = "1", step = source.isAudio ? "1024" : "1", ratio = "2";
    for (const auto& c : cases) {
      const auto entered = [&](const std::string& text) {
        return text[0] == '%' ? std::string(source.textLength - 1, '0') + text.substr(1) : text;
      };
      source.stream->lastError = ds_error::noFrameFound;
      {
        const DialogDriver user({{source.title, [&](HWND dialog) {
                                    watchProperty(dialog);
                                    if (&c == cases) {
                                      EXPECT_EQ(layoutOf(dialog), source.isAudio ? audioLayout : videoLayout);
                                    }
                                    EXPECT_EQ(textOf(dialog, quickDecode), quick);
                                    EXPECT_EQ(textOf(dialog, stepBack), step);
                                    EXPECT_EQ(textOf(dialog, growthRatio), source.isAudio ? "" : ratio);
                                    enter(dialog, quickDecode, entered(c.quick).c_str());
                                    enter(dialog, stepBack, entered(c.step).c_str());
                                    select(dialog, growthRatio, CB_SETCURSEL, c.ratio);
                                    press(dialog, c.button);
                                  }}});
        source.stream->configure(nullptr);
      }
      EXPECT_EQ(source.stream->lastError, 0);
      quick = c.nextQuick;
      step = c.nextStep != "-" ? c.nextStep : source.isAudio ? "1024" : quick;
      ratio = c.nextRatio;
    }
  }
  EXPECT_EQ(propertiesLeft, 0);
}

TEST_F(Tuning, AGrowthBeyondTheListBecomesItsLastWhenAccepted) {
  GraphOverride graph;
  const DSVideo stream = openVideo(video.name());
  stream->config(1, 1, 12);
  for (const auto& [button, growth] : {std::pair(IDCANCEL, 12), std::pair(IDOK, 7)}) {
    {
      const DialogDriver user({{videoTitle, [&](HWND dialog) {
                                  EXPECT_EQ(textOf(dialog, growthRatio), "7");
                                  press(dialog, button);
                                }}});
      stream->configure(nullptr);
    }
    graph.faults.seeks.clear();
    stream->findFrame(100);
    stream->findFrame(0);  // For the next to seek.
    const LONGLONG half = 200'000;
    ASSERT_GE(graph.faults.seeks.size(), 3U);
    EXPECT_NEAR(graph.faults.seeks[1], 199 * half, 2);
    EXPECT_NEAR(graph.faults.seeks[2], (199 - 2 * growth) * half, 2);
  }
}

TEST_F(Tuning, FailsWithACodeAndChangesNothing) {
  for (const Tuned& source : open()) {
    SCOPED_TRACE(source.title);
    source.stream->configure(reinterpret_cast<HWND>(4));
    EXPECT_EQ(source.stream->lastError, ds_error::cannotDisplayDialog) << "the parent is no window";
    {
      const NoWindows none;
      source.stream->configure(nullptr);
      EXPECT_EQ(source.stream->lastError, ds_error::cannotDisplayDialog);
    }
    {
      // The parent goes, and the dialog with it.
      const HWND parent = CreateWindowA("STATIC", "", WS_POPUP, 0, 0, 9, 9, nullptr, nullptr, nullptr, nullptr);
      const DialogDriver user({{source.title, [=](HWND dialog) {
                                  watchProperty(dialog);
                                  enter(dialog, quickDecode, "9");
                                  PostMessageA(parent, WM_CLOSE, 0, 0);
                                }}});
      source.stream->configure(parent);
      EXPECT_EQ(source.stream->lastError, ds_error::cannotDisplayDialog);
      EXPECT_FALSE(IsWindow(parent));
    }
    const DialogDriver user({{source.title, [](HWND dialog) {
                                EXPECT_EQ(textOf(dialog, quickDecode), "1");
                                press(dialog, IDCANCEL);
                              }}});
    source.stream->configure(nullptr);
  }
  EXPECT_EQ(propertiesLeft, 0);

  // The names of properties are atoms, of which there are so many and no more.
  std::vector<ATOM> atoms;
  const Tuned source = std::move(open()[0]);
  for (int i = 0; const ATOM atom = GlobalAddAtomA(("quillet " + std::to_string(i)).c_str()); ++i) {
    atoms.push_back(atom);
  }
  source.stream->configure(nullptr);
  for (const ATOM atom : atoms) {
    GlobalDeleteAtom(atom);
  }
  EXPECT_EQ(source.stream->lastError, ds_error::cannotAddDialogProperty);
  EXPECT_FALSE(source.stream->lastErrorIsFatal());

  const DSVideo none = openVideo("no such file");
  none->configure(nullptr);
  EXPECT_EQ(none->lastError, ds_error::notOpened);
}

/// The system's device enumerator, and the list that it gives, from what the test wants listed.
struct Listed {
  std::vector<ComPtr<IMoniker>> monikers;
  HRESULT create = S_OK, list = S_OK;
};

class Devices : public quillet::test::ComObject<ICreateDevEnum, IEnumMoniker> {
 public:
  explicit Devices(const Listed& listed) : listed(listed) {}
  STDMETHODIMP CreateClassEnumerator(REFCLSID category, IEnumMoniker** list, DWORD) override {
    if (category != CLSID_VideoCompressorCategory || FAILED(listed.list)) {
      return E_FAIL;  // Graphs ask, too, for filters of other categories.
    }
    return QueryInterface(IID_IEnumMoniker, reinterpret_cast<void**>(list));
  }
  STDMETHODIMP Next(ULONG, IMoniker** moniker, ULONG*) override {
    return next < listed.monikers.size() ? listed.monikers[next++].CopyTo(moniker) : S_FALSE;
  }
  STDMETHODIMP Reset() override { return next = 0, S_OK; }
  STDMETHODIMP Skip(ULONG) override { return E_NOTIMPL; }
  STDMETHODIMP Clone(IEnumMoniker**) override { return E_NOTIMPL; }

 private:
  const Listed& listed;
  std::size_t next = 0;
};

class Choosing : public testing::Test {
 protected:
  Writer create(bool compress = true) const {
    return Writer(OutputAVIFile::create(file.name(), &video, compress, &audio, compress, true));
  }
  /// Chooses a video compressor, and expects this code.
  static void choose(OutputAVIFile& writer, int code, std::vector<DialogStep> steps = {}, HWND parent = nullptr) {
    const DialogDriver user(std::move(steps));
    EXPECT_EQ(writer.chooseCompressor(parent, true), code == 0);
    EXPECT_EQ(writer.lastError, code);
  }

  const TimeLimit limit{60};
  const ClassObjectOverride mux{CLSID_AviDest, aviMux(std::make_shared<MuxScript>())};
  const ClassObjectOverride fileWriter{CLSID_FileWriter, test::fileWriter(std::make_shared<WriterFaults>())};
  const VIDEOINFOHEADER video = videoFormat();
  const WAVEFORMATEX audio = pcmFormat(8000, 1, 16);
  const TempFile file{".avi"};
};

TEST_F(Choosing, TakesOneOfTheSystemsCompressors) {
  const RegisteredCompressor compressor;
  const ClassObjectOverride filter(compressor.id, [](REFIID id, void** object) {
    return CoCreateInstance(CLSID_SampleGrabber, nullptr, CLSCTX_INPROC_SERVER, id, object);
  });
  choose(*create(false), output_error::directCopyRequired);
  const Writer writer = create();
  choose(*writer, 0, {{"Compressor", [](HWND dialog) {
                         SendDlgItemMessageA(dialog, compressors, LB_SELECTSTRING, -1, LPARAM("Test compressor"));
                         press(dialog, IDOK);
                       }}});
  EXPECT_TRUE(writer->isCompressorSet(true));
  choose(*writer, output_error::compressorAlreadySet);
  EXPECT_FALSE(writer->chooseCompressor(nullptr, false)) << "no audio compressors, and no dialog";
  EXPECT_EQ(writer->lastError, ds_error::cannotListCompressors);
  EXPECT_TRUE(writer->setCompressor(false, nullptr) && writer->start() && writePicture(*writer, 0));
}

TEST_F(Choosing, ListsTheNamesInOrderAndTakesTheFirstOfAName) {
  const RegisteredCompressor all[] = {RegisteredCompressor(L"Twin"), RegisteredCompressor(L"gone"),
                                      RegisteredCompressor(L"twin"), RegisteredCompressor(L"twin"),
                                      RegisteredCompressor(L"Ape")};
  all[1].remove();
  const ClassObjectOverride filter(all[2].id, test::fileWriter(std::make_shared<WriterFaults>()));  // Has no output.
  Listed listed;
  for (const RegisteredCompressor& one : all) {
    listed.monikers.push_back(one.moniker);
  }
  const ClassObjectOverride devices(CLSID_SystemDeviceEnum, [&](REFIID id, void** object) {
    return FAILED(listed.create) ? listed.create : makeCom<Devices>(listed)->QueryInterface(id, object);
  });
  const auto pick = [](
                        int index, int button, const std::function<void()>& before = [] {}) {
    return std::vector<DialogStep>{{"Compressor", [=](HWND dialog) {
                                      before();
                                      select(dialog, compressors, LB_SETCURSEL, index);
                                      press(dialog, button);
                                    }}};
  };
  const Writer writer = create();
  choose(*writer, output_error::dialogCancelled,
         {{"Compressor", [](HWND dialog) {
             for (int i = 0; const char* const name : {"Twin", "twin", "twin", "Ape"}) {
               char text[32] = {};
               SendDlgItemMessageA(dialog, compressors, LB_GETTEXT, i++, reinterpret_cast<LPARAM>(text));
               EXPECT_STREQ(text, name);
             }
             EXPECT_EQ(select(dialog, compressors, LB_GETCOUNT, 0), 4);
             EXPECT_EQ(layoutOf(dialog), compressorLayout);
             press(dialog, IDOK);
           }}});
  choose(*writer, output_error::dialogCancelled, pick(1, IDCANCEL));
  choose(*writer, ds_error::cannotFetchCompressor, pick(0, IDOK));
  choose(*writer, ds_error::cannotFetchCompressor, pick(3, IDOK));
  choose(*writer, ds_error::cannotRetrieveFilter, pick(3, IDOK, [&] { all[4].remove(); }));
  choose(*writer, ds_error::cannotDisplayDialog, {}, reinterpret_cast<HWND>(4));
  {
    const NoWindows none;
    choose(*writer, ds_error::cannotDisplayDialog);
  }
  choose(*writer, ds_error::cannotConnectFilters, pick(2, IDOK));  // The first twin, which was the one before.
  EXPECT_TRUE(writer->isCompressorSet(true));

  const Writer other = create();
  ComPtr<IMoniker> withoutStorage;
  CreateAntiMoniker(&withoutStorage);
  choose(*other, ds_error::unreachableCompressorDescription,
         pick(1, IDOK, [&] { listed.monikers.front() = withoutStorage; }));
  choose(*other, ds_error::unreachableCompressorDescription);
  listed.monikers.clear();
  choose(*other, ds_error::cannotListCompressors);
  listed.list = E_FAIL;
  choose(*other, ds_error::cannotListCompressors);
  listed.create = E_FAIL;
  choose(*other, ds_error::noDeviceEnumerator);
}

}  // namespace
