#include "ui/audio_format_dialog.h"

#include <cstdio>

#include <quillet/error_codes.h>

#include "resources/resource_ids.h"
#include "ui/ok_cancel_dialog.h"

namespace quillet {
namespace {

using Capabilities = AUDIO_STREAM_CONFIG_CAPS;

/// A combo box, and the range that it offers.
struct Choice {
  int control;
  ULONG Capabilities::*minimum;
  ULONG Capabilities::*maximum;
  ULONG Capabilities::*granularity;
};

constexpr Choice choices[] = {
    {IDC_CHANNELS, &Capabilities::MinimumChannels, &Capabilities::MaximumChannels, &Capabilities::ChannelsGranularity},
    {IDC_BITS_PER_SAMPLE, &Capabilities::MinimumBitsPerSample, &Capabilities::MaximumBitsPerSample,
     &Capabilities::BitsPerSampleGranularity},
    {IDC_FREQUENCY, &Capabilities::MinimumSampleFrequency, &Capabilities::MaximumSampleFrequency,
     &Capabilities::SampleFrequencyGranularity},
};

void fill(HWND combo, ULONG minimum, ULONG maximum, ULONG granularity) {
  // No frequency in use is left out, and a range of nonsense does not keep the user waiting. Steps of 0 lead nowhere.
  constexpr int mostValues = 200'000;
  const int limit = granularity > 0 ? mostValues : 1;
  SendMessageA(combo, WM_SETREDRAW, FALSE, 0);
  // Wider than the values, so that the last step does not begin again from 0.
  unsigned long long value = minimum;
  for (int i = 0; i < limit && value <= maximum; ++i) {
    char text[32];
    std::snprintf(text, sizeof text, "%lu", static_cast<unsigned long>(value));
    SendMessageA(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text));
    value += granularity;
  }
  SendMessageA(combo, WM_SETREDRAW, TRUE, 0);
  SendMessageA(combo, CB_SETCURSEL, 0, 0);
}

struct AudioFormatDialog {
  static constexpr char property[] = "AUDIO_STREAM_CONFIG_CAPS";
  static constexpr int cannotAddProperty = ds_error::cannotAddDialogProperty;

  static void show(HWND dialog, LPARAM parameter) {
    auto* const capabilities = reinterpret_cast<Capabilities*>(parameter);
    for (const Choice& choice : choices) {
      fill(GetDlgItem(dialog, choice.control), capabilities->*choice.minimum, capabilities->*choice.maximum,
           capabilities->*choice.granularity);
    }
  }

  static void accept(HWND dialog) {
    auto* const capabilities = static_cast<Capabilities*>(RemovePropA(dialog, property));
    if (capabilities == nullptr) {
      endDialog(dialog, ds_error::unexpectedError);
      return;
    }
    for (const Choice& choice : choices) {
      // An empty box had nothing to offer: its minimum stands.
      BOOL isNumber = FALSE;
      const UINT value = GetDlgItemInt(dialog, choice.control, &isNumber, FALSE);
      capabilities->*choice.minimum = isNumber ? value : capabilities->*choice.minimum;
    }
    endDialog(dialog, IDOK);
  }
};

}  // namespace

INT_PTR showAudioFormatDialog(HWND parent, AUDIO_STREAM_CONFIG_CAPS& capabilities) {
  return runDialog(parent, IDD_AUDIO_FORMAT, okCancelProcedure<AudioFormatDialog>,
                   reinterpret_cast<LPARAM>(&capabilities));
}

}  // namespace quillet
