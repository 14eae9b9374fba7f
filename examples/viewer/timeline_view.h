// The file from its beginning to its end: a strip with the key frames, the waveform, and a line at the current place.

#pragma once

#include <vector>

#include "media.h"
#include "window.h"

namespace quillet::viewer {

/// Sent to the parent when the user points at a place. wParam: whether the mouse button is still down; lParam: the place.
constexpr UINT timelineMessage = WM_APP + 1;

class TimelineView : public Window {
 public:
  explicit TimelineView(HWND parent);

  /// @param newMedia the file to show, or null; must outlive its time here.
  void setMedia(Media* newMedia);

  void setPlace(long newPlace);

  /// The parts at both sides that stand for no place, so that the places lie under those of a slider above.
  void setMargins(int newLeft, int newRight);

  /// How high the view is at its best.
  static int preferredHeight();

 private:
  LRESULT handleMessage(UINT message, WPARAM wParam, LPARAM lParam) override;
  void paint(HDC dc);
  void paintKeyFrames(HDC dc, const RECT& strip);
  void paintWaveform(HDC dc, const RECT& area);
  void paintChannel(HDC dc, const RECT& lane, const std::vector<client::Peak>& peaks, long columnsDone) const;
  void pointAt(LPARAM mousePosition, bool buttonDown) const;
  int xOf(double part, const RECT& area) const;

  Media* media = nullptr;
  long place = 0;
  int leftMargin = 0;
  int rightMargin = 0;
};

}  // namespace quillet::viewer
