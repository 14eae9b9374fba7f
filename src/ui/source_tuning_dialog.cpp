#include "ui/source_tuning_dialog.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include <quillet/error_codes.h>

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
  static constexpr int cannotAddProperty = ds_error::cannotAddDialogProperty;

  static void show(HWND dialog, LPARAM parameter) {
    const auto& tuning = *reinterpret_cast<const Tuning*>(parameter);
    SetDlgItemInt(dialog, IDC_QUICK_DECODE, tuning.quickDecode, TRUE);
    SetDlgItemInt(dialog, IDC_STEP_BACK, tuning.stepBack, TRUE);
    Kind::showRatio(dialog, tuning);
  }

  static void accept(HWND dialog) {
    auto* const tuning = static_cast<Tuning*>(RemovePropA(dialog, property));
    if (tuning == nullptr) {
      return;  // The dialog has ended already.
    }
    tuning->quickDecode = numberIn<Kind::textLength>(dialog, IDC_QUICK_DECODE);
    tuning->stepBack = numberIn<Kind::textLength>(dialog, IDC_STEP_BACK);
    Kind::readRatio(dialog, *tuning);
    endDialog(dialog, IDOK);
  }
};

}  // namespace

INT_PTR showSourceTuningDialog(HWND parent, SearchTuning& tuning) {
  return runDialog(parent, IDD_AUDIO_SOURCE_TUNING, okCancelProcedure<TuningDialog<AudioKind>>,
                   reinterpret_cast<LPARAM>(&tuning));
}

INT_PTR showSourceTuningDialog(HWND parent, FrameSearchTuning& tuning) {
  return runDialog(parent, IDD_VIDEO_SOURCE_TUNING, okCancelProcedure<TuningDialog<VideoKind>>,
                   reinterpret_cast<LPARAM>(&tuning));
}

}  // namespace quillet
