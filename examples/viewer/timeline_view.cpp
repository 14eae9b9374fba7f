#include "timeline_view.h"

#include <windowsx.h>

#include <algorithm>
#include <cmath>

namespace quillet::viewer {
namespace {

constexpr COLORREF unknownColor = RGB(208, 208, 208);
constexpr COLORREF deltaColor = RGB(255, 255, 255);
constexpr COLORREF keyColor = RGB(224, 120, 0);
constexpr COLORREF waveformBackground = RGB(255, 255, 255);
constexpr COLORREF peakColor = RGB(150, 190, 230);
constexpr COLORREF rmsColor = RGB(40, 100, 170);
constexpr COLORREF axisColor = RGB(215, 222, 230);
constexpr COLORREF placeColor = RGB(220, 30, 30);
constexpr COLORREF textColor = RGB(110, 110, 110);

/// Draws into memory what then appears at once.
class BufferedPainting {
 public:
  explicit BufferedPainting(HWND window) : window(window), screen(BeginPaint(window, &painting)) {
    RECT room;
    GetClientRect(window, &room);
    size = sizeOf(room);
    bitmap = CreateCompatibleBitmap(screen, std::max(1L, size.cx), std::max(1L, size.cy));
    previous = SelectObject(memory, bitmap);
  }
  BufferedPainting(const BufferedPainting&) = delete;
  BufferedPainting& operator=(const BufferedPainting&) = delete;
  ~BufferedPainting() {
    BitBlt(screen, 0, 0, size.cx, size.cy, memory, 0, 0, SRCCOPY);
    SelectObject(memory, previous);
    DeleteObject(bitmap);
    DeleteDC(memory);
    EndPaint(window, &painting);
  }

  HDC dc() const { return memory; }

 private:
  HWND window;
  PAINTSTRUCT painting = {};
  HDC screen;
  HDC memory = CreateCompatibleDC(screen);
  SIZE size = {};
  HBITMAP bitmap = nullptr;
  HGDIOBJ previous = nullptr;
};

void fillColumn(HDC dc, int x, int top, int bottom, COLORREF color) {
  fill(dc, {x, top, x + 1, std::max(bottom, top + 1)}, color);
}

}  // namespace

TimelineView::TimelineView(HWND parent) {
  create(L"QuilletTimelineView", L"", WS_CHILD | WS_VISIBLE, parent, nullptr);
}

void TimelineView::setMedia(Media* newMedia) {
  media = newMedia;
  InvalidateRect(handle(), nullptr, FALSE);
}

void TimelineView::setPlace(long newPlace) {
  place = newPlace;
  InvalidateRect(handle(), nullptr, FALSE);
  UpdateWindow(handle());
}

void TimelineView::setMargins(int newLeft, int newRight) {
  leftMargin = newLeft;
  rightMargin = newRight;
  InvalidateRect(handle(), nullptr, FALSE);
}

int TimelineView::preferredHeight() {
  return lineHeight() * 6;
}

LRESULT TimelineView::handleMessage(UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_ERASEBKGND:
      return TRUE;
    case WM_PAINT:
      paint(BufferedPainting(handle()).dc());
      return 0;
    case WM_LBUTTONDOWN:
      SetCapture(handle());
      pointAt(lParam, true);
      return 0;
    case WM_MOUSEMOVE:
      if (GetCapture() == handle()) {
        pointAt(lParam, true);
      }
      return 0;
    case WM_LBUTTONUP:
      if (GetCapture() == handle()) {
        ReleaseCapture();
        pointAt(lParam, false);
      }
      return 0;
    default:
      return defaultAnswer(message, wParam, lParam);
  }
}

void TimelineView::pointAt(LPARAM mousePosition, bool buttonDown) const {
  if (media == nullptr) {
    return;
  }
  RECT room;
  GetClientRect(handle(), &room);
  const int width = std::max(1L, room.right - leftMargin - rightMargin);
  const double part = static_cast<double>(GET_X_LPARAM(mousePosition) - leftMargin) / width;
  const double pointed = std::floor(std::clamp(part, 0.0, 1.0) * static_cast<double>(media->length()));
  SendMessageW(GetParent(handle()), timelineMessage, buttonDown, static_cast<LPARAM>(pointed));
}

int TimelineView::xOf(double part, const RECT& area) const {
  return static_cast<int>(std::lround(area.left + part * sizeOf(area).cx));
}

void TimelineView::paint(HDC dc) {
  RECT room;
  GetClientRect(handle(), &room);
  const RECT whole = room;
  FillRect(dc, &room, GetSysColorBrush(COLOR_BTNFACE));
  room.left += leftMargin;
  room.right -= rightMargin;
  if (media == nullptr || room.left >= room.right) {
    return;
  }
  RECT strip = room;
  RECT area = room;
  strip.bottom = strip.top + lineHeight() / 2;
  area.top = strip.bottom + lineHeight() / 4;
  if (media->hasVideo()) {
    paintKeyFrames(dc, strip);
  } else {
    area.top = room.top;
  }
  paintWaveform(dc, area);
  const int x = xOf(static_cast<double>(place) / static_cast<double>(media->length()), room);
  const int halfWidth = std::max(1, lineHeight() / 14);
  fill(dc, {std::max<LONG>(whole.left, x - halfWidth + 1), whole.top, x + halfWidth, whole.bottom}, placeColor);
}

void TimelineView::paintKeyFrames(HDC dc, const RECT& strip) {
  const auto frames = static_cast<double>(media->length());
  media->keyFrames().with([&](const KeyFrames& keyFrames) {
    RECT known = strip;
    known.right = xOf(static_cast<double>(keyFrames.known) / frames, strip);
    fill(dc, strip, unknownColor);
    fill(dc, known, deltaColor);
    int lastX = -1;
    for (const long number : keyFrames.numbers) {
      const int x = xOf(static_cast<double>(number) / frames, strip);
      if (x != lastX) {
        fillColumn(dc, x, strip.top, strip.bottom, keyColor);
      }
      lastX = x;
    }
  });
}

void TimelineView::paintWaveform(HDC dc, const RECT& area) {
  fill(dc, area, waveformBackground);
  media->waveform().with([&](const Waveform& waveform) {
    RECT lane = area;
    lane.right = xOf(waveform.share, area);
    const auto channels = static_cast<LONG>(waveform.channels.size());
    for (LONG channel = 0; channel < channels; ++channel) {
      lane.top = area.top + sizeOf(area).cy * channel / channels;
      lane.bottom = area.top + sizeOf(area).cy * (channel + 1) / channels;
      paintChannel(dc, lane, waveform.channels[channel], waveform.columnsDone);
    }
    if (!waveform.problem.empty()) {
      writeCentred(dc, area, waveform.problem, textColor);
    }
  });
}

void TimelineView::paintChannel(HDC dc, const RECT& lane, const std::vector<client::Peak>& peaks,
                                long columnsDone) const {
  const int middle = (lane.top + lane.bottom) / 2;
  const auto reach = static_cast<float>(sizeOf(lane).cy / 2 - 1);
  const auto y = [&](float value) { return middle - static_cast<int>(std::lround(value * reach)); };
  fill(dc, {lane.left, middle, lane.right, middle + 1}, axisColor);
  const int width = std::max(1L, sizeOf(lane).cx);
  const auto count = static_cast<long>(peaks.size());
  for (int x = 0; x < width; ++x) {
    const long first = MulDiv(x, count, width);
    const long end = std::max<long>(first + 1, MulDiv(x + 1, count, width));
    if (end > columnsDone) {
      break;
    }
    client::Peak all = peaks[first];
    for (long column = first + 1; column < end; ++column) {
      all.least = std::min(all.least, peaks[column].least);
      all.greatest = std::max(all.greatest, peaks[column].greatest);
      all.rms = std::max(all.rms, peaks[column].rms);
    }
    fillColumn(dc, lane.left + x, y(all.greatest), y(all.least), peakColor);
    fillColumn(dc, lane.left + x, y(all.rms), y(-all.rms), rmsColor);
  }
}

}  // namespace quillet::viewer
