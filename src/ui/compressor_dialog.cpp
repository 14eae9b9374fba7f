#include "ui/compressor_dialog.h"

#include "resources/resource_ids.h"
#include "ui/list_box.h"
#include "ui/ok_cancel_dialog.h"

namespace quillet {
namespace {

// A choice is its index shifted left, with the lowest bit set: it can be taken for no other answer.
constexpr int choiceShift = 2;

struct CompressorDialog {
  static void show(HWND dialog, LPARAM names) {
    HWND list = GetDlgItem(dialog, IDC_COMPRESSORS);
    for (const std::string& name : *reinterpret_cast<const std::vector<std::string>*>(names)) {
      SendMessageA(list, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(name.c_str()));
    }
    fitListBox(list);
  }

  static void accept(HWND dialog) {
    const LRESULT selection = SendDlgItemMessageA(dialog, IDC_COMPRESSORS, LB_GETCURSEL, 0, 0);
    endDialog(dialog, selection == LB_ERR ? IDCANCEL : (static_cast<INT_PTR>(selection) << choiceShift) | 1);
  }
};

INT_PTR CALLBACK procedure(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  const bool isDoubleClick = message == WM_COMMAND && wParam == MAKEWPARAM(IDC_COMPRESSORS, LBN_DBLCLK);
  // It may have hit no row.
  if (isDoubleClick && SendDlgItemMessageA(dialog, IDC_COMPRESSORS, LB_GETCURSEL, 0, 0) != LB_ERR) {
    wParam = IDOK;
  }
  return okCancelProcedure<CompressorDialog>(dialog, message, wParam, lParam);
}

}  // namespace

INT_PTR showCompressorDialog(HWND parent, const std::vector<std::string>& names, std::size_t& choice) {
  const INT_PTR result = runDialog(parent, IDD_COMPRESSOR, procedure, reinterpret_cast<LPARAM>(&names));
  if (result == IDCANCEL || result == dialogNotShown) {
    return result;
  }
  choice = static_cast<std::size_t>(result >> choiceShift);
  return IDOK;
}

}  // namespace quillet
