// Configuring the DirectShow writer's compressors, as a user does in the dialogs.

#include <gtest/gtest.h>

#include <windows.h>

#include <commctrl.h>
#include <dshow.h>
#include <dvdmedia.h>

#include "support/avi_mux.h"
#include "support/dialog_driver.h"
#include "support/ds_streams.h"
#include "support/empty_page.h"
#include "support/file_writer.h"
#include "support/test_compressor.h"
#include "support/writing.h"

using namespace quillet;
using namespace quillet::test;
using Microsoft::WRL::ComPtr;
using Calls = std::vector<std::string>;
using Act = std::function<void(HWND)>;

namespace {

/// A wave format, with what it leaves open: channels, bits and frequency, each from, to, in steps of.
CompressorScript::Capability wave(const WAVEFORMATEX& format, AUDIO_STREAM_CONFIG_CAPS choices = {}) {
  CompressorScript::Capability result = {{}, choices};
  CreateAudioMediaType(&format, &result.type, TRUE);
  return result;
}

template <class Header>
CMediaType video(const GUID& kind, DWORD bitRate) {
  Header header = {};
  header.dwBitRate = bitRate;
  header.AvgTimePerFrame = 400'000;
  header.bmiHeader = rgb24Format(8, 4);
  CMediaType type;
  type.majortype = MEDIATYPE_Video;
  type.formattype = kind;
  type.setFormat(&header, sizeof header);
  return type;
}

/// Presses a button that opens nothing.
void click(HWND dialog, int button) {
  SendDlgItemMessageA(dialog, button, BM_CLICK, 0, 0);
}

bool enabled(HWND dialog, int control) {
  return IsWindowEnabled(GetDlgItem(dialog, control));
}

/// What a list box or a combo box offers.
Calls items(HWND dialog, int control, UINT getCount, UINT getText) {
  Calls result;
  for (LRESULT i = 0; i < SendDlgItemMessageA(dialog, control, getCount, 0, 0); ++i) {
    char text[256] = {};
    SendDlgItemMessageA(dialog, control, getText, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(text));
    result.emplace_back(text);
  }
  return result;
}

void select(HWND dialog, int control, UINT message, int index) {
  SendDlgItemMessageA(dialog, control, message, static_cast<WPARAM>(index), 0);
}

/// The user at one of the dialogs, who at last presses a button.
DialogStep at(
    const char* title, int button, Act act = [](HWND) {}) {
  return {title, [=](HWND dialog) {
            act(dialog);
            press(dialog, button);
          }};
}
DialogStep atAudio(
    int button, Act act = [](HWND) {}) {
  return at("Audio compressor settings", button, std::move(act));
}
DialogStep atVideo(
    int button, Act act = [](HWND) {}) {
  return at("Video compressor settings", button, std::move(act));
}
DialogStep atMessage(const char* text) {
  return at("Quillet library", IDOK, [=](HWND box) { EXPECT_EQ(textOf(box, 0xFFFF), text); });
}
DialogStep setting(int line) {
  return atAudio(103, [=](HWND dialog) { select(dialog, 101, LB_SETCURSEL, line); });
}

class DSConfiguration : public testing::Test {
 protected:
  Writer create(bool isVideo) const {
    return Writer(OutputAVIFile::create(file.name(), isVideo ? &videoHeader : nullptr, true, isVideo ? nullptr : &pcm,
                                        true, true));
  }

  /// @return the writer's code when the user is done.
  int configure(bool isVideo, std::vector<DialogStep> steps, void* parent = nullptr) {
    script->calls.clear();
    script->connection = isVideo ? video<VIDEOINFOHEADER>(FORMAT_VideoInfo, 0) : wave(pcm).type;
    const Writer writer = create(isVideo);
    ComPtr<IMoniker> moniker;
    CreatePointerMoniker(testCompressor(script).Get(), &moniker);
    EXPECT_EQ(writer->setCompressor(isVideo, moniker.Get()), script->hasOutput);
    const DialogDriver user(std::move(steps));
    writer->configureCompressor(parent, isVideo);
    return writer->lastError;
  }

  const TimeLimit limit{60};
  const ClassObjectOverride mux{CLSID_AviDest, aviMux(std::make_shared<MuxScript>())};
  const ClassObjectOverride fileWriter{CLSID_FileWriter, quillet::test::fileWriter(std::make_shared<WriterFaults>())};
  const VIDEOINFOHEADER videoHeader = videoFormat();
  const WAVEFORMATEX pcm = pcmFormat(8000, 1, 16);
  const TempFile file{".avi"};
  const std::shared_ptr<CompressorScript> script = std::make_shared<CompressorScript>();
};

TEST_F(DSConfiguration, FailsWithTheCodeOfTheStep) {
  const struct {
    bool isVideo;
    int code;
    CompressorScript script;
    std::vector<DialogStep> steps;
  } cases[] = {
      {false, ds_error::noOutputPin, {.hasOutput = false}, {}},
      {true, ds_error::noOutputPin, {.hasOutput = false}, {}},
      {false, ds_error::notConfigurableFilter, {.missing = {IID_IAMStreamConfig}}, {}},
      {true, ds_error::notConfigurableFilter, {.missing = {IID_IAMVideoCompression, IID_IAMVfwCompressDialogs}}, {}},
      {false, ds_error::cannotGetPresentFormat, {.faults = {{"GetFormat", E_FAIL}}}, {}},
      {false, ds_error::cannotGetExposedFormats, {.faults = {{"GetNumberOfCapabilities", E_FAIL}}}, {}},
      {true, ds_error::cannotRetrieveCompressionInfo, {.faults = {{"GetInfo", E_FAIL}}}, {}},
      {true,
       ds_error::unexpectedError,
       {},
       {atVideo(IDOK, [](HWND dialog) { EXPECT_TRUE(RemovePropA(dialog, "videoConfigDB_parameters")); })}},
      {true, output_error::dialogCancelled, {}, {atVideo(IDCANCEL)}},
      {true, 0, {}, {atVideo(IDOK)}},
  };
  for (const auto& c : cases) {
    *script = c.script;
    EXPECT_EQ(configure(c.isVideo, c.steps), c.code);
    EXPECT_EQ(script->calls, Calls());
  }
  for (const bool isVideo : {false, true}) {
    EXPECT_EQ(configure(isVideo, {}, GetModuleHandleA(nullptr)), ds_error::cannotDisplayDialog) << "not a window";
    const Writer writer = create(isVideo);
    writer->configureCompressor(nullptr, isVideo);
    EXPECT_EQ(writer->lastError, output_error::noCompressorSelected);
    EXPECT_FALSE(writer->close());
    const Writer none(OutputAVIFile::create(file.name(), nullptr, false, nullptr, false, true));
    none->configureCompressor(nullptr, isVideo);
    EXPECT_EQ(none->lastError, ds_error::notOpened);
  }
}

TEST_F(DSConfiguration, AnAudioFormatIsPickedFromThoseOfTheOutput) {
  const WAVEFORMATEX adpcm = {WAVE_FORMAT_ADPCM, 2, 22050, 22311, 1024, 4, 0};
  script->format = wave(adpcm).type;
  CompressorScript::Capability other = {};
  script->capabilities = {wave(pcm), std::nullopt, wave(adpcm), other};
  const auto lists = [](HWND dialog) {
    EXPECT_EQ(textOf(dialog, 102),
              "Format Tag 0x02, channels:2, bits per sample:4, samples per second:22050, bytes per second:22311");
    EXPECT_EQ(items(dialog, 101, LB_GETCOUNT, LB_GETTEXT),
              (Calls{"0\tPCM format, channels:1, bits per sample:16, samples per second:8000, bytes per second:16000",
                     "2\t" + textOf(dialog, 102),
                     "3\tOther format, channels:?, bits per sample:?, samples per second:?, bytes per second:?"}));
    EXPECT_EQ(textOf(dialog, 104), "");
  };
  const auto shows = [](const char* line) { return [=](HWND dialog) { EXPECT_EQ(textOf(dialog, 104), line); }; };
  const char* const lineOfPcm =
      "PCM format, channels:1, bits per sample:16, samples per second:8000, bytes per second:16000";
  EXPECT_EQ(configure(false, {atAudio(103, lists), atMessage("No format selected."), atAudio(IDCANCEL)}),
            output_error::dialogCancelled);
  EXPECT_EQ(script->calls, Calls());

  const auto setAndShow = [&](HWND dialog) {
    select(dialog, 101, LB_SETCURSEL, 1);
    click(dialog, 103);
    EXPECT_EQ(textOf(dialog, 104), textOf(dialog, 102));
    select(dialog, 101, LB_SETCURSEL, 0);
    click(dialog, 103);
    shows(lineOfPcm)(dialog);
    EXPECT_NE(textOf(dialog, 102), lineOfPcm);
  };
  EXPECT_EQ(configure(false, {atAudio(IDOK, setAndShow)}), 0);
  EXPECT_TRUE(script->format == wave(pcm).type);
  EXPECT_EQ(script->calls.size(), 2U);

  script->format = wave(adpcm).type;
  EXPECT_EQ(configure(false, {atAudio(IDCANCEL, setAndShow)}), output_error::dialogCancelled);
  EXPECT_TRUE(script->format == wave(adpcm).type) << "as before";
  EXPECT_EQ(script->calls.size(), 3U);

  const auto refuse = [&](HWND) { script->faults["SetFormat"] = E_FAIL; };
  EXPECT_EQ(configure(false, {atAudio(IDCANCEL, [&](HWND dialog) { setAndShow(dialog), refuse(dialog); })}),
            ds_error::cannotRestoreFormat);
  EXPECT_EQ(configure(false, {setting(0), atMessage("Cannot set the new format."), atAudio(IDCANCEL, shows(""))}),
            output_error::dialogCancelled);
  EXPECT_EQ(script->calls.size(), 1U) << "nothing to restore";

  // What cannot happen unless somebody meddles with the dialog.
  const std::pair<int, Act> meddlings[] = {
      {103, [](HWND dialog) { RemovePropA(dialog, "IAMStreamConfig"); }},
      {103, [&](HWND) { script->faults["GetStreamCaps"] = E_FAIL; }},
      {103,
       [](HWND dialog) {
         SendDlgItemMessageA(dialog, 101, LB_RESETCONTENT, 0, 0);
         SendDlgItemMessageA(dialog, 101, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>("no number"));
       }},
  };
  for (const auto& [button, meddle] : meddlings) {
    script->faults.clear();
    EXPECT_EQ(configure(false, {atAudio(button,
                                        [&](HWND dialog) {
                                          meddle(dialog);
                                          select(dialog, 101, LB_SETCURSEL, 0);
                                        })}),
              ds_error::unexpectedError);
    EXPECT_EQ(script->calls, Calls());
  }
}

TEST_F(DSConfiguration, WhatAnAudioFormatLeavesOpenIsFixedByTheUser) {
  const WAVEFORMATEX adpcm = {WAVE_FORMAT_ADPCM, 2, 22050, 22311, 1024, 4, 0};
  // The last frequency would be followed by 0 if it were counted on.
  const AUDIO_STREAM_CONFIG_CAPS wide = {{}, 1, 2, 1, 8, 16, 8, 44100, 0xFFFFFFFF, 0x80000000};
  script->format = wave(pcm).type;
  script->capabilities = {wave(pcm, wide), wave(adpcm, {{}, 1, 2, 0, 4, 4, 0, 8000, 22050, 14050}),
                          wave(pcm, {{}, 1, 1, 1, 16, 16, 1, 8000, 8000, 1})};
  const auto fixing = [](std::vector<Calls> offered, std::vector<int> chosen, int button) {
    return at("Audio format configuration", button, [=](HWND dialog) {
      for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(items(dialog, 101 + i, CB_GETCOUNT, CB_GETLBTEXT), offered.at(i));
        EXPECT_EQ(textOf(dialog, 101 + i), offered.at(i).empty() ? "" : offered.at(i).front());
        select(dialog, 101 + i, CB_SETCURSEL, chosen.at(i));
      }
    });
  };
  const std::vector<Calls> offered = {{"1", "2"}, {"8", "16"}, {"44100", "2147527748"}};
  const auto got = [&] { return *reinterpret_cast<const WAVEFORMATEX*>(script->format.pbFormat); };
  EXPECT_EQ(configure(false, {setting(0), fixing(offered, {1, 1, 0}, IDOK), atAudio(IDOK)}), 0);
  EXPECT_TRUE(script->format == wave(pcmFormat(44100, 2, 16)).type);
  EXPECT_EQ(got().nBlockAlign, 4);
  EXPECT_EQ(got().nAvgBytesPerSec, 176'400U);
  EXPECT_EQ(script->format.lSampleSize, 4U);

  // Steps of 0 lead nowhere; an empty range leaves the minimum.
  EXPECT_EQ(configure(false, {setting(1), fixing({{"1"}, {"4"}, {"8000", "22050"}}, {0, 0, 0}, IDOK), atAudio(IDOK)}),
            0);
  const WAVEFORMATEX expected = {WAVE_FORMAT_ADPCM, 1, 8000, 22311, 1024, 4, 0};
  EXPECT_TRUE(script->format == wave(expected).type) << "the codec's own sizes stay";
  script->capabilities[1]->choices.MaximumBitsPerSample = 3;
  EXPECT_EQ(configure(false, {setting(1), fixing({{"1"}, {}, {"8000", "22050"}}, {0, 0, 1}, IDOK), atAudio(IDOK)}), 0);
  EXPECT_EQ(got().wBitsPerSample, 4);
  EXPECT_EQ(got().nSamplesPerSec, 22050U);

  EXPECT_EQ(configure(false, {setting(0), fixing(offered, {1, 1, 0}, IDCANCEL), atAudio(IDOK)}), 0);
  EXPECT_TRUE(script->format == wave(pcm).type) << "as it is listed";
  script->format.reset();
  const auto meddle = [](HWND dialog) { EXPECT_TRUE(RemovePropA(dialog, "AUDIO_STREAM_CONFIG_CAPS")); };
  EXPECT_EQ(configure(false, {setting(0), at("Audio format configuration", IDOK, meddle),
                              atMessage("Cannot further configure this format."), atAudio(IDOK)}),
            0);
  EXPECT_TRUE(script->format == wave(pcm).type);
  EXPECT_EQ(configure(false, {setting(2), atAudio(IDOK)}), 0) << "without the second dialog";
}

TEST_F(DSConfiguration, OnlyTheSettingsThatACompressorHasAreShownAndSet) {
  const struct {
    long flag;
    std::vector<int> controls;
    Calls calls;
  } cases[] = {
      {CompressionCaps_CanKeyFrame, {101, 107}, {"put_KeyFrameRate 7"}},
      {CompressionCaps_CanBFrame, {102, 108}, {"put_PFramesPerKeyFrame 3"}},
      {CompressionCaps_CanQuality, {103, 104}, {"put_Quality 0.750000"}},
      {CompressionCaps_CanWindow, {106}, {"put_WindowSize 1"}},
      {CompressionCaps_CanCrunch, {110}, {"SetFormat 88"}},
      {0, {}, {}},
  };
  for (const auto& [flag, controls, calls] : cases) {
    *script = {.format = video<VIDEOINFOHEADER>(FORMAT_VideoInfo, 5000), .flags = flag};
    script->keyFrameRate = 7;
    script->pFrames = 3;
    script->quality = 0.75;
    const auto check = [&](HWND dialog) {
      for (const int control : {101, 102, 103, 104, 106, 107, 108, 110}) {
        EXPECT_EQ(enabled(dialog, control), std::ranges::count(controls, control) == 1) << control;
      }
      EXPECT_TRUE(enabled(dialog, 109));
    };
    EXPECT_EQ(configure(true, {atVideo(IDOK, check)}), 0);
    EXPECT_EQ(script->calls, calls);
  }
}

TEST_F(DSConfiguration, VideoSettingsAreShownAndSet) {
  constexpr long all = 0x1F;
  const auto start = [&] { *script = {.format = video<VIDEOINFOHEADER2>(FORMAT_VideoInfo2, 5000), .flags = all}; };
  start();  // Everything but window and bit rate is left to the codec.
  script->windowSize = 999'999'999;
  const auto defaults = [&](HWND dialog) {
    for (const auto& [control, box] : {std::pair(101, 107), {102, 108}, {103, 104}}) {
      EXPECT_FALSE(enabled(dialog, control));
      EXPECT_TRUE(enabled(dialog, box));
      EXPECT_EQ(SendDlgItemMessageA(dialog, box, BM_GETCHECK, 0, 0), BST_CHECKED);
      click(dialog, box);
      EXPECT_TRUE(enabled(dialog, control));
      click(dialog, box);
      EXPECT_FALSE(enabled(dialog, control));
    }
    EXPECT_EQ(textOf(dialog, 106), "999999999");
    EXPECT_EQ(textOf(dialog, 110), "5000");
    enter(dialog, 110, "0");
  };
  EXPECT_EQ(configure(true, {atVideo(IDOK, defaults)}), 0);
  EXPECT_EQ(script->calls, (Calls{"put_KeyFrameRate -1", "put_PFramesPerKeyFrame -1", "put_Quality -1.000000",
                                  "put_WindowSize 999999999", "SetFormat 112"}));
  EXPECT_TRUE(script->format == video<VIDEOINFOHEADER2>(FORMAT_VideoInfo2, 5000));

  start();
  script->quality = 0.75;
  script->keyFrameRate = script->pFrames = 0;
  script->windowSize = 1'000'000'000;
  const auto change = [](HWND dialog) {
    const auto scroll = [&](int code, int position) {
      SendMessageA(dialog, WM_HSCROLL, MAKEWPARAM(code, position), reinterpret_cast<LPARAM>(GetDlgItem(dialog, 103)));
      return textOf(dialog, 105);
    };
    EXPECT_EQ(textOf(dialog, 101) + textOf(dialog, 102) + textOf(dialog, 105) + textOf(dialog, 106), "000.7510");
    EXPECT_EQ(SendDlgItemMessageA(dialog, 103, TBM_GETPOS, 0, 0), 75);
    EXPECT_EQ(SendDlgItemMessageA(dialog, 103, TBM_GETPAGESIZE, 0, 0), 10);
    EXPECT_EQ(SendDlgItemMessageA(dialog, 103, TBM_GETRANGEMAX, 0, 0), 100);
    EXPECT_EQ(SendDlgItemMessageA(dialog, 103, TBM_GETNUMTICS, 0, 0), 6);
    EXPECT_EQ(scroll(TB_THUMBTRACK, 33), "0.33");
    EXPECT_EQ(scroll(TB_LINEUP, 34), "0.33");
    EXPECT_EQ(scroll(TB_ENDTRACK, 35), "0.75");
    EXPECT_EQ(scroll(TB_THUMBPOSITION, 40), "0.40");
    enter(dialog, 101, "12");
    enter(dialog, 102, "-3");
    enter(dialog, 106, "0");
    enter(dialog, 110, "4000000000");
  };
  const Calls changes = {"put_KeyFrameRate 12", "put_PFramesPerKeyFrame -3", "put_Quality 0.400000", "put_WindowSize 1",
                         "SetFormat 112"};
  EXPECT_EQ(configure(true, {atVideo(IDCANCEL, change)}), output_error::dialogCancelled);
  EXPECT_EQ(script->calls, Calls());
  EXPECT_EQ(configure(true, {atVideo(IDOK, change)}), 0);
  EXPECT_EQ(script->calls, changes);
  EXPECT_TRUE(script->format == video<VIDEOINFOHEADER2>(FORMAT_VideoInfo2, 4'000'000'000));

  for (const std::string& call : changes) {
    script->faults = {{call.substr(0, call.find(' ')), E_FAIL}};
    const bool isFormat = call == changes.back();
    EXPECT_EQ(configure(true, {atVideo(IDOK, change)}),
              isFormat ? ds_error::cannotChangeDataRate : ds_error::configurationPartlyFailed);
    EXPECT_EQ(script->calls, changes) << "all the same";
  }
  script->faults.clear();
  script->windowSize = 5'000'000'007;
  const auto confuse = [](HWND dialog) {
    EXPECT_EQ(textOf(dialog, 106), "57") << "the remainder is not padded";
    for (const int edit : {101, 102, 106, 110}) {
      enter(dialog, edit, "many");
    }
  };
  EXPECT_EQ(configure(true, {atVideo(IDOK, confuse)}), ds_error::configurationPartlyFailed);
  EXPECT_EQ(script->calls, (Calls{"put_Quality 0.750000", "SetFormat 112"})) << "what is no number is left as it is";

  script->faults = {{"get_KeyFrameRate", E_FAIL}, {"get_WindowSize", E_FAIL}};
  script->format = video<VIDEOINFOHEADER>(FORMAT_MPEGVideo, 5000);
  const auto check = [](HWND dialog) {
    EXPECT_FALSE(enabled(dialog, 101));
    EXPECT_TRUE(enabled(dialog, 102));
    EXPECT_EQ(textOf(dialog, 106), "1");
    EXPECT_FALSE(enabled(dialog, 110)) << "no bit rate";
  };
  EXPECT_EQ(configure(true, {atVideo(IDOK, check)}), 0);
  EXPECT_EQ(script->calls.size(), 4U);
}

TEST_F(DSConfiguration, TheCodecsOwnDialogComesBeforeThePropertyPages) {
  CoCreateGuid(&script->page);
  int pages = 0;
  const ClassObjectOverride page(script->page, [&](REFIID id, void** object) {
    ++pages;
    return makeCom<EmptyPage>()->QueryInterface(id, object);
  });
  HWND shown = nullptr;
  const DialogStep further = atVideo(109, [&](HWND dialog) { shown = dialog; });
  const DialogStep closing = {"Properties for video compressor",
                              [](HWND frame) { PostMessageA(frame, WM_CLOSE, 0, 0); }};
  const HWND parent = GetDesktopWindow();
  EXPECT_EQ(configure(true, {further, atVideo(IDOK)}), 0);
  EXPECT_EQ(script->owner, shown);
  EXPECT_EQ(script->calls, Calls{"ShowDialog 1"});
  script->missing = {IID_IAMVideoCompression};
  EXPECT_EQ(configure(true, {}, parent), 0);
  EXPECT_EQ(script->owner, parent);
  EXPECT_EQ(script->calls, Calls{"ShowDialog 1"});
  EXPECT_EQ(pages, 0);

  script->faults["QueryConfig"] = S_FALSE;
  EXPECT_EQ(configure(true, {closing}), 0);
  EXPECT_EQ(pages, 1);
  script->missing.clear();
  EXPECT_EQ(configure(true, {further, closing, atVideo(IDOK)}), 0);
  EXPECT_EQ(pages, 2);
  script->missing = {IID_ISpecifyPropertyPages};
  EXPECT_EQ(configure(true, {atVideo(IDOK, [](HWND dialog) { EXPECT_FALSE(enabled(dialog, 109)); })}), 0);
  EXPECT_EQ(script->calls, Calls());
}

}  // namespace
