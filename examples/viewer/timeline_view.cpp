#include "timeline_view.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include <windowsx.h>

namespace quillet::viewer {
namespace {

constexpr COLORREF unknownColor = RGB(190, 190, 190);
constexpr COLORREF deltaColor = RGB(222, 230, 240);
constexpr COLORREF keyColor = RGB(224, 120, 0);
constexpr COLORREF waveformBackground = RGB(255, 255, 255);
constexpr COLORREF peakColor = RGB(150, 190, 230);
constexpr COLORREF rmsColor = RGB(40, 100, 170);
constexpr COLORREF placeColor = RGB(220, 30, 30);
constexpr COLORREF textColor = RGB(110, 110, 110);

/// Where the part of the way from the left to the right of `area` ends.
int xOf(double part, const RECT& area) {
  return static_cast<int>(std::lround(area.left + part * sizeOf(area).cx));
}

/// Draws the complete columns. What falls on one pixel is drawn as one.
void paintChannel(HDC dc, const RECT& lane, const std::vector<client::Peak>& peaks, long columnsDone) {
  const auto middle = static_cast<float>(lane.top + lane.bottom) / 2.0F;
  const float reach = static_cast<float>(sizeOf(lane).cy) / 2.0F - 1.0F;
  const auto fillBetween = [&](LONG x, float least, float greatest, COLORREF color) {
    const LONG top = std::lround(middle - greatest * reach);
    fill(dc, {x, top, x + 1, std::max(top + 1, std::lround(middle - least * reach))}, color);
  };
  const int width = sizeOf(lane).cx;
  for (int x = 0; x < width; ++x) {
    const long first = MulDiv(x, static_cast<int>(peaks.size()), width);
    const long end = std::max<long>(first + 1, MulDiv(x + 1, static_cast<int>(peaks.size()), width));
    if (end > columnsDone) {
      break;
    }
    client::Peak all = peaks[first];
    for (long column = first + 1; column < end; ++column) {
      all.least = std::min(all.least, peaks[column].least);
      all.greatest = std::max(all.greatest, peaks[column].greatest);
      all.rms = std::max(all.rms, peaks[column].rms);
    }
    fillBetween(lane.left + x, all.least, all.greatest, peakColor);
    fillBetween(lane.left + x, -all.rms, all.rms, rmsColor);
  }
}

}  // namespace

void TimelineView::setMedia(Media* newMedia) {
  media = newMedia;
  update();
}

void TimelineView::setPlace(long newPlace) {
  place = newPlace;
  update();
  UpdateWindow(handle());
}

void TimelineView::setMargins(int newMargins) {
  margins = newMargins;
  update();
}

LRESULT TimelineView::handleMessage(UINT message, WPARAM wParam, LPARAM lParam) {
  const bool isDragging = GetCapture() == handle();
  if (message == WM_LBUTTONDOWN && media != nullptr) {
    SetCapture(handle());
    pointAt(GET_X_LPARAM(lParam));
  } else if (message == WM_MOUSEMOVE && isDragging) {
    pointAt(GET_X_LPARAM(lParam));
  } else if (message == WM_LBUTTONUP && isDragging) {
    ReleaseCapture();
  } else if (message == WM_CAPTURECHANGED && media != nullptr) {
    PostMessageW(GetParent(handle()), timelineMessage, FALSE, place);  // Later: a dialog may follow.
  } else {
    return View::handleMessage(message, wParam, lParam);
  }
  return 0;
}

void TimelineView::pointAt(int x) const {
  RECT area;
  GetClientRect(handle(), &area);
  const LONG width = std::max(1L, area.right - 2 * margins);
  const double part = std::clamp(static_cast<double>(x - margins) / static_cast<double>(width), 0.0, 1.0);
  SendMessageW(GetParent(handle()), timelineMessage, TRUE,
               static_cast<LPARAM>(part * static_cast<double>(media->length())));
}

void TimelineView::paint(HDC dc, const RECT& area) {
  FillRect(dc, &area, GetSysColorBrush(COLOR_BTNFACE));
  RECT room = area;
  InflateRect(&room, -margins, 0);
  if (media == nullptr || room.left >= room.right) {
    return;
  }
  const int x = xOf(static_cast<double>(place) / static_cast<double>(media->length()), room);
  if (media->hasVideo()) {
    const LONG stripBottom = room.top + lineHeight() / 2;
    paintKeyFrames(dc, {room.left, room.top, room.right, stripBottom});
    room.top = stripBottom + lineHeight() / 4;
  }
  paintWaveform(dc, room);
  const int thickness = std::max(1, lineHeight() / 12);
  fill(dc, {x - thickness / 2, area.top, x - thickness / 2 + thickness, area.bottom}, placeColor);
}

void TimelineView::paintKeyFrames(HDC dc, const RECT& strip) {
  const auto frames = static_cast<double>(media->length());
  media->keyFrames().with([&](const KeyFrames& keyFrames) {
    fill(dc, strip, unknownColor);
    fill(dc, {strip.left, strip.top, xOf(static_cast<double>(keyFrames.known) / frames, strip), strip.bottom},
         deltaColor);
    int lastX = -1;  // Of a million key frames few have a pixel of their own.
    for (const long number : keyFrames.numbers) {
      const int x = xOf(static_cast<double>(number) / frames, strip);
      if (std::exchange(lastX, x) != x) {
        fill(dc, {x, strip.top, x + 1, strip.bottom}, keyColor);
      }
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
    write(dc, area, waveform.problem, textColor);
  });
}

}  // namespace quillet::viewer
