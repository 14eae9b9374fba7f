// The dialogs of the DirectShow backend: the tuning of its sources and the choice of a compressor.

#include "support/ds_writing.h"
#include "support/wine_gaps.h"

using namespace quillet;
using namespace quillet::test;
using Microsoft::WRL::ComPtr;

namespace {

enum Control { quickDecode = 101, growthRatio = 102, stepBack = 103, compressors = 101 };
const HWND noWindow = reinterpret_cast<HWND>(4);

/// A source of one kind, and its dialog.
struct Source {
  bool isAudio;
  std::unique_ptr<SourceStream> stream;
  std::string title = std::string("Quillet DirectShow ") + (isAudio ? "audio" : "video") + " source configuration";

  void configure(const std::function<void(HWND)>& answer, HWND parent = nullptr) const {
    stream->lastError = ds_error::noFrameFound;
    const DialogDriver user({{title, answer}});
    stream->configure(parent);
    EXPECT_EQ(stream->lastError, 0);
  }
};

class Tuning : public testing::Test {
 protected:
  static std::unique_ptr<SourceStream> raw(const ScriptedFile& file, bool isVideo) {
    return std::unique_ptr<SourceStream>(DSRawDataSourceStream::open(file.name(), isVideo, 0, nullptr));
  }

  const ScriptedFile video{scriptOf(scriptedVideo(4, 2, 200, 400'000))};
  const ScriptedFile audio{scriptOf(scriptedAudio(pcmFormat(8000, 1, 16), 10, 800))};
  const Source sources[4] = {{false, openVideo(video.name())},
                             {true, openAudio(audio.name())},
                             {false, raw(video, true)},
                             {true, raw(audio, false)}};
};

TEST_F(Tuning, ShowsTheValuesAndTakesWhatIsEntered) {
  // What is entered in one dialog is shown by the next; "-" stands for the kind's default.
  const struct {
    std::string quick, step;
    int ratio, button;
    std::string nextQuick, nextStep, nextRatio;
  } cases[] = {
      {"5", "9", 3, IDCANCEL, "1", "-", "2"},
      {"5", "9", 3, IDOK, "5", "9", "3"},
      {"0", "none", 0, IDOK, "1", "-", "2"},
      {"6", "-7", 1, IDOK, "6", "-", "1"},
      {" 12 frames", "99999999999", 7, IDOK, "12", "2147483647", "7"},
      {"", "", 0, IDCANCEL, "", "", ""},
  };
  for (const Source& source : sources) {
    SCOPED_TRACE(source.title);
    std::string quick = "1", step = source.isAudio ? "1024" : "1", ratio = "2";
    for (const auto& c : cases) {
      source.configure([&](HWND dialog) {
        EXPECT_EQ(textOf(dialog, quickDecode), quick);
        EXPECT_EQ(textOf(dialog, stepBack), step);
        EXPECT_EQ(textOf(dialog, growthRatio), source.isAudio ? "" : ratio);
        enter(dialog, quickDecode, c.quick.c_str());
        enter(dialog, stepBack, c.step.c_str());
        SendDlgItemMessageA(dialog, growthRatio, CB_SETCURSEL, c.ratio, 0);
        press(dialog, c.button);
      });
      quick = c.nextQuick;
      step = c.nextStep != "-" ? c.nextStep : source.isAudio ? "1024" : quick;
      ratio = c.nextRatio;
    }
  }
}

TEST_F(Tuning, FailsWithACodeAndChangesNothing) {
  dynamic_cast<DSVideoSourceStream&>(*sources[0].stream).config(1, 1, 12);
  for (const Source& source : sources) {
    SCOPED_TRACE(source.title);
    source.stream->configure(noWindow);
    EXPECT_EQ(source.stream->lastError, ds_error::cannotDisplayDialog);
    const HWND parent = makeParent();
    const auto type = [](HWND dialog) { enter(dialog, quickDecode, "9"); };
    source.configure(closing(parent, type), parent);  // As by Cancel.
    source.configure([&](HWND dialog) {
      EXPECT_EQ(textOf(dialog, quickDecode), "1");
      EXPECT_TRUE(&source != sources || textOf(dialog, growthRatio) == "7") << "the last of the list";
      press(dialog, IDCANCEL);
    });
  }
  const DSVideo none = openVideo("no such file");
  none->configure(nullptr);
  EXPECT_EQ(none->lastError, ds_error::notOpened);
}

/// A compressor that the system lists while this lives; there is none behind it but by class-object override.
struct RegisteredCompressor {
  explicit RegisteredCompressor(const wchar_t* name = L"Test compressor") {
    CoCreateGuid(&id);
    CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&mapper));
    REGFILTER2 details = {};
    details.dwVersion = 1;
    EXPECT_EQ(mapper->RegisterFilter(id, name, &moniker, &CLSID_VideoCompressorCategory, nullptr, &details), S_OK);
  }
  RegisteredCompressor(const RegisteredCompressor&) = delete;
  RegisteredCompressor& operator=(const RegisteredCompressor&) = delete;
  ~RegisteredCompressor() { remove(); }

  /// The moniker stays, but leads to nothing any more.
  void remove() const { mapper->UnregisterFilter(&CLSID_VideoCompressorCategory, nullptr, id); }

  CLSID id = {};
  Microsoft::WRL::ComPtr<IFilterMapper2> mapper;
  Microsoft::WRL::ComPtr<IMoniker> moniker;
};

/// In place of the system's device enumerator: gives itself as the list.
struct Devices : quillet::test::ComObject<ICreateDevEnum, IEnumMoniker> {
  STDMETHODIMP CreateClassEnumerator(REFCLSID category, IEnumMoniker** list, DWORD) override {
    next = 0;
    // Graphs ask, too, for filters of other categories.
    return category == CLSID_VideoCompressorCategory ? QueryInterface(listId, reinterpret_cast<void**>(list)) : E_FAIL;
  }
  STDMETHODIMP Next(ULONG, IMoniker** moniker, ULONG*) override {
    return next < monikers.size() ? monikers[next++].CopyTo(moniker) : S_FALSE;
  }
  STDMETHODIMP Reset() override { return next = 0, S_OK; }
  STDMETHODIMP Skip(ULONG) override { return E_NOTIMPL; }
  STDMETHODIMP Clone(IEnumMoniker**) override { return E_NOTIMPL; }

  std::vector<ComPtr<IMoniker>> monikers;
  std::size_t next = 0;
  IID listId = IID_IEnumMoniker;  // One that there is not makes the listing fail.
};

class Choosing : public DSWriting {
 protected:
  Writer create() const { return Writer(OutputAVIFile::create(file.name(), &video, true, &audio, true, true)); }
  /// Chooses a video compressor, and expects this code.
  static void choose(OutputAVIFile& writer, int code, std::vector<DialogStep> steps = {}, HWND parent = nullptr) {
    const DialogDriver user(std::move(steps));
    EXPECT_EQ(writer.chooseCompressor(parent, true), code == 0);
    EXPECT_EQ(writer.lastError, code);
  }
};

TEST_F(Choosing, TheSystemsRunLengthCompressorCompresses) {
  struct {
    VIDEOINFOHEADER video;
    RGBQUAD colours[2];
  } format = {videoFormat(), {{0, 0, 0, 0}, {9, 9, 9, 0}}};
  format.video.bmiHeader.biBitCount = 8;
  format.video.bmiHeader.biSizeImage = 8 * 4;
  format.video.bmiHeader.biClrUsed = std::size(format.colours);
  const Writer writer(OutputAVIFile::create(file.name(), &format.video, true, nullptr, false, true));
  const auto answer = [](HWND dialog) {
    SendDlgItemMessageA(dialog, compressors, LB_SELECTSTRING, -1, LPARAM(wine_gap::runLengthCodec));
    press(dialog, IDOK);
  };
  choose(*writer, 0, {{"Compressor", answer}});
  EXPECT_TRUE(writer->start());
  for (long frame = 0; frame < 6; ++frame) {
    EXPECT_TRUE(writer->writeFrame(frame, Bytes(8 * 4, frame % 2).data(), 1, -1, frame == 0));
  }
  EXPECT_TRUE(writer->close());
  const std::unique_ptr<VideoSourceStream> read(VideoSourceStream::open(file.name(), false, 0, nullptr));
  for (long frame = 0; frame < 6; ++frame) {
    EXPECT_EQ(frameOf(*read, frame), Bytes(8 * 4 * 3, frame % 2 * 9));
  }
}

TEST_F(Choosing, ListsTheNamesInOrderAndTakesTheFirstOfAName) {
  const RegisteredCompressor twin(L"Twin"), gone(L"gone"), first(L"twin"), second(L"twin"), ape(L"Ape");
  gone.remove();
  const ClassObjectOverride filter(first.id, test::fileWriter(faults));  // Has no output.
  const auto devices = makeCom<Devices>();
  devices->monikers = {twin.moniker, gone.moniker, first.moniker, second.moniker, ape.moniker};
  HRESULT failure = S_OK;
  const ClassObjectOverride enumerator(CLSID_SystemDeviceEnum, [&](REFIID id, void** object) {
    return FAILED(failure) ? failure : devices->QueryInterface(id, object);
  });
  const auto pick = [](int index, int button, const std::function<void()>& meanwhile = nullptr) {
    const auto answer = [=](HWND dialog) {
      if (meanwhile) {
        meanwhile();
      }
      SendDlgItemMessageA(dialog, compressors, LB_SETCURSEL, index, 0);
      button != 0 ? press(dialog, button) : doubleClick(dialog, compressors);
    };
    return std::vector<DialogStep>{{"Compressor", answer}};
  };
  const Writer writer = create();
  const auto look = [&](HWND dialog) {
    std::string names;
    char text[64] = {};
    for (int i = 0; SendDlgItemMessageA(dialog, compressors, LB_GETTEXT, i, LPARAM(text)) != LB_ERR; ++i) {
      names += text + std::string(" ");
    }
    EXPECT_EQ(names, "Twin twin twin Ape ");
    press(dialog, IDOK);
  };
  choose(*writer, output_error::dialogCancelled, {{"Compressor", look}});
  choose(*writer, output_error::dialogCancelled, pick(1, IDCANCEL));
  choose(*writer, ds_error::cannotFetchCompressor, pick(0, IDOK));
  choose(*writer, ds_error::cannotFetchCompressor, pick(3, 0));
  choose(*writer, ds_error::cannotRetrieveFilter, pick(3, IDOK, [&] { ape.remove(); }));
  choose(*writer, ds_error::cannotDisplayDialog, {}, noWindow);
  NoWindows(), choose(*writer, ds_error::cannotDisplayDialog);
  choose(*writer, ds_error::cannotConnectFilters, pick(2, IDOK));  // The second twin, for which the first is taken.

  const Writer other = create();
  ComPtr<IMoniker> withoutStorage;
  CreateAntiMoniker(&withoutStorage);
  const auto breakList = [&] { devices->monikers.front() = withoutStorage; };
  choose(*other, ds_error::unreachableCompressorDescription, pick(1, IDOK, breakList));
  choose(*other, ds_error::unreachableCompressorDescription);
  devices->monikers.clear();
  choose(*other, ds_error::cannotListCompressors);
  devices->listId = IID_IBaseFilter;
  choose(*other, ds_error::cannotListCompressors);
  failure = E_FAIL;
  choose(*other, ds_error::noDeviceEnumerator);
}

}  // namespace
