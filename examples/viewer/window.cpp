#include "window.h"

#include <algorithm>
#include <exception>

#include "failure.h"
#include "text.h"

namespace quillet::viewer {

Window::~Window() {
  if (window != nullptr) {
    SetWindowLongPtrW(window, GWLP_USERDATA, 0);  // The object that handled the messages is gone.
    DestroyWindow(window);
  }
}

void Window::create(const wchar_t* className, const wchar_t* title, DWORD style, HWND parent, HMENU menu) {
  WNDCLASSEXW windowClass = {};
  windowClass.cbSize = sizeof windowClass;
  windowClass.lpfnWndProc = procedure;
  windowClass.hInstance = GetModuleHandleW(nullptr);
  windowClass.hIcon = LoadIconA(nullptr, IDI_APPLICATION);
  windowClass.hCursor = LoadCursorA(nullptr, IDC_ARROW);
  windowClass.hbrBackground = GetSysColorBrush(COLOR_BTNFACE);
  windowClass.lpszClassName = className;
  RegisterClassExW(&windowClass);
  if (CreateWindowExW(0, className, title, style, CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, parent,
                      menu, windowClass.hInstance, this) == nullptr) {
    throw client::Failure("cannot make a window: " + client::systemMessage(GetLastError()));
  }
}

LRESULT CALLBACK Window::procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_NCCREATE) {
    auto* const self = static_cast<Window*>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams);
    self->window = window;
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(self));
  }
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

std::wstring toWide(const std::string& utf8) {
  const int length = static_cast<int>(utf8.size());
  std::wstring wide(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, nullptr, 0), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

void showFailure(HWND parent, const std::string& message) {
  MessageBoxW(parent, toWide(message).c_str(), L"Quillet Viewer", MB_OK | MB_ICONERROR);
}

HFONT guiFont() {
  static const HFONT font = [] {
    NONCLIENTMETRICSW metrics = {};
    metrics.cbSize = sizeof metrics;
    SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
    return CreateFontIndirectW(&metrics.lfMessageFont);
  }();
  return font;
}

int lineHeight() {
  static const int height = [] {
    const HDC dc = GetDC(nullptr);
    const HGDIOBJ previous = SelectObject(dc, guiFont());
    TEXTMETRICW metrics = {};
    GetTextMetricsW(dc, &metrics);
    SelectObject(dc, previous);
    ReleaseDC(nullptr, dc);
    return static_cast<int>(metrics.tmHeight);
  }();
  return height;
}

SIZE sizeOf(const RECT& rect) {
  return {rect.right - rect.left, rect.bottom - rect.top};
}

void fill(HDC dc, const RECT& rect, COLORREF color) {
  SetDCBrushColor(dc, color);
  FillRect(dc, &rect, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
}

void writeCentred(HDC dc, RECT rect, const std::string& text, COLORREF color) {
  InflateRect(&rect, -lineHeight(), 0);
  const std::wstring wide = toWide(text);
  const HGDIOBJ previous = SelectObject(dc, guiFont());
  RECT needed = rect;
  DrawTextW(dc, wide.c_str(), -1, &needed, DT_CENTER | DT_WORDBREAK | DT_NOPREFIX | DT_CALCRECT);
  rect.top += std::max(0L, (sizeOf(rect).cy - sizeOf(needed).cy) / 2);
  SetBkMode(dc, TRANSPARENT);
  SetTextColor(dc, color);
  DrawTextW(dc, wide.c_str(), -1, &rect, DT_CENTER | DT_WORDBREAK | DT_NOPREFIX);
  SelectObject(dc, previous);
}

}  // namespace quillet::viewer
