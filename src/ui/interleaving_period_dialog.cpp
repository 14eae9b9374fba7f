#include "ui/interleaving_period_dialog.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "core/module.h"
#include "core/time_units.h"
#include "resources/resource_ids.h"
#include "ui/ok_cancel_dialog.h"

namespace quillet {
namespace {

constexpr char periodProperty[] = "VfWAVICONFIG";
constexpr int textSize = 128;

long long* periodOf(HWND dialog) {
  return static_cast<long long*>(GetPropA(dialog, periodProperty));
}

void end(HWND dialog, PeriodDialogResult result) {
  RemovePropA(dialog, periodProperty);
  EndDialog(dialog, static_cast<INT_PTR>(result));
}

/// Reads a number of seconds, behind which only blanks may stand.
/// @return false when it is none, not positive, or too long for a period.
bool parseSeconds(const char* text, long long& period) {
  char* rest = nullptr;
  const double seconds = std::strtod(text, &rest);
  while (std::isspace(static_cast<unsigned char>(*rest))) {
    ++rest;
  }
  const double units = seconds * unitsPerSecond;
  // Written so that not-a-number fails, too.
  if (*rest != '\0' || !(seconds > 0) || !(units < static_cast<double>(std::numeric_limits<long long>::max()))) {
    return false;
  }
  period = static_cast<long long>(units);
  return true;
}

struct PeriodDialog {
  static constexpr const char* property = periodProperty;

  static void show(HWND dialog, LPARAM parameter) {
    auto* const period = reinterpret_cast<long long*>(parameter);
    if (!SetPropA(dialog, periodProperty, period)) {
      end(dialog, PeriodDialogResult::noProperty);
      return;
    }
    char text[textSize];
    std::snprintf(text, sizeof text, "%lf", static_cast<double>(*period) / unitsPerSecond);
    SetDlgItemTextA(dialog, IDC_PERIOD, text);
  }

  static void accept(HWND dialog) {
    char text[textSize + 1] = {};
    GetDlgItemTextA(dialog, IDC_PERIOD, text, sizeof text);
    // The period stays with the dialog when the text is rejected, so that the user can mend it and try again. It is gone
    // when the dialog has ended already.
    long long* const period = periodOf(dialog);
    if (period == nullptr) {
      return;
    }
    if (parseSeconds(text, *period)) {
      end(dialog, PeriodDialogResult::accepted);
      return;
    }
    MessageBoxA(dialog, "Positive floating point value expected for the interleaving period.", "Quillet library",
                MB_ICONEXCLAMATION);
  }

  static void cancel(HWND dialog) { end(dialog, PeriodDialogResult::cancelled); }
};

}  // namespace

PeriodDialogResult showInterleavingPeriodDialog(HWND parent, long long& period) {
  return static_cast<PeriodDialogResult>(DialogBoxParamA(moduleInstance(), MAKEINTRESOURCEA(IDD_INTERLEAVING_PERIOD),
                                                         parent, okCancelProcedure<PeriodDialog>,
                                                         reinterpret_cast<LPARAM>(&period)));
}

}  // namespace quillet
