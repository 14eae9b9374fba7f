// Configuring the DirectShow writer's compressors, as a user does in the dialogs.

#include <windows.h>

#include <commctrl.h>
#include <dshow.h>
#include <dvdmedia.h>

#include "support/ds_writing.h"
#include "support/test_compressor.h"
#include "support/wine_gaps.h"

using namespace quillet;
using namespace quillet::test;
using Microsoft::WRL::ComPtr;
using Calls = std::vector<std::string>;
using Act = std::function<void(HWND)>;

namespace {

/// A format, with what it leaves open: channels, bits and frequency, each from, to, in steps of.
CompressorScript::Capability wave(const WAVEFORMATEX& format, AUDIO_STREAM_CONFIG_CAPS choices = {}) {
  CompressorScript::Capability result = {{}, choices};
  CreateAudioMediaType(&format, &result.type, TRUE);
  return result;
}

LRESULT send(HWND dialog, int control, UINT message, int parameter = 0, const void* data = nullptr) {
  return SendDlgItemMessageA(dialog, control, message, static_cast<WPARAM>(parameter), reinterpret_cast<LPARAM>(data));
}

bool enabled(HWND dialog, int control) {
  return IsWindowEnabled(GetDlgItem(dialog, control));
}

/// What a list box or a combo box offers, a line each.
std::string items(HWND dialog, int control, UINT getCount, UINT getText) {
  std::string result;
  char text[256] = {};
  for (int i = 0; i < send(dialog, control, getCount); ++i) {
    send(dialog, control, getText, i, text);
    result += std::string(text) + "\n";
  }
  return result;
}

/// The user at one of the dialogs, who at last presses a button.
DialogStep at(const char* title, int button, Act act) {
  return {title, [=](HWND dialog) { act(dialog), press(dialog, button); }};
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
  return atAudio(103, [=](HWND dialog) { send(dialog, 101, LB_SETCURSEL, line); });
}
DialogStep fixing(std::vector<std::string> offered, std::vector<int> chosen, int button = IDOK) {
  return at("Audio format configuration", button, [=](HWND dialog) {
    EXPECT_NE(GetWindow(dialog, GW_OWNER), nullptr);
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(items(dialog, 101 + i, CB_GETCOUNT, CB_GETLBTEXT), offered.at(i));
      EXPECT_EQ(send(dialog, 101 + i, CB_GETCURSEL), offered.at(i).empty() ? CB_ERR : 0);
      send(dialog, 101 + i, CB_SETCURSEL, chosen.at(i));
    }
  });
}

class DSConfiguration : public DSWriting {
 protected:
  ~DSConfiguration() override {
    EXPECT_EQ(script.use_count(), 1) << "a compressor is still held";
    *script = {};
    witness->AddRef();
    EXPECT_EQ(witness->Release(), 1U) << "formats are left";
  }

  Writer create() const {
    return Writer(
        OutputAVIFile::create(file.name(), isVideo ? &video : nullptr, true, isVideo ? nullptr : &audio, true, true));
  }

  /// Expects the code that the writer has, and the calls that the compressor has seen, when the user is done.
  void configure(std::vector<DialogStep> steps, int code, const Calls& calls = {}, void* parent = nullptr) {
    SCOPED_TRACE(code);
    script->calls.clear();
    const auto mark = [this](CMediaType& type) { type.pUnk != nullptr ? S_OK : witness.CopyTo(&type.pUnk); };
    mark(script->format);
    std::ranges::for_each(script->capabilities, mark, &CompressorScript::Capability::type);
    script->connection = isVideo ? CompressorScript().connection : wave(audio).type;
    const Writer writer = create();
    EXPECT_EQ(setCompressor(*writer, isVideo, script), script->hasOutput);
    const DialogDriver user(std::move(steps));
    writer->configureCompressor(parent, isVideo);
    EXPECT_EQ(writer->lastError, code);
    EXPECT_EQ(script->calls, calls);
  }

  const WAVEFORMATEX adpcm = {WAVE_FORMAT_ADPCM, 2, 22050, 22311, 1024, 4, 0};
  const SharedScript script = std::make_shared<CompressorScript>();
  const ComPtr<IUnknown> witness = makeCom<EmptyPage>();  // Of the formats that are handed out.
  bool isVideo = false;
};

TEST_F(DSConfiguration, FailsWithTheCodeOfTheStep) {
  const struct {
    bool isVideo;
    int code;
    CompressorScript script;
  } cases[] = {
      {false, ds_error::noOutputPin, {.hasOutput = false}},
      {true, ds_error::noOutputPin, {.hasOutput = false}},
      {false, ds_error::notConfigurableFilter, {.missing = {IID_IAMStreamConfig}}},
      {true, ds_error::notConfigurableFilter, {.missing = {IID_IAMVideoCompression, IID_IAMVfwCompressDialogs}}},
      {false, ds_error::cannotGetPresentFormat, {.faults = {{"GetFormat", E_FAIL}}}},
      {false, ds_error::cannotGetExposedFormats, {.faults = {{"GetNumberOfCapabilities", E_FAIL}}}},
      {true, ds_error::cannotRetrieveCompressionInfo, {.faults = {{"GetInfo", E_FAIL}}}},
  };
  for (const auto& c : cases) {
    isVideo = c.isVideo;
    *script = c.script;
    configure({}, c.code);
  }
  *script = {};
  for (const bool kind : {false, true}) {
    isVideo = kind;
    configure({}, ds_error::cannotDisplayDialog, {}, GetModuleHandleA(nullptr));  // Which is no window.
    const HWND parent = makeParent();
    configure({{"", closing(parent)}}, output_error::dialogCancelled, {}, parent);
    const Writer writer = create();
    writer->configureCompressor(nullptr, isVideo);
    EXPECT_EQ(writer->lastError, output_error::noCompressorSelected);
    const Writer none(OutputAVIFile::create(file.name(), nullptr, false, nullptr, false, true));
    none->configureCompressor(nullptr, isVideo);
    EXPECT_EQ(none->lastError, ds_error::notOpened);
  }
}

TEST_F(DSConfiguration, AnAudioFormatIsPickedFromThoseOfTheOutput) {
  CompressorScript::Capability other = {};
  other.type.majortype = MEDIATYPE_Audio;
  script->format = wave(adpcm).type;
  script->capabilities = {wave(audio), {}, wave(adpcm), other};
  const std::string pcmLine =
      "PCM format, channels:1, bits per sample:16, samples per second:8000, bytes per second:16000";
  const std::string adpcmLine =
      "Format Tag 0x02, channels:2, bits per sample:4, samples per second:22050, bytes per second:22311";
  const auto check = [&](HWND dialog) {
    EXPECT_EQ(textOf(dialog, 102), adpcmLine);
    EXPECT_EQ(items(dialog, 101, LB_GETCOUNT, LB_GETTEXT),
              "0\t" + pcmLine + "\n2\t" + adpcmLine +
                  "\n3\tOther format, channels:?, bits per sample:?, samples per second:?, bytes per second:?\n");
  };
  const auto setBoth = [&](HWND dialog) {
    for (const auto& [line, text] : {std::pair(1, adpcmLine), {0, pcmLine}}) {
      send(dialog, 101, LB_SETCURSEL, line);
      send(dialog, 103, BM_CLICK);
      EXPECT_EQ(textOf(dialog, 104), text);
    }
  };
  constexpr int cancelled = output_error::dialogCancelled;
  configure({atAudio(103, check), atMessage("No format selected."), atAudio(IDCANCEL)}, cancelled);
  const char* const title = "Audio compressor settings";
  const HWND parent = makeParent();
  for (const DialogStep& cancel : {atAudio(IDCANCEL, setBoth), DialogStep{title, closing(parent, setBoth)}}) {
    configure({cancel}, cancelled, {"SetFormat 22050", "SetFormat 8000", "SetFormat 22050"}, parent);
    EXPECT_TRUE(script->format == wave(adpcm).type) << "as before";
  }
  configure({atAudio(IDOK, setBoth)}, 0, {"SetFormat 22050", "SetFormat 8000"});
  EXPECT_TRUE(script->format == wave(audio).type);
  const auto setAndRefuse = [&](HWND dialog) { setBoth(dialog), script->faults["SetFormat"] = E_FAIL; };
  configure({atAudio(IDCANCEL, setAndRefuse)}, ds_error::cannotRestoreFormat,
            {"SetFormat 22050", "SetFormat 8000", "SetFormat 8000"});
  const auto doubleClickTheSecond = [](HWND dialog) { send(dialog, 101, LB_SETCURSEL, 1), doubleClick(dialog, 101); };
  configure({{title, doubleClickTheSecond}, atMessage("Cannot set the new format."), atAudio(IDCANCEL)}, cancelled,
            {"SetFormat 22050"});
  const auto meddle = [&](HWND dialog) {
    script->faults["GetStreamCaps"] = E_FAIL, send(dialog, 101, LB_SETCURSEL, 0);
  };
  configure({atAudio(103, meddle)}, ds_error::unexpectedError);
}

TEST_F(DSConfiguration, WhatAnAudioFormatLeavesOpenIsFixedByTheUser) {
  // The last frequency would be followed by one near 0 if it were counted on.
  const AUDIO_STREAM_CONFIG_CAPS wide = {{}, 1, 2, 1, 8, 16, 8, 44100, 0xFFFFFFFF, 0x80000000};
  script->format = wave(audio).type;
  script->capabilities = {wave(audio, wide), wave(adpcm, {{}, 1, 2, 0, 4, 3, 1, 8000, 22050, 14050}),
                          wave(audio, {{}, 1, 1, 1, 16, 16, 1, 8000, 8000, 1})};
  const std::vector<std::string> offered = {"1\n2\n", "8\n16\n", "44100\n2147527748\n"};
  configure({setting(0), fixing(offered, {1, 1, 0}), atAudio(IDOK)}, 0, {"SetFormat 44100"});
  EXPECT_TRUE(script->format == wave({WAVE_FORMAT_PCM, 2, 44100, 176'400, 4, 16, 0}).type);
  EXPECT_EQ(script->format.lSampleSize, 4U);
  configure({setting(0), fixing(offered, {0, 0, 1}), atAudio(IDOK)}, 0, {"SetFormat 2147527748"});
  // Steps of 0 lead nowhere, and an empty range leaves the minimum. The codec's own sizes stay.
  configure({setting(1), fixing({"1\n", "", "8000\n22050\n"}, {0, 0, 0}), atAudio(IDOK)}, 0, {"SetFormat 8000"});
  EXPECT_TRUE(script->format == wave({WAVE_FORMAT_ADPCM, 1, 8000, 22311, 1024, 4, 0}).type);
  configure({setting(0), fixing(offered, {1, 1, 0}, IDCANCEL), atAudio(IDOK)}, 0, {"SetFormat 8000"});
  EXPECT_TRUE(script->format == wave(audio).type) << "as it is listed";
  configure({setting(2), atAudio(IDOK)}, 0, {"SetFormat 8000"});  // Nothing is open.
}

TEST_F(DSConfiguration, OnlyTheSettingsThatACompressorHasAreSet) {
  isVideo = true;
  *script = {
      .format = videoType<VIDEOINFOHEADER>(FORMAT_VideoInfo, 5000), .keyFrameRate = 7, .pFrames = 3, .quality = 0.75};
  const std::pair<long, Calls> cases[] = {
      {CompressionCaps_CanKeyFrame, {"put_KeyFrameRate 7"}},  {CompressionCaps_CanBFrame, {"put_PFrames 3"}},
      {CompressionCaps_CanQuality, {"put_Quality 0.750000"}}, {CompressionCaps_CanWindow, {"put_WindowSize 1"}},
      {CompressionCaps_CanCrunch, {"SetFormat 5000"}},        {0, {}}};
  for (const auto& [flags, calls] : cases) {
    script->flags = flags;
    configure({atVideo(IDOK)}, 0, calls);
  }
}

TEST_F(DSConfiguration, VideoSettingsAreShownAndSet) {
  isVideo = true;
  *script = {.format = videoType<VIDEOINFOHEADER2>(FORMAT_VideoInfo2, 5000), .flags = 0x1F, .windowSize = 999'999'999};
  const auto defaults = [&](HWND dialog) {
    for (const auto& [control, box] : {std::pair(101, 107), {102, 108}, {103, 104}}) {
      for (const bool isDefault : {true, false}) {
        EXPECT_EQ(send(dialog, box, BM_GETCHECK) == BST_CHECKED, isDefault);
        EXPECT_EQ(enabled(dialog, control), !isDefault);
        send(dialog, box, BM_CLICK);
      }
    }
    enter(dialog, 110, "0");
  };
  configure(
      {atVideo(IDOK, defaults)}, 0,
      {"put_KeyFrameRate -1", "put_PFrames -1", "put_Quality -1.000000", "put_WindowSize 999999999", "SetFormat 5000"});

  script->quality = 0.7;
  script->keyFrameRate = script->pFrames = 0;
  script->windowSize = 1'000'000'000;
  const auto change = [](HWND dialog) {
    const auto scroll = [&](int code, int position) {
      SendMessageA(dialog, WM_HSCROLL, MAKEWPARAM(code, position), reinterpret_cast<LPARAM>(GetDlgItem(dialog, 103)));
      return textOf(dialog, 105);
    };
    EXPECT_EQ(textOf(dialog, 101) + textOf(dialog, 102) + textOf(dialog, 105) + textOf(dialog, 106), "000.7010");
    EXPECT_EQ(scroll(TB_THUMBTRACK, 33), "0.33");
    EXPECT_EQ(scroll(TB_ENDTRACK, 35), "0.70");
    EXPECT_EQ(scroll(TB_THUMBPOSITION, 40), "0.40");
    for (const auto& [edit, text] : {std::pair(101, "12"), {102, "-3"}, {106, "0"}, {110, "4000000000"}}) {
      enter(dialog, edit, text);
    }
  };
  const Calls changes = {"put_KeyFrameRate 12", "put_PFrames -3", "put_Quality 0.400000", "put_WindowSize 1",
                         "SetFormat 4000000000"};
  configure({atVideo(IDCANCEL, change)}, output_error::dialogCancelled);
  for (const std::string& call : changes) {
    script->faults = {{call.substr(0, call.find(' ')), E_FAIL}};
    const bool isFormat = call == changes.back();
    configure({atVideo(IDOK, change)}, isFormat ? ds_error::cannotChangeDataRate : ds_error::configurationPartlyFailed,
              changes);
  }
  script->faults.clear();
  const auto confuse = [](HWND dialog) {
    for (const int edit : {102, 106, 110}) {
      enter(dialog, edit, "many");
    }
  };
  configure({atVideo(IDOK, confuse)}, ds_error::configurationPartlyFailed,
            {"put_KeyFrameRate 0", "put_Quality 0.700000", "SetFormat 4000000000"});
  script->faults = {{"get_Rate", E_FAIL}, {"get_P", E_FAIL}, {"get_Quality", E_FAIL}, {"get_Size", E_FAIL}};
  configure({atVideo(IDOK, [](HWND dialog) { enter(dialog, 110, ""); })}, 0, {"SetFormat 4000000000"});
  script->format = videoType<VIDEOINFOHEADER>(FORMAT_VideoInfo);
  script->format.cbFormat = sizeof(VIDEOINFOHEADER) - 1;  // Has no rate.
  configure({atVideo(IDOK)}, 0);
}

TEST_F(DSConfiguration, TheCodecsOwnDialogComesBeforeThePropertyPages) {
  isVideo = true;
  CoCreateGuid(&script->page);
  const ClassObjectOverride page(script->page, EmptyPage::make);
  HWND shown = nullptr;
  const DialogStep further = atVideo(109, [&](HWND dialog) { shown = dialog; });
  HWND owner = nullptr;
  const DialogStep frame = {"Properties for video compressor", [&](HWND it) {
                              owner = GetWindow(it, GW_OWNER);
                              PostMessageA(it, WM_CLOSE, 0, 0);
                            }};
  script->faults["Query"] = E_NOTIMPL;  // Which says nothing of the dialog.
  configure({further, atVideo(IDOK)}, 0, {"ShowDialog 1"});
  EXPECT_EQ(script->owner, shown);
  script->missing = {IID_IAMVideoCompression};
  configure({}, 0, {"ShowDialog 1"}, GetDesktopWindow());
  EXPECT_EQ(script->owner, GetDesktopWindow());
  script->faults["Query"] = S_FALSE;
  const HWND parent = makeParent();
  configure({frame}, 0, {}, parent);
  EXPECT_EQ(owner, wine_gap::propertyFrameHasNoOwner ? nullptr : parent);
  script->missing.clear();
  configure({further, frame, atVideo(IDOK)}, 0);
  EXPECT_EQ(owner, wine_gap::propertyFrameHasNoOwner ? nullptr : shown);
  script->page = GUID_NULL;
  configure({atVideo(IDOK, [](HWND dialog) { EXPECT_FALSE(enabled(dialog, 109)); })}, 0);
}

}  // namespace
