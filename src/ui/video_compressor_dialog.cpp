#include "ui/video_compressor_dialog.h"

#include <algorithm>
#include <cstdio>

#include <commctrl.h>

#include <quillet/error_codes.h>

#include "resources/resource_ids.h"
#include "ui/ok_cancel_dialog.h"

namespace quillet {
namespace {

template <class Value>
using Getter = HRESULT (STDMETHODCALLTYPE IAMVideoCompression::*)(Value*);
template <class Value>
using Setter = HRESULT (STDMETHODCALLTYPE IAMVideoCompression::*)(Value);

/// A setting that may be left to the codec: its control, and the box that is checked when it is.
struct Defaultable {
  long capability;
  int control;
  int box;
};

constexpr Defaultable keyFrameRate = {CompressionCaps_CanKeyFrame, IDC_KEY_FRAME_RATE, IDC_DEFAULT_KEY_FRAME_RATE};
constexpr Defaultable pFrames = {CompressionCaps_CanBFrame, IDC_P_FRAMES, IDC_DEFAULT_P_FRAMES};
constexpr Defaultable quality = {CompressionCaps_CanQuality, IDC_QUALITY, IDC_DEFAULT_QUALITY};
constexpr Defaultable defaultables[] = {keyFrameRate, pFrames, quality};

void enable(HWND dialog, int control, bool enabled) {
  EnableWindow(GetDlgItem(dialog, control), enabled);
}

template <class Value>
void print(HWND dialog, int control, const char* format, Value value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  SetDlgItemTextA(dialog, control, text);
}

template <class Value>
bool scan(HWND dialog, int control, const char* format, Value& value) {
  char text[64] = {};
  GetDlgItemTextA(dialog, control, text, sizeof text);
  return std::sscanf(text, format, &value) == 1;
}

/// Reads what a setting is now. One that cannot be read loses its capability: OK would set what nobody has chosen.
/// @return whether the compressor has the setting.
template <class Value>
bool read(VideoCompressorParameters& parameters, long capability, Getter<Value> get, Value& value) {
  if ((parameters.capabilities & capability) != 0 && FAILED((parameters.compression->*get)(&value))) {
    parameters.capabilities &= ~capability;
  }
  return (parameters.capabilities & capability) != 0;
}

/// Shows a setting, with `display` when it is not left to the codec.
template <class Value, class Display>
void showSetting(HWND dialog, VideoCompressorParameters& parameters, const Defaultable& setting, Getter<Value> get,
                 Display display) {
  Value value = {};
  if (!read(parameters, setting.capability, get, value)) {
    enable(dialog, setting.control, false);
    enable(dialog, setting.box, false);
  } else if (value < 0) {
    enable(dialog, setting.control, false);
    CheckDlgButton(dialog, setting.box, BST_CHECKED);
  } else {
    display(value);
  }
}

void showQuality(HWND dialog, double value) {
  print(dialog, IDC_QUALITY_VALUE, "%.2lf", value);
  const int position = static_cast<int>(std::min(value, 1.0) * 100);
  SendDlgItemMessageA(dialog, IDC_QUALITY, TBM_SETPOS, TRUE, position);
}

void showWindowSize(HWND dialog, VideoCompressorParameters& parameters) {
  constexpr DWORDLONG billion = 1'000'000'000;
  DWORDLONG size = 0;
  if (!read(parameters, CompressionCaps_CanWindow, &IAMVideoCompression::get_WindowSize, size)) {
    enable(dialog, IDC_WINDOW_SIZE, false);
    return;
  }
  char text[64];
  if (size < billion) {
    std::snprintf(text, sizeof text, "%lu", static_cast<unsigned long>(size));
  } else {
    std::snprintf(text, sizeof text, "%lu%lu", static_cast<unsigned long>(size / billion),
                  static_cast<unsigned long>(size % billion));
  }
  SetDlgItemTextA(dialog, IDC_WINDOW_SIZE, text);
}

/// Sets what a text says, or leaves the setting to the codec.
/// @return false when the text is no number, or the compressor has refused it.
template <class Value>
bool apply(HWND dialog, const VideoCompressorParameters& parameters, const Defaultable& setting, int text,
           const char* format, Setter<Value> put) {
  Value value = -1;
  const bool isDefault = IsDlgButtonChecked(dialog, setting.box) == BST_CHECKED;
  return (isDefault || scan(dialog, text, format, value)) && SUCCEEDED((parameters.compression->*put)(value));
}

bool applyWindowSize(HWND dialog, const VideoCompressorParameters& parameters) {
  unsigned long size = 0;
  return scan(dialog, IDC_WINDOW_SIZE, "%lu", size) &&
         SUCCEEDED(parameters.compression->put_WindowSize(std::max(size, 1UL)));
}

/// A rate of 0, and none at all, leave the present one.
bool takeBitRate(HWND dialog, VideoCompressorParameters& parameters) {
  if (GetWindowTextLengthA(GetDlgItem(dialog, IDC_BIT_RATE)) == 0) {
    return true;
  }
  unsigned long rate = 0;
  if (!scan(dialog, IDC_BIT_RATE, "%lu", rate)) {
    return false;
  }
  parameters.bitRate = rate != 0 ? rate : parameters.bitRate;
  return true;
}

struct VideoCompressorDialog {
  static constexpr char property[] = "videoConfigDB_parameters";
  static constexpr int cannotAddProperty = ds_error::cannotAddDialogProperty;

  static void show(HWND dialog, LPARAM given) {
    auto& parameters = *reinterpret_cast<VideoCompressorParameters*>(given);
    SendDlgItemMessageA(dialog, IDC_QUALITY, TBM_SETTICFREQ, 20, 0);
    SendDlgItemMessageA(dialog, IDC_QUALITY, TBM_SETRANGE, TRUE, MAKELPARAM(0, 100));
    SendDlgItemMessageA(dialog, IDC_QUALITY, TBM_SETPAGESIZE, 0, 10);
    const auto printRate = [dialog](int control) { return [=](long value) { print(dialog, control, "%ld", value); }; };
    showSetting<long>(dialog, parameters, keyFrameRate, &IAMVideoCompression::get_KeyFrameRate,
                      printRate(IDC_KEY_FRAME_RATE));
    showSetting<long>(dialog, parameters, pFrames, &IAMVideoCompression::get_PFramesPerKeyFrame,
                      printRate(IDC_P_FRAMES));
    showSetting<double>(dialog, parameters, quality, &IAMVideoCompression::get_Quality,
                        [dialog](double value) { showQuality(dialog, value); });
    showWindowSize(dialog, parameters);
    if ((parameters.capabilities & CompressionCaps_CanCrunch) != 0) {
      print(dialog, IDC_BIT_RATE, "%lu", parameters.bitRate);
    } else {
      enable(dialog, IDC_BIT_RATE, false);
    }
    enable(dialog, IDC_FURTHER_CONFIGURATION, parameters.vfwDialogs != nullptr || parameters.pages.exist());
  }

  static void accept(HWND dialog) {
    auto* const parameters = static_cast<VideoCompressorParameters*>(RemovePropA(dialog, property));
    if (parameters == nullptr) {
      endDialog(dialog, ds_error::unexpectedError);
      return;
    }
    bool isComplete = true;
    const auto applyIf = [&](long capability, auto step) {
      if ((parameters->capabilities & capability) != 0 && !step()) {
        isComplete = false;
      }
    };
    applyIf(keyFrameRate.capability, [&] {
      return apply(dialog, *parameters, keyFrameRate, IDC_KEY_FRAME_RATE, "%ld",
                   &IAMVideoCompression::put_KeyFrameRate);
    });
    applyIf(pFrames.capability, [&] {
      return apply(dialog, *parameters, pFrames, IDC_P_FRAMES, "%ld", &IAMVideoCompression::put_PFramesPerKeyFrame);
    });
    applyIf(quality.capability, [&] {
      return apply(dialog, *parameters, quality, IDC_QUALITY_VALUE, "%lf", &IAMVideoCompression::put_Quality);
    });
    applyIf(CompressionCaps_CanWindow, [&] { return applyWindowSize(dialog, *parameters); });
    applyIf(CompressionCaps_CanCrunch, [&] { return takeBitRate(dialog, *parameters); });
    endDialog(dialog, isComplete ? IDOK : static_cast<INT_PTR>(ds_error::configurationPartlyFailed));
  }
};

void showFurther(HWND dialog) {
  if (const void* const parameters = GetPropA(dialog, VideoCompressorDialog::property)) {
    showFurtherConfiguration(dialog, *static_cast<const VideoCompressorParameters*>(parameters));
  }
}

/// A setting can be edited while its box is not checked.
void followBox(HWND dialog, int box) {
  for (const Defaultable& setting : defaultables) {
    if (setting.box == box) {
      enable(dialog, setting.control, IsDlgButtonChecked(dialog, box) != BST_CHECKED);
    }
  }
}

/// Follows the trackbar with the value beside it, which is the one that counts.
INT_PTR scroll(HWND dialog, WPARAM wParam) {
  LRESULT position = HIWORD(wParam);
  switch (LOWORD(wParam)) {
    case TB_ENDTRACK:
      position = SendDlgItemMessageA(dialog, IDC_QUALITY, TBM_GETPOS, 0, 0);
      break;
    case TB_THUMBPOSITION:
    case TB_THUMBTRACK:
      break;
    default:
      return FALSE;
  }
  print(dialog, IDC_QUALITY_VALUE, "%.2lf", 0.01 * static_cast<double>(position));
  return TRUE;
}

INT_PTR CALLBACK procedure(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_HSCROLL) {
    return scroll(dialog, wParam);
  }
  if (message == WM_COMMAND && LOWORD(wParam) == IDC_FURTHER_CONFIGURATION) {
    showFurther(dialog);
  } else if (message == WM_COMMAND) {
    followBox(dialog, LOWORD(wParam));
  }
  return okCancelProcedure<VideoCompressorDialog>(dialog, message, wParam, lParam);
}

}  // namespace

INT_PTR showVideoCompressorDialog(HWND parent, VideoCompressorParameters& parameters) {
  return runDialog(parent, IDD_VIDEO_COMPRESSOR, procedure, reinterpret_cast<LPARAM>(&parameters));
}

bool showFurtherConfiguration(HWND parent, const VideoCompressorParameters& parameters) {
  if (parameters.vfwDialogs != nullptr) {
    parameters.vfwDialogs->ShowDialog(VfwCompressDialog_Config, parent);
    return true;
  }
  parameters.pages.show(parent);
  return parameters.pages.exist();
}

}  // namespace quillet
