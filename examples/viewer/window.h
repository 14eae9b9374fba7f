// Windows whose messages an object handles, and what the program draws with.

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
  Window(const wchar_t* className, DWORD style, HWND parent);

  /// @return the answer to the message. What it throws is told to the user.
  virtual LRESULT handleMessage(UINT message, WPARAM wParam, LPARAM lParam);

 private:
  static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

  HWND window = nullptr;
};

/// A part of another window that draws itself.
class View : public Window {
 public:
  /// To be called whenever paint() would draw something else.
  void update() const { InvalidateRect(handle(), nullptr, FALSE); }

 protected:
  View(const wchar_t* className, HWND parent) : Window(className, WS_CHILD | WS_VISIBLE, parent) {}
  LRESULT handleMessage(UINT message, WPARAM wParam, LPARAM lParam) override;

  /// Draws all of the view's area. It appears at once.
  virtual void paint(HDC dc, const RECT& area) = 0;
};

/// Tells the user, in a message box, what went wrong.
void showFailure(HWND parent, const std::string& message);

/// The font of the system's messages. It follows the screen's resolution, and so do all sizes that derive from its lines.
HFONT guiFont();
int lineHeight();

inline SIZE sizeOf(const RECT& rect) {
  return {rect.right - rect.left, rect.bottom - rect.top};
}

void fill(HDC dc, const RECT& rect, COLORREF color);

/// Writes a line into the middle of `rect`.
void write(HDC dc, RECT rect, const std::string& text, COLORREF color);

}  // namespace quillet::viewer
