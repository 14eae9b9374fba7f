#include "ui/compressor_dialog.h"

#include "core/module.h"
#include "resources/resource_ids.h"
#include "ui/ok_cancel_dialog.h"

namespace quillet {
namespace {

// A choice is its index shifted left, with the lowest bit set: it can be taken neither for the answer below nor for the
// system's own, which are 0 and -1.
constexpr INT_PTR cancelled = 2;
constexpr int choiceShift = 2;

struct CompressorDialog {
  static void show(HWND dialog, LPARAM names) {
    for (const std::string& name : *reinterpret_cast<const std::vector<std::string>*>(names)) {
      SendDlgItemMessageA(dialog, IDC_COMPRESSORS, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(name.c_str()));
    }
  }

  static void accept(HWND dialog) {
    const LRESULT selection = SendDlgItemMessageA(dialog, IDC_COMPRESSORS, LB_GETCURSEL, 0, 0);
    EndDialog(dialog, selection == LB_ERR ? cancelled : (static_cast<INT_PTR>(selection) << choiceShift) | 1);
  }

  static void cancel(HWND dialog) { EndDialog(dialog, cancelled); }
};

}  // namespace

CompressorDialogResult showCompressorDialog(HWND parent, const std::vector<std::string>& names, std::size_t& choice) {
  const INT_PTR result = DialogBoxParamA(moduleInstance(), MAKEINTRESOURCEA(IDD_COMPRESSOR), parent,
                                         okCancelProcedure<CompressorDialog>, reinterpret_cast<LPARAM>(&names));
  if (result == cancelled) {
    return CompressorDialogResult::cancelled;
  }
  if (result <= 0) {
    return CompressorDialogResult::notShown;  // 0 stands for a parent that is no window.
  }
  choice = static_cast<std::size_t>(result >> choiceShift);
  return CompressorDialogResult::chosen;
}

}  // namespace quillet
