#include "window.h"

#include <cstdlib>
#include <exception>

#include <uxtheme.h>

#include "shared/failure.h"
#include "shared/text.h"

namespace quillet::viewer {
namespace {

LOGFONTW messageFont() {
  NONCLIENTMETRICSW metrics = {};
  metrics.cbSize = sizeof metrics;
  SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
  return metrics.lfMessageFont;
}

}  // namespace

Window::Window(const wchar_t* className, DWORD style, HWND parent) {
  WNDCLASSW windowClass = {};
  windowClass.lpfnWndProc = procedure;
  windowClass.hInstance = GetModuleHandleW(nullptr);
  windowClass.hIcon = LoadIconA(nullptr, IDI_APPLICATION);
  windowClass.hCursor = LoadCursorA(nullptr, IDC_ARROW);
  windowClass.hbrBackground = GetSysColorBrush(COLOR_BTNFACE);
  windowClass.lpszClassName = className;
  RegisterClassW(&windowClass);
  window = CreateWindowExW(0, className, L"", style, CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, parent,
                           nullptr, windowClass.hInstance, nullptr);
  if (window == nullptr) {
    throw client::Failure("cannot make a window: " + client::systemMessage(GetLastError()));
  }
  // The messages before this one have the default answers: the object was not there yet.
  SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
}

Window::~Window() {
  if (window != nullptr) {
    SetWindowLongPtrW(window, GWLP_USERDATA, 0);
    DestroyWindow(window);
  }
}

LRESULT Window::handleMessage(UINT message, WPARAM wParam, LPARAM lParam) {
  return DefWindowProcW(window, message, wParam, lParam);
}

LRESULT CALLBACK Window::procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  auto* const self = reinterpret_cast<Window*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (self == nullptr) {
    return DefWindowProcW(window, message, wParam, lParam);
  }
  if (message == WM_NCDESTROY) {
    SetWindowLongPtrW(window, GWLP_USERDATA, 0);
    self->window = nullptr;
    return DefWindowProcW(window, message, wParam, lParam);
  }
  // An exception must not pass through the system's frames.
  try {
    return self->handleMessage(message, wParam, lParam);
  } catch (const std::exception& exception) {
    showFailure(GetAncestor(window, GA_ROOT), exception.what());
    return 0;
  }
}

LRESULT View::handleMessage(UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_ERASEBKGND:
      return TRUE;
    case WM_SIZE:
      update();
      return 0;
    case WM_PAINT: {
      PAINTSTRUCT painting;
      RECT area;
      HDC dc = nullptr;
      GetClientRect(handle(), &area);
      HDC screen = BeginPaint(handle(), &painting);
      if (HPAINTBUFFER buffer = BeginBufferedPaint(screen, &area, BPBF_COMPATIBLEBITMAP, nullptr, &dc)) {
        paint(dc, area);
        EndBufferedPaint(buffer, TRUE);
      }
      EndPaint(handle(), &painting);
      return 0;
    }
    default:
      return Window::handleMessage(message, wParam, lParam);
  }
}

void showFailure(HWND parent, const std::string& message) {
  MessageBoxW(parent, client::toUtf16(message).c_str(), L"Quillet Viewer", MB_OK | MB_ICONERROR);
}

HFONT guiFont() {
  static const LOGFONTW description = messageFont();
  static HFONT font = CreateFontIndirectW(&description);
  return font;
}

int lineHeight() {
  static const int height = std::abs(messageFont().lfHeight) * 4 / 3;
  return height;
}

void fill(HDC dc, const RECT& rect, COLORREF color) {
  SetDCBrushColor(dc, color);
  FillRect(dc, &rect, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
}

void write(HDC dc, RECT rect, const std::string& text, COLORREF color) {
  HGDIOBJ previous = SelectObject(dc, guiFont());
  SetBkMode(dc, TRANSPARENT);
  SetTextColor(dc, color);
  DrawTextW(dc, client::toUtf16(text).c_str(), -1, &rect,
            DT_CENTER | DT_VCENTER | DT_SINGLELINE | DT_END_ELLIPSIS | DT_NOPREFIX);
  SelectObject(dc, previous);
}

}  // namespace quillet::viewer
