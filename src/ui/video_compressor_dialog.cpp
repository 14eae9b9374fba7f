#include "ui/video_compressor_dialog.h"

#include <algorithm>
#include <cstdio>

#include <commctrl.h>

#include <quillet/error_codes.h>

#include "core/module.h"
#include "resources/resource_ids.h"

namespace quillet {
namespace {

constexpr char parametersProperty[] = "videoConfigDB_parameters";

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

/// Shows a setting, with `display` when it is not left to the codec.
template <class Value, class Display>
void show(HWND dialog, const VideoCompressorParameters& parameters, const Defaultable& setting, Getter<Value> get,
          Display display) {
  if ((parameters.capabilities & setting.capability) == 0) {
    enable(dialog, setting.control, false);
    enable(dialog, setting.box, false);
    return;
  }
  Value value = {};
  // Of what cannot be read nothing better is known than that the codec has a value for it.
  if (SUCCEEDED((parameters.compression->*get)(&value)) && value >= 0) {
    display(value);
    return;
  }
  enable(dialog, setting.control, false);
  CheckDlgButton(dialog, setting.box, BST_CHECKED);
}

void showQuality(HWND dialog, double value) {
  print(dialog, IDC_QUALITY_VALUE, "%.2lf", value);
  const int position = static_cast<int>(std::min(value, 1.0) * 100);
  SendDlgItemMessageA(dialog, IDC_QUALITY, TBM_SETPOS, TRUE, position);
}

void showWindowSize(HWND dialog, const VideoCompressorParameters& parameters) {
  DWORDLONG size = 0;
  if ((parameters.capabilities & CompressionCaps_CanWindow) == 0) {
    enable(dialog, IDC_WINDOW_SIZE, false);
  } else if (SUCCEEDED(parameters.compression->get_WindowSize(&size))) {
    constexpr DWORDLONG billion = 1'000'000'000;
    char text[64];
    if (size < billion) {
      std::snprintf(text, sizeof text, "%lu", static_cast<unsigned long>(size));
    } else {
      std::snprintf(text, sizeof text, "%lu%lu", static_cast<unsigned long>(size / billion),
                    static_cast<unsigned long>(size % billion));
    }
    SetDlgItemTextA(dialog, IDC_WINDOW_SIZE, text);
  }
}

void show(HWND dialog, VideoCompressorParameters& parameters) {
  if (!SetPropA(dialog, parametersProperty, &parameters)) {
    EndDialog(dialog, ds_error::cannotAddDialogProperty);
    return;
  }
  SendDlgItemMessageA(dialog, IDC_QUALITY, TBM_SETTICFREQ, 20, 0);
  SendDlgItemMessageA(dialog, IDC_QUALITY, TBM_SETRANGE, TRUE, MAKELPARAM(0, 100));
  SendDlgItemMessageA(dialog, IDC_QUALITY, TBM_SETPAGESIZE, 0, 10);
  const auto printRate = [dialog](int control) { return [=](long value) { print(dialog, control, "%ld", value); }; };
  show<long>(dialog, parameters, keyFrameRate, &IAMVideoCompression::get_KeyFrameRate, printRate(IDC_KEY_FRAME_RATE));
  show<long>(dialog, parameters, pFrames, &IAMVideoCompression::get_PFramesPerKeyFrame, printRate(IDC_P_FRAMES));
  show<double>(dialog, parameters, quality, &IAMVideoCompression::get_Quality,
               [dialog](double value) { showQuality(dialog, value); });
  showWindowSize(dialog, parameters);
  if ((parameters.capabilities & CompressionCaps_CanCrunch) != 0) {
    print(dialog, IDC_BIT_RATE, "%lu", parameters.bitRate);
  } else {
    enable(dialog, IDC_BIT_RATE, false);
  }
  enable(dialog, IDC_FURTHER_CONFIGURATION, parameters.vfwDialogs != nullptr || parameters.pages.exist());
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

bool takeBitRate(HWND dialog, VideoCompressorParameters& parameters) {
  unsigned long rate = 0;
  if (!scan(dialog, IDC_BIT_RATE, "%lu", rate)) {
    return false;
  }
  parameters.bitRate = rate != 0 ? rate : parameters.bitRate;
  return true;
}

void accept(HWND dialog) {
  auto* const parameters = static_cast<VideoCompressorParameters*>(RemovePropA(dialog, parametersProperty));
  if (parameters == nullptr) {
    EndDialog(dialog, ds_error::unexpectedError);
    return;
  }
  bool isComplete = true;
  const auto applyIf = [&](long capability, auto step) {
    if ((parameters->capabilities & capability) != 0 && !step()) {
      isComplete = false;
    }
  };
  applyIf(keyFrameRate.capability, [&] {
    return apply(dialog, *parameters, keyFrameRate, IDC_KEY_FRAME_RATE, "%ld", &IAMVideoCompression::put_KeyFrameRate);
  });
  applyIf(pFrames.capability, [&] {
    return apply(dialog, *parameters, pFrames, IDC_P_FRAMES, "%ld", &IAMVideoCompression::put_PFramesPerKeyFrame);
  });
  applyIf(quality.capability, [&] {
    return apply(dialog, *parameters, quality, IDC_QUALITY_VALUE, "%lf", &IAMVideoCompression::put_Quality);
  });
  applyIf(CompressionCaps_CanWindow, [&] { return applyWindowSize(dialog, *parameters); });
  applyIf(CompressionCaps_CanCrunch, [&] { return takeBitRate(dialog, *parameters); });
  EndDialog(dialog, isComplete ? IDOK : static_cast<INT_PTR>(ds_error::configurationPartlyFailed));
}

INT_PTR command(HWND dialog, int control) {
  switch (control) {
    case IDC_FURTHER_CONFIGURATION:
      if (const void* const parameters = GetPropA(dialog, parametersProperty)) {
        showFurtherConfiguration(dialog, *static_cast<const VideoCompressorParameters*>(parameters));
      }
      return TRUE;
    case IDOK:
      accept(dialog);
      return TRUE;
    case IDCANCEL:
      RemovePropA(dialog, parametersProperty);
      EndDialog(dialog, IDCANCEL);
      return TRUE;
    default:
      break;
  }
  for (const Defaultable& setting : defaultables) {
    if (setting.box == control) {
      enable(dialog, setting.control, IsDlgButtonChecked(dialog, control) != BST_CHECKED);
      return TRUE;
    }
  }
  return FALSE;
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
  switch (message) {
    case WM_INITDIALOG:
      show(dialog, *reinterpret_cast<VideoCompressorParameters*>(lParam));
      return TRUE;
    case WM_COMMAND:
      return command(dialog, LOWORD(wParam));
    case WM_HSCROLL:
      return scroll(dialog, wParam);
    case WM_DESTROY:
      RemovePropA(dialog, parametersProperty);  // Is there still when the parent takes the dialog with it.
      return FALSE;
    default:
      return FALSE;
  }
}

}  // namespace

INT_PTR showVideoCompressorDialog(HWND parent, VideoCompressorParameters& parameters) {
  return DialogBoxParamA(moduleInstance(), MAKEINTRESOURCEA(IDD_VIDEO_COMPRESSOR), parent, procedure,
                         reinterpret_cast<LPARAM>(&parameters));
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
