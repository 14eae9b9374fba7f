#include "ui/source_tuning_dialog.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "core/module.h"
#include "resources/resource_ids.h"
#include "ui/ok_cancel_dialog.h"

namespace quillet {
namespace {

/// What stands in a control as a number; 0 when it is none. A number too large for an int is as large as can be.
/// @tparam length characters of the text that count.
template <int length>
int numberIn(HWND dialog, int control) {
  char text[length + 1] = {};
  GetDlgItemTextA(dialog, control, text, sizeof text);
  return std::strtol(text, nullptr, 10);
}

/// The parts in which the two dialogs differ. The ratio's first choice, "default", reads as 0 because it is no number.
struct AudioKind {
  using Tuning = SearchTuning;
  static constexpr int textLength = 18;

  static void showRatio(HWND, const Tuning&) {}
  static void readRatio(HWND, Tuning&) {}
};

struct VideoKind {
  using Tuning = FrameSearchTuning;
  static constexpr int textLength = 34;

  static void showRatio(HWND dialog, const Tuning& tuning) {
    constexpr const char* choices[] = {"default", "1", "2", "3", "4", "5", "6", "7"};
    constexpr int last = std::size(choices) - 1;
    for (const char* const choice : choices) {
      SendDlgItemMessageA(dialog, IDC_GROWTH_RATIO, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(choice));
    }
    SendDlgItemMessageA(dialog, IDC_GROWTH_RATIO, CB_SETCURSEL, std::min(tuning.growthRatio, last), 0);
  }
  static void readRatio(HWND dialog, Tuning& tuning) {
    tuning.growthRatio = numberIn<textLength>(dialog, IDC_GROWTH_RATIO);
  }
};

template <class Kind>
struct TuningDialog {
  using Tuning = typename Kind::Tuning;
  static constexpr char property[] = "DSSCONFIG";

  static void show(HWND dialog, LPARAM parameter) {
    auto* const tuning = reinterpret_cast<Tuning*>(parameter);
    if (!SetPropA(dialog, property, tuning)) {
      EndDialog(dialog, static_cast<INT_PTR>(TuningDialogResult::noProperty));
      return;
    }
    SetDlgItemInt(dialog, IDC_QUICK_DECODE, tuning->quickDecode, TRUE);
    SetDlgItemInt(dialog, IDC_STEP_BACK, tuning->stepBack, TRUE);
    Kind::showRatio(dialog, *tuning);
  }

  static void accept(HWND dialog) {
    auto* const tuning = static_cast<Tuning*>(RemovePropA(dialog, property));
    if (tuning == nullptr) {
      return;  // The dialog has ended already.
    }
    tuning->quickDecode = numberIn<Kind::textLength>(dialog, IDC_QUICK_DECODE);
    tuning->stepBack = numberIn<Kind::textLength>(dialog, IDC_STEP_BACK);
    Kind::readRatio(dialog, *tuning);
    EndDialog(dialog, static_cast<INT_PTR>(TuningDialogResult::accepted));
  }

  static void cancel(HWND dialog) {
    RemovePropA(dialog, property);
    EndDialog(dialog, static_cast<INT_PTR>(TuningDialogResult::cancelled));
  }
};

template <class Kind>
TuningDialogResult run(HWND parent, int resource, typename Kind::Tuning& tuning) {
  const INT_PTR result = DialogBoxParamA(moduleInstance(), MAKEINTRESOURCEA(resource), parent,
                                         okCancelProcedure<TuningDialog<Kind>>, reinterpret_cast<LPARAM>(&tuning));
  // The system answers 0, which none of the dialogs does, for a parent that is no window.
  return result == 0 ? TuningDialogResult::notShown : static_cast<TuningDialogResult>(result);
}

}  // namespace

TuningDialogResult showSourceTuningDialog(HWND parent, SearchTuning& tuning) {
  return run<AudioKind>(parent, IDD_AUDIO_SOURCE_TUNING, tuning);
}

TuningDialogResult showSourceTuningDialog(HWND parent, FrameSearchTuning& tuning) {
  return run<VideoKind>(parent, IDD_VIDEO_SOURCE_TUNING, tuning);
}

}  // namespace quillet
