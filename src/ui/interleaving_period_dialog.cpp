#include "ui/interleaving_period_dialog.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include <quillet/error_codes.h>

#include "core/time_units.h"
#include "resources/resource_ids.h"
#include "ui/ok_cancel_dialog.h"

namespace quillet {
namespace {

constexpr int textSize = 128;

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
  static constexpr char property[] = "VfWAVICONFIG";
  static constexpr int cannotAddProperty = vfw_error::cannotAddDialogProperty;

  static void show(HWND dialog, LPARAM parameter) {
    char text[textSize];
    std::snprintf(text, sizeof text, "%lf",
                  static_cast<double>(*reinterpret_cast<long long*>(parameter)) / unitsPerSecond);
    SetDlgItemTextA(dialog, IDC_PERIOD, text);
  }

  static void accept(HWND dialog) {
    char text[textSize + 1] = {};
    GetDlgItemTextA(dialog, IDC_PERIOD, text, sizeof text);
    // The period stays with the dialog when the text is rejected, so that the user can mend it and try again. It is gone
    // when the dialog has ended already.
    auto* const period = static_cast<long long*>(GetPropA(dialog, property));
    if (period == nullptr) {
      return;
    }
    if (parseSeconds(text, *period)) {
      RemovePropA(dialog, property);
      endDialog(dialog, IDOK);
      return;
    }
    MessageBoxA(dialog, "Positive floating point value expected for the interleaving period.", "Quillet library",
                MB_ICONEXCLAMATION);
  }
};

}  // namespace

INT_PTR showInterleavingPeriodDialog(HWND parent, long long& period) {
  return runDialog(parent, IDD_INTERLEAVING_PERIOD, okCancelProcedure<PeriodDialog>, reinterpret_cast<LPARAM>(&period));
}

}  // namespace quillet
