#include "ui/audio_compressor_dialog.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <uuids.h>

#include <quillet/error_codes.h>

#include "formats/format_sizes.h"
#include "formats/media_type.h"
#include "platform/handles.h"
#include "resources/resource_ids.h"
#include "ui/audio_format_dialog.h"
#include "ui/list_box.h"
#include "ui/run_dialog.h"

namespace quillet {
namespace {

// What the dialog keeps: the stream's configuration, the format that it had when the dialog opened, which the dialog owns,
// and whether another has been set since.
constexpr char configProperty[] = "IAMStreamConfig";
constexpr char presentFormatProperty[] = "PresentFormat";
constexpr char formatModifiedProperty[] = "FormatModified";
const auto unmodified = reinterpret_cast<HANDLE>(1);
const auto modified = reinterpret_cast<HANDLE>(2);

constexpr int lineSize = 192;

/// The description of a format, for the user.
struct Line {
  char text[lineSize];
};

/// One of the formats that the stream can have.
struct Capability {
  MediaTypeHandle type;
  AUDIO_STREAM_CONFIG_CAPS choices = {};
};

/// @return null when the format is of another kind.
WAVEFORMATEX* waveFormatOf(const AM_MEDIA_TYPE& type) {
  const bool isWave =
      type.formattype == FORMAT_WaveFormatEx && type.pbFormat != nullptr && type.cbFormat >= sizeof(PCMWAVEFORMAT);
  return isWave ? reinterpret_cast<WAVEFORMATEX*>(type.pbFormat) : nullptr;
}

Line describe(const AM_MEDIA_TYPE& type) {
  Line line;
  const WAVEFORMATEX* const wave = waveFormatOf(type);
  if (wave == nullptr) {
    std::snprintf(line.text, sizeof line.text,
                  "Other format, channels:?, bits per sample:?, samples per second:?, bytes per second:?");
    return line;
  }
  char name[32] = "PCM format";
  if (wave->wFormatTag != WAVE_FORMAT_PCM) {
    std::snprintf(name, sizeof name, "Format Tag %#04hx", wave->wFormatTag);
  }
  std::snprintf(line.text, sizeof line.text,
                "%s, channels:%hd, bits per sample:%hd, samples per second:%d, bytes per second:%d", name,
                wave->nChannels, wave->wBitsPerSample, static_cast<int>(wave->nSamplesPerSec),
                static_cast<int>(wave->nAvgBytesPerSec));
  return line;
}

bool readCapability(IAMStreamConfig& config, int index, Capability& capability) {
  int count = 0;
  int size = 0;
  if (FAILED(config.GetNumberOfCapabilities(&count, &size))) {
    return false;
  }
  // Some streams have more to tell than what there is for audio.
  const std::size_t needed = std::max(static_cast<std::size_t>(std::max(size, 0)), sizeof capability.choices);
  const CoTaskMemory<BYTE> choices(static_cast<BYTE*>(CoTaskMemAlloc(needed)));
  if (choices == nullptr) {
    return false;
  }
  std::memset(choices.get(), 0, needed);
  AM_MEDIA_TYPE* type = nullptr;
  // An index that is too high is answered with a success that is not S_OK.
  const HRESULT result = config.GetStreamCaps(index, &type, choices.get());
  capability.type.reset(type);
  std::memcpy(&capability.choices, choices.get(), sizeof capability.choices);
  return result == S_OK && type != nullptr;
}

IAMStreamConfig* configOf(HWND dialog) {
  return static_cast<IAMStreamConfig*>(GetPropA(dialog, configProperty));
}

/// Takes everything back from the dialog.
/// @return the format that was set when the dialog opened.
MediaTypeHandle forget(HWND dialog) {
  RemovePropA(dialog, configProperty);
  RemovePropA(dialog, formatModifiedProperty);
  return MediaTypeHandle(static_cast<AM_MEDIA_TYPE*>(RemovePropA(dialog, presentFormatProperty)));
}

void end(HWND dialog, int result) {
  forget(dialog);
  endDialog(dialog, result);
}

void listFormats(HWND list, IAMStreamConfig& config, int count) {
  const int tabStop = 16;
  SendMessageA(list, LB_SETTABSTOPS, 1, reinterpret_cast<LPARAM>(&tabStop));
  for (int i = 0; i < count; ++i) {
    Capability capability;
    if (readCapability(config, i, capability)) {
      char text[lineSize];
      std::snprintf(text, sizeof text, "%d\t%s", i, describe(*capability.type).text);
      SendMessageA(list, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text));
    }
  }
  fitListBox(list);
}

/// @return a ds_error code.
int show(HWND dialog, IAMStreamConfig& config) {
  AM_MEDIA_TYPE* type = nullptr;
  const HRESULT result = config.GetFormat(&type);
  MediaTypeHandle present(type);
  if (FAILED(result) || present == nullptr) {
    return ds_error::cannotGetPresentFormat;
  }
  SetDlgItemTextA(dialog, IDC_PRESENT_FORMAT, describe(*present).text);
  int count = 0;
  int size = 0;
  if (FAILED(config.GetNumberOfCapabilities(&count, &size))) {
    return ds_error::cannotGetExposedFormats;
  }
  listFormats(GetDlgItem(dialog, IDC_AUDIO_FORMATS), config, count);
  if (!SetPropA(dialog, configProperty, &config) || !SetPropA(dialog, formatModifiedProperty, unmodified) ||
      !SetPropA(dialog, presentFormatProperty, present.get())) {
    return ds_error::cannotAddDialogProperty;
  }
  static_cast<void>(present.release());  // The dialog's from now on.
  return ds_error::success;
}

/// Reads the capability whose index the selected line begins with.
bool readSelected(HWND dialog, WPARAM selected, Capability& capability) {
  auto* const list = GetDlgItem(dialog, IDC_AUDIO_FORMATS);
  const LRESULT length = SendMessageA(list, LB_GETTEXTLEN, selected, 0);
  char text[lineSize] = {};
  if (length < 0 || length >= lineSize ||
      SendMessageA(list, LB_GETTEXT, selected, reinterpret_cast<LPARAM>(text)) == LB_ERR) {
    return false;
  }
  char* rest = nullptr;
  const int index = std::strtol(text, &rest, 10);
  IAMStreamConfig* const config = configOf(dialog);
  return rest != text && config != nullptr && readCapability(*config, index, capability);
}

void say(HWND dialog, const char* text, UINT icon) {
  MessageBoxA(dialog, text, "Quillet library", icon);
}

void choose(const AUDIO_STREAM_CONFIG_CAPS& chosen, AM_MEDIA_TYPE& type, WAVEFORMATEX& wave) {
  // Of a codec's own format only the codec knows how large its blocks are.
  if (wave.wFormatTag == WAVE_FORMAT_PCM) {
    wave.nBlockAlign = static_cast<WORD>(chosen.MinimumChannels * chosen.MinimumBitsPerSample / bitsPerByte);
    type.lSampleSize = wave.nBlockAlign;
    wave.nAvgBytesPerSec = wave.nBlockAlign * chosen.MinimumSampleFrequency;
  }
  wave.nChannels = static_cast<WORD>(chosen.MinimumChannels);
  wave.nSamplesPerSec = chosen.MinimumSampleFrequency;
  wave.wBitsPerSample = static_cast<WORD>(chosen.MinimumBitsPerSample);
}

/// Lets the user fix what the format leaves open. It stays as it was listed when there is nothing to fix, or he does not.
void refine(HWND dialog, Capability& capability) {
  AUDIO_STREAM_CONFIG_CAPS& choices = capability.choices;
  WAVEFORMATEX* const wave = waveFormatOf(*capability.type);
  const bool isOpen = choices.MinimumChannels < choices.MaximumChannels ||
                      choices.MinimumBitsPerSample < choices.MaximumBitsPerSample ||
                      choices.MinimumSampleFrequency < choices.MaximumSampleFrequency;
  if (wave == nullptr || !isOpen) {
    return;
  }
  const INT_PTR result = showAudioFormatDialog(dialog, choices);
  if (result == IDOK) {
    choose(choices, *capability.type, *wave);
  } else if (result != IDCANCEL) {
    say(dialog, "Cannot further configure this format.", MB_ICONSTOP);
  }
}

void setSelected(HWND dialog) {
  const LRESULT selected = SendDlgItemMessageA(dialog, IDC_AUDIO_FORMATS, LB_GETCURSEL, 0, 0);
  if (selected == LB_ERR) {
    say(dialog, "No format selected.", MB_ICONEXCLAMATION);
    return;
  }
  Capability capability;
  if (!readSelected(dialog, static_cast<WPARAM>(selected), capability)) {
    end(dialog, ds_error::unexpectedError);
    return;
  }
  refine(dialog, capability);
  IAMStreamConfig* const config = configOf(dialog);
  if (config == nullptr) {
    return;  // The dialog has been ended while the user was at the other one.
  }
  if (FAILED(config->SetFormat(capability.type.get())) || !SetPropA(dialog, formatModifiedProperty, modified)) {
    say(dialog, "Cannot set the new format.", MB_ICONSTOP);
    return;
  }
  SetDlgItemTextA(dialog, IDC_NEW_FORMAT, describe(*capability.type).text);
}

void cancel(HWND dialog) {
  IAMStreamConfig* const config = configOf(dialog);
  const bool isModified = GetPropA(dialog, formatModifiedProperty) == modified;
  const MediaTypeHandle present = forget(dialog);
  const bool isAsBefore =
      !isModified || (config != nullptr && present != nullptr && SUCCEEDED(config->SetFormat(present.get())));
  endDialog(dialog, isAsBefore ? IDCANCEL : static_cast<INT_PTR>(ds_error::cannotRestoreFormat));
}

INT_PTR command(HWND dialog, WPARAM given) {
  switch (given) {
    case IDC_SET_FORMAT:
    case MAKEWPARAM(IDC_AUDIO_FORMATS, LBN_DBLCLK):
      setSelected(dialog);
      return TRUE;
    case IDOK:
      end(dialog, IDOK);
      return TRUE;
    case IDCANCEL:
      cancel(dialog);
      return TRUE;
    default:
      return FALSE;
  }
}

INT_PTR CALLBACK procedure(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_INITDIALOG:
      if (const int error = show(dialog, *reinterpret_cast<IAMStreamConfig*>(lParam))) {
        end(dialog, error);
      }
      SetFocus(GetDlgItem(dialog, IDC_AUDIO_FORMATS));  // Before it stands what can only be read.
      return FALSE;
    case WM_COMMAND:
      return command(dialog, wParam);
    default:
      return FALSE;
  }
}

}  // namespace

INT_PTR showAudioCompressorDialog(HWND parent, IAMStreamConfig& config) {
  return runDialog(parent, IDD_AUDIO_COMPRESSOR, procedure, reinterpret_cast<LPARAM>(&config));
}

}  // namespace quillet
