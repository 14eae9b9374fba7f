// The file from its beginning to its end: a strip with the key frames, the waveform, and a line at the current place.

#pragma once

#include "media.h"
#include "window.h"

namespace quillet::viewer {

/// Sent to the parent as the user drags the line. wParam: whether the drag goes on; lParam: the place.
constexpr UINT timelineMessage = WM_APP + 1;

class TimelineView : public View {
 public:
  explicit TimelineView(HWND parent) : View(L"QuilletTimelineView", parent) {}

  /// @param newMedia the file to show, or null; must outlive its time here.
  void setMedia(Media* newMedia);

  void setPlace(long newPlace);

  /// @param newMargins the room at both sides, so that the places lie under those of a slider above.
  void setMargins(int newMargins);

 private:
  LRESULT handleMessage(UINT message, WPARAM wParam, LPARAM lParam) override;
  void paint(HDC dc, const RECT& area) override;
  void paintKeyFrames(HDC dc, const RECT& strip);
  void paintWaveform(HDC dc, const RECT& area);
  void pointAt(int x) const;

  Media* media = nullptr;
  long place = 0;
  int margins = 0;
};

}  // namespace quillet::viewer
