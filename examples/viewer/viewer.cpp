// A viewer of media files: shows any frame by its number, the audio as a waveform, and where the key frames are.
//
// The window's thread has the video stream to itself. What can take long runs behind the library's progress dialogs (opening
// a file, fetching a frame with DirectShow) or on threads in the background with streams of their own (see media.h).

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <windows.h>

#include <commctrl.h>
#include <shellapi.h>

#include <quillet/quillet.h>

#include "dialogs.h"
#include "failure.h"
#include "frame_view.h"
#include "image_file.h"
#include "media.h"
#include "resource_ids.h"
#include "text.h"
#include "timeline_view.h"
#include "window.h"

namespace quillet::viewer {
namespace {

constexpr wchar_t programName[] = L"Quillet Viewer";
constexpr const char* emptyText = "Open a media file (Ctrl+O), or drop one here.";

/// Without frames the places are milliseconds, which are too small a step.
constexpr long stepWithoutVideo = 100;

enum StatusPart : int { placePart, timePart, keyPart, notePart, partCount };

class Viewer : public Window {
 public:
  Viewer();

  /// Opens a file behind the library's progress dialogs. When that fails, what was open stays.
  void open(const std::filesystem::path& newPath, long place);

 private:
  class Busy;

  LRESULT handleMessage(UINT message, WPARAM wParam, LPARAM lParam) override;
  void handleCommand(int command);
  void enableCommands(HMENU menu) const;
  void layOut();
  void alignTimeline();

  void chooseFile();
  void openDropped(HDROP drop);
  void changeBackend(Backend newBackend);
  void close();
  void saveFrame();
  void copyFrame();
  void goTo();
  void tune();
  void goToKeyFrame(bool forward);

  void show(long place);
  void drag(long place, bool ends);
  void moveTo(long place);
  void fetchFrame();
  void showStatus();
  void sizeStatusParts();
  void showStatusText(StatusPart part, const std::string& text);
  std::string keyText();
  bool isBusy() const { return busyDepth > 0; }

  std::unique_ptr<FrameView> frameView;
  std::unique_ptr<TimelineView> timeline;
  HWND slider = nullptr;
  HWND status = nullptr;

  std::filesystem::path path;
  Backend backend = Backend::automatic;
  std::unique_ptr<Media> media;
  long wanted = 0;         // The place that the user wants to see,
  long shown = -1;         // the one whose frame was fetched last,
  double shownTime = 0.0;  // and its time.
  std::string note;

  int busyDepth = 0;
  bool closeWanted = false;
};

/// Lives while a modal dialog runs: its loop goes on dispatching the window's messages, which must not use the stream that
/// is being read, nor end the window under the functions that wait for the dialog.
class Viewer::Busy {
 public:
  explicit Busy(Viewer& viewer) : viewer(viewer) { ++viewer.busyDepth; }
  Busy(const Busy&) = delete;
  Busy& operator=(const Busy&) = delete;
  ~Busy() {
    if (--viewer.busyDepth == 0 && viewer.closeWanted) {
      PostMessageW(viewer.handle(), WM_CLOSE, 0, 0);
    }
  }

 private:
  Viewer& viewer;
};

Viewer::Viewer() {
  create(L"QuilletViewer", programName, WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, nullptr,
         LoadMenuW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDR_MENU)));
  frameView = std::make_unique<FrameView>(handle());
  slider = CreateWindowExW(0, TRACKBAR_CLASSW, L"", WS_CHILD | WS_VISIBLE | TBS_NOTICKS, 0, 0, 0, 0, handle(), nullptr,
                           GetModuleHandleW(nullptr), nullptr);
  timeline = std::make_unique<TimelineView>(handle());
  status = CreateWindowExW(0, STATUSCLASSNAMEW, L"", WS_CHILD | WS_VISIBLE | SBARS_SIZEGRIP, 0, 0, 0, 0, handle(),
                           nullptr, GetModuleHandleW(nullptr), nullptr);
  SendMessageW(status, WM_SETFONT, reinterpret_cast<WPARAM>(guiFont()), FALSE);
  DragAcceptFiles(handle(), TRUE);
  close();
  SetWindowPos(handle(), nullptr, 0, 0, lineHeight() * 48, lineHeight() * 40, SWP_NOMOVE | SWP_NOZORDER);
}

LRESULT Viewer::handleMessage(UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_SIZE:
      layOut();
      return 0;
    case WM_GETMINMAXINFO:
      reinterpret_cast<MINMAXINFO*>(lParam)->ptMinTrackSize = {lineHeight() * 20, lineHeight() * 18};
      return 0;
    case WM_INITMENUPOPUP:
      enableCommands(reinterpret_cast<HMENU>(wParam));
      return 0;
    case WM_COMMAND:
      if (!isBusy()) {
        handleCommand(LOWORD(wParam));
      }
      return 0;
    case WM_DROPFILES:
      openDropped(reinterpret_cast<HDROP>(wParam));
      return 0;
    case WM_HSCROLL:
      if (media != nullptr && LOWORD(wParam) != TB_ENDTRACK) {
        drag(static_cast<long>(SendMessageW(slider, TBM_GETPOS, 0, 0)), LOWORD(wParam) != TB_THUMBTRACK);
      }
      return 0;
    case WM_MOUSEWHEEL:
      handleMessage(WM_COMMAND, static_cast<SHORT>(HIWORD(wParam)) < 0 ? ID_NEXT : ID_PREVIOUS, 0);
      return 0;
    case timelineMessage:
      drag(static_cast<long>(lParam), wParam == 0);
      return 0;
    case mediaGrownMessage:
      InvalidateRect(timeline->handle(), nullptr, FALSE);
      showStatus();
      return 0;
    case WM_CLOSE:
      closeWanted = isBusy();
      if (!closeWanted) {
        DestroyWindow(handle());
      }
      return 0;
    case WM_DESTROY:
      close();
      PostQuitMessage(0);
      return 0;
    default:
      return defaultAnswer(message, wParam, lParam);
  }
}

void Viewer::handleCommand(int command) {
  switch (command) {
    case ID_OPEN:
      return chooseFile();
    case ID_EXIT:
      SendMessageW(handle(), WM_CLOSE, 0, 0);
      return;
    case ID_AUTOMATIC:
      return changeBackend(Backend::automatic);
    case ID_VIDEO_FOR_WINDOWS:
      return changeBackend(Backend::videoForWindows);
    case ID_DIRECT_SHOW:
      return changeBackend(Backend::directShow);
    default:
      break;
  }
  if (media == nullptr) {
    return;  // The other commands are about the open file.
  }
  const long step = media->hasVideo() ? 1 : stepWithoutVideo;
  switch (command) {
    case ID_SAVE_FRAME:
      return saveFrame();
    case ID_COPY_FRAME:
      return copyFrame();
    case ID_NEXT:
      return show(wanted + step);
    case ID_PREVIOUS:
      return show(wanted - step);
    case ID_FORWARD:
      return show(wanted + media->placesPerSecond());
    case ID_BACK:
      return show(wanted - media->placesPerSecond());
    case ID_FIRST:
      return show(0);
    case ID_LAST:
      return show(media->length() - 1);
    case ID_NEXT_KEY:
      return goToKeyFrame(true);
    case ID_PREVIOUS_KEY:
      return goToKeyFrame(false);
    case ID_GOTO:
      return goTo();
    case ID_TUNE:
      return tune();
    default:
      return;
  }
}

void Viewer::enableCommands(HMENU menu) const {
  const auto enable = [&](int first, int last, bool enabled) {
    for (int command = first; command <= last; ++command) {
      EnableMenuItem(menu, command, enabled ? MF_ENABLED : MF_GRAYED);
    }
  };
  const bool hasVideo = media != nullptr && media->hasVideo();
  enable(ID_SAVE_FRAME, ID_SAVE_FRAME, frameView->hasPicture());
  enable(ID_COPY_FRAME, ID_COPY_FRAME, frameView->hasPicture());
  enable(ID_NEXT, ID_LAST, media != nullptr);
  enable(ID_NEXT_KEY, ID_PREVIOUS_KEY, hasVideo);
  enable(ID_GOTO, ID_GOTO, media != nullptr);
  enable(ID_TUNE, ID_TUNE, hasVideo);
  CheckMenuRadioItem(menu, ID_AUTOMATIC, ID_DIRECT_SHOW, ID_AUTOMATIC + static_cast<UINT>(backend), MF_BYCOMMAND);
}

void Viewer::layOut() {
  if (status == nullptr) {
    return;  // The window is being made.
  }
  SendMessageW(status, WM_SIZE, 0, 0);
  RECT bar;
  RECT room;
  GetWindowRect(status, &bar);
  GetClientRect(handle(), &room);
  room.bottom -= sizeOf(bar).cy;
  const int gap = lineHeight() / 2;
  const int sliderHeight = lineHeight() * 2;
  const int timelineHeight = std::min<int>(TimelineView::preferredHeight(), room.bottom / 4);
  const int timelineTop = room.bottom - gap - timelineHeight;
  const int sliderTop = timelineTop - sliderHeight;
  SetWindowPos(frameView->handle(), nullptr, 0, 0, room.right, sliderTop - gap / 2, SWP_NOZORDER);
  SetWindowPos(slider, nullptr, 0, sliderTop, room.right, sliderHeight, SWP_NOZORDER);
  SetWindowPos(timeline->handle(), nullptr, 0, timelineTop, room.right, timelineHeight, SWP_NOZORDER);
  alignTimeline();
}

/// Lets the places of the timeline lie under where the slider's thumb has its middle.
void Viewer::alignTimeline() {
  RECT channel = {};
  RECT thumb = {};
  RECT room;
  SendMessageW(slider, TBM_GETCHANNELRECT, 0, reinterpret_cast<LPARAM>(&channel));
  SendMessageW(slider, TBM_GETTHUMBRECT, 0, reinterpret_cast<LPARAM>(&thumb));
  GetClientRect(slider, &room);
  const int halfThumb = sizeOf(thumb).cx / 2;
  timeline->setMargins(channel.left + halfThumb, room.right - channel.right + halfThumb);
}

void Viewer::chooseFile() {
  const Busy busy(*this);
  if (const auto chosen = chooseMediaFile(handle())) {
    open(*chosen, 0);
  }
}

void Viewer::openDropped(HDROP drop) {
  std::wstring name(DragQueryFileW(drop, 0, nullptr, 0) + 1, L'\0');
  name.resize(DragQueryFileW(drop, 0, name.data(), static_cast<UINT>(name.size())));
  DragFinish(drop);
  if (!isBusy()) {
    open(name, 0);
  }
}

void Viewer::changeBackend(Backend newBackend) {
  const Backend previous = std::exchange(backend, newBackend);
  if (media == nullptr) {
    return;
  }
  try {
    open(path, wanted);
  } catch (...) {
    backend = previous;
    throw;
  }
}

void Viewer::open(const std::filesystem::path& newPath, long place) {
  {
    const Busy busy(*this);
    auto opened = std::make_unique<Media>(newPath, backend, handle());
    close();
    media = std::move(opened);
  }
  path = newPath;
  note = media->hasVideo() ? media->remark() : "";
  SetWindowTextW(handle(), (path.filename().native() + L" - " + programName).c_str());
  // The end of the range is the end of the last frame, as it is in the timeline.
  SendMessageW(slider, TBM_SETRANGEMAX, FALSE, media->length());
  EnableWindow(slider, TRUE);
  timeline->setMedia(media.get());
  sizeStatusParts();
  if (!media->hasVideo()) {
    frameView->showText(media->remark());
  }
  show(place);
}

void Viewer::close() {
  timeline->setMedia(nullptr);
  media.reset();
  wanted = 0;
  shown = -1;
  note.clear();
  frameView->showText(emptyText);
  SetWindowTextW(handle(), programName);
  SendMessageW(slider, TBM_SETPOS, TRUE, 0);
  EnableWindow(slider, FALSE);
  showStatus();
}

void Viewer::saveFrame() {
  if (!frameView->hasPicture()) {
    return;
  }
  const Busy busy(*this);
  if (const auto file = chooseImageFile(handle(), path.stem().native() + L"-" + std::to_wstring(shown))) {
    client::writeImage(*file, frameView->format(), frameView->picture().data());
    note = "Saved as " + client::displayName(file->filename());
    showStatus();
  }
}

void Viewer::copyFrame() {
  const auto& picture = frameView->picture();
  if (picture.empty() || !OpenClipboard(handle())) {
    return;
  }
  EmptyClipboard();
  const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, sizeof(BITMAPINFOHEADER) + picture.size());
  if (auto* const bytes = static_cast<unsigned char*>(GlobalLock(block))) {
    std::memcpy(bytes, &frameView->format(), sizeof(BITMAPINFOHEADER));
    std::memcpy(bytes + sizeof(BITMAPINFOHEADER), picture.data(), picture.size());
    GlobalUnlock(block);
    SetClipboardData(CF_DIB, block);  // Owns the block from here on.
  }
  CloseClipboard();
}

void Viewer::goTo() {
  std::optional<Destination> destination;
  {
    const Busy busy(*this);
    destination = askDestination(handle());
  }
  if (destination) {
    const double value = std::min(destination->value, destination->isTime ? media->duration() : media->length());
    show(destination->isTime ? media->placeAt(value) : static_cast<long>(value));
  }
}

void Viewer::tune() {
  const Busy busy(*this);
  note = media->tune();
  showStatus();
}

void Viewer::goToKeyFrame(bool forward) {
  const long found = media->keyFrames().with([&](const KeyFrames& keyFrames) {
    const auto& numbers = keyFrames.numbers;
    const auto next = forward ? std::ranges::upper_bound(numbers, wanted) : std::ranges::lower_bound(numbers, wanted);
    if (forward) {
      return next == numbers.end() ? -1 : *next;
    }
    return next == numbers.begin() ? -1 : *std::prev(next);
  });
  if (found < 0) {
    MessageBeep(MB_OK);
    return;
  }
  show(found);
}

/// Goes to a place and fetches its frame. When the library's dialog runs already, the fetch that it is about goes on to the
/// newest place when it ends.
void Viewer::show(long place) {
  moveTo(place);
  if (isBusy()) {
    return;
  }
  while (media->hasVideo() && shown != wanted) {
    fetchFrame();
  }
  showStatus();
}

/// Follows the mouse. A frame that is fetched behind the dialog has to wait for the drag's end.
void Viewer::drag(long place, bool ends) {
  if (ends || !media->usesDialog()) {
    show(place);
  } else {
    moveTo(place);
  }
}

void Viewer::moveTo(long place) {
  wanted = std::clamp(place, 0L, media->length() - 1);
  SendMessageW(slider, TBM_SETPOS, TRUE, wanted);
  timeline->setPlace(wanted);
  showStatus();
}

void Viewer::fetchFrame() {
  const Busy busy(*this);
  shown = wanted;
  try {
    const Frame frame = media->fetch(shown);
    shownTime = frame.time;
    note = frame.warning;
    if (frame.number != shown && note.empty()) {
      note = "The stream repeats frame " + std::to_string(frame.number) + " here";
    }
    frameView->show(*frame.format, frame.bits);
  } catch (const client::Failure&) {
    if (!media->isUsable()) {
      close();
    }
    throw;
  }
}

void Viewer::showStatus() {
  if (media == nullptr) {
    for (int part = 0; part < partCount; ++part) {
      showStatusText(static_cast<StatusPart>(part), "");
    }
    return;
  }
  const double time = wanted == shown ? shownTime : media->timeAt(wanted);
  const std::string length = std::to_string(media->length());
  showStatusText(placePart, media->hasVideo() ? "Frame " + std::to_string(wanted) + " of " + length : "");
  showStatusText(timePart, client::timeText(time) + " / " + client::timeText(media->duration()));
  showStatusText(keyPart, media->hasVideo() ? keyText() : "");
  showStatusText(notePart, note.empty() ? media->description() : note);
}

void Viewer::showStatusText(StatusPart part, const std::string& text) {
  SendMessageW(status, SB_SETTEXTW, part, reinterpret_cast<LPARAM>(toWide(text).c_str()));
}

/// Gives each part of the status bar the room that its longest text needs, and the rest to the last.
void Viewer::sizeStatusParts() {
  const std::string length = std::to_string(media->length());
  const std::string duration = client::timeText(media->duration());
  const HDC dc = GetDC(status);
  const HGDIOBJ previous = SelectObject(dc, guiFont());
  const auto width = [&](const std::string& text) {
    SIZE size = {};
    const std::wstring wide = toWide(text);
    GetTextExtentPoint32W(dc, wide.c_str(), static_cast<int>(wide.size()), &size);
    return static_cast<int>(size.cx) + lineHeight();
  };
  int ends[partCount] = {};
  ends[placePart] = media->hasVideo() ? width("Frame " + length + " of " + length) : 0;
  ends[timePart] = ends[placePart] + width(duration + " / " + duration);
  ends[keyPart] = ends[timePart] + (media->hasVideo() ? width("Delta frame") : 0);
  ends[notePart] = -1;
  SelectObject(dc, previous);
  ReleaseDC(status, dc);
  SendMessageW(status, SB_SETPARTS, partCount, reinterpret_cast<LPARAM>(ends));
}

std::string Viewer::keyText() {
  return media->keyFrames().with([&](const KeyFrames& keyFrames) {
    if (wanted >= keyFrames.known) {
      return "Key?";
    }
    return std::ranges::binary_search(keyFrames.numbers, wanted) ? "Key frame" : "Delta frame";
  });
}

/// @param file the file to open, or null.
int run(int showCommand, const wchar_t* file) {
  QuilletThread();
  const INITCOMMONCONTROLSEX controls = {sizeof controls, ICC_BAR_CLASSES};
  InitCommonControlsEx(&controls);
  Viewer viewer;
  ShowWindow(viewer.handle(), showCommand);
  UpdateWindow(viewer.handle());
  if (file != nullptr) {
    try {
      viewer.open(file, 0);
    } catch (const client::Failure& failure) {
      showFailure(viewer.handle(), failure.what());
    }
  }
  const HACCEL keys = LoadAcceleratorsW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDR_KEYS));
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    if (!TranslateAcceleratorW(viewer.handle(), keys, &message)) {
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
  }
  return 0;
}

}  // namespace
}  // namespace quillet::viewer

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int showCommand) {
  try {
    return quillet::viewer::run(showCommand, __argc > 1 ? __wargv[1] : nullptr);
  } catch (const std::exception& exception) {
    quillet::viewer::showFailure(nullptr, exception.what());
    return 1;
  }
}
