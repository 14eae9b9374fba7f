#include "ui/interleaving_period_dialog.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "core/module.h"
#include "core/time_units.h"
#include "resources/resource_ids.h"

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

void show(HWND dialog, const long long* period) {
  if (!SetPropA(dialog, periodProperty, const_cast<long long*>(period))) {
    end(dialog, PeriodDialogResult::noProperty);
    return;
  }
  char text[textSize];
  std::snprintf(text, sizeof text, "%lf", static_cast<double>(*period) / unitsPerSecond);
  SetDlgItemTextA(dialog, IDC_PERIOD, text);
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
  if (rest == text || *rest != '\0' || !(seconds > 0) ||
      !(units < static_cast<double>(std::numeric_limits<long long>::max()))) {
    return false;
  }
  period = static_cast<long long>(units);
  return true;
}

void accept(HWND dialog) {
  char text[textSize + 1] = {};
  GetDlgItemTextA(dialog, IDC_PERIOD, text, sizeof text);
  // The period stays with the dialog when the text is rejected, so that the user can mend it and try again.
  if (parseSeconds(text, *periodOf(dialog))) {
    end(dialog, PeriodDialogResult::accepted);
    return;
  }
  MessageBoxA(dialog, "Positive floating point value expected for the interleaving period.", "Quillet library",
              MB_ICONEXCLAMATION);
}

INT_PTR CALLBACK procedure(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_INITDIALOG) {
    show(dialog, reinterpret_cast<const long long*>(lParam));
    return TRUE;
  }
  if (message != WM_COMMAND) {
    return FALSE;
  }
  switch (LOWORD(wParam)) {
    case IDOK:
      accept(dialog);
      return TRUE;
    case IDCANCEL:
      end(dialog, PeriodDialogResult::cancelled);
      return TRUE;
    default:
      return FALSE;
  }
}

}  // namespace

PeriodDialogResult showInterleavingPeriodDialog(HWND parent, long long& period) {
  return static_cast<PeriodDialogResult>(DialogBoxParamA(moduleInstance(), MAKEINTRESOURCEA(IDD_INTERLEAVING_PERIOD),
                                                         parent, procedure, reinterpret_cast<LPARAM>(&period)));
}

}  // namespace quillet
