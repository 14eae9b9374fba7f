// A window whose messages an object handles, and what all windows of the program draw with.

#pragma once

#include <string>

#include <windows.h>

namespace quillet::viewer {

class Window {
 public:
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;
  virtual ~Window();

  HWND handle() const { return window; }

 protected:
  Window() = default;

  /// The last step of a subclass's constructor: from here on its handleMessage() is called.
  /// @param menu the menu, or null.
  void create(const wchar_t* className, const wchar_t* title, DWORD style, HWND parent, HMENU menu);

  /// @return the answer to the message. What it throws is told to the user.
  virtual LRESULT handleMessage(UINT message, WPARAM wParam, LPARAM lParam) = 0;

  LRESULT defaultAnswer(UINT message, WPARAM wParam, LPARAM lParam) const {
    return DefWindowProcW(window, message, wParam, lParam);
  }

 private:
  static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

  HWND window = nullptr;
};

std::wstring toWide(const std::string& utf8);

/// Tells the user, in a message box, what went wrong.
void showFailure(HWND parent, const std::string& message);

/// The font of the system's messages, from which all sizes in the program derive.
HFONT guiFont();

/// The height of a line of guiFont().
int lineHeight();

SIZE sizeOf(const RECT& rect);

void fill(HDC dc, const RECT& rect, COLORREF color);

/// Writes `text` into the middle of `rect`.
void writeCentred(HDC dc, RECT rect, const std::string& text, COLORREF color);

}  // namespace quillet::viewer
