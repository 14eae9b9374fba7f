// A viewer of media files: shows any frame by its number, the audio as a waveform, and where the key frames are.
//
// The window's thread has the video stream to itself. What can take long runs behind the library's progress dialogs (opening
// a file, fetching a frame with DirectShow) or on threads in the background with streams of their own (see media.h).

#include <algorithm>
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
#include <uxtheme.h>

#include <quillet/quillet.h>

#include "dialogs.h"
#include "frame_view.h"
#include "media.h"
#include "resource_ids.h"
#include "shared/failure.h"
#include "shared/image_file.h"
#include "shared/text.h"
#include "timeline_view.h"
#include "window.h"

namespace quillet::viewer {
namespace {

constexpr wchar_t programName[] = L"Quillet Viewer";

/// Without frames the places are milliseconds, which are too small a step.
constexpr long stepWithoutVideo = 100;

class Viewer : public Window {
 public:
  Viewer();

  /// Opens a file behind the library's progress dialogs. When that fails, what was open stays.
  void open(const std::filesystem::path& newPath, Backend newBackend, long place);

 private:
  class Busy;

  LRESULT handleMessage(UINT message, WPARAM wParam, LPARAM lParam) override;
  void handleCommand(int command);
  bool isEnabled(int command) const;
  void enableCommands(HMENU menu) const;
  void layOut();

  void chooseFile();
  void openDropped(HDROP drop);
  void changeBackend(Backend newBackend);
  void close();
  void saveFrame();
  void copyFrame();
  void tune();
  void goToChosen();
  void goToKeyFrame(bool forward);
  void goTo(long place);
  void drag(long place, bool ends);
  void moveTo(long place);
  void fetchFrame();
  void showStatus();
  const char* keyText();
  bool isBusy() const { return busyDepth > 0; }
  HWND makeControl(const wchar_t* className, DWORD style) const;

  FrameView frameView{handle()};
  TimelineView timeline{handle()};
  HWND slider = makeControl(TRACKBAR_CLASSW, TBS_NOTICKS);
  HWND status = makeControl(STATUSCLASSNAMEW, SBARS_SIZEGRIP);

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

Viewer::Viewer() : Window(L"QuilletViewer", WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, nullptr) {
  SetMenu(handle(), LoadMenuW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDR_MENU)));
  DragAcceptFiles(handle(), TRUE);
  SendMessageW(status, WM_SETFONT, reinterpret_cast<WPARAM>(guiFont()), FALSE);
  const int line = lineHeight();
  const int partEnds[] = {10 * line, 21 * line, 27 * line, -1};  // As showStatus() fills them.
  SendMessageW(status, SB_SETPARTS, std::size(partEnds), reinterpret_cast<LPARAM>(partEnds));
  SetWindowPos(handle(), nullptr, 0, 0, 50 * line, 42 * line, SWP_NOMOVE | SWP_NOZORDER);
  close();
}

HWND Viewer::makeControl(const wchar_t* className, DWORD style) const {
  return CreateWindowExW(0, className, L"", style | WS_CHILD | WS_VISIBLE, 0, 0, 0, 0, handle(), nullptr,
                         GetModuleHandleW(nullptr), nullptr);
}

LRESULT Viewer::handleMessage(UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_SIZE:
      if (wParam != SIZE_MINIMIZED) {
        layOut();
      }
      return 0;
    case WM_GETMINMAXINFO:
      reinterpret_cast<MINMAXINFO*>(lParam)->ptMinTrackSize = {30 * lineHeight(), 24 * lineHeight()};
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
      drag(static_cast<long>(SendMessageW(slider, TBM_GETPOS, 0, 0)), LOWORD(wParam) != TB_THUMBTRACK);
      return 0;
    case timelineMessage:
      drag(static_cast<long>(lParam), wParam == FALSE);
      return 0;
    case mediaGrownMessage:
      timeline.update();
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
      return Window::handleMessage(message, wParam, lParam);
  }
}

void Viewer::handleCommand(int command) {
  if (!isEnabled(command)) {
    return;
  }
  switch (command) {
    case ID_OPEN:
      return chooseFile();
    case ID_EXIT:
      DestroyWindow(handle());
      return;
    case ID_AUTOMATIC:
    case ID_VIDEO_FOR_WINDOWS:
    case ID_DIRECT_SHOW:
      return changeBackend(static_cast<Backend>(command - ID_AUTOMATIC));
    case ID_SAVE_FRAME:
      return saveFrame();
    case ID_COPY_FRAME:
      return copyFrame();
    case ID_TUNE:
      return tune();
    case ID_NEXT:
      return goTo(wanted + (media->hasVideo() ? 1 : stepWithoutVideo));
    case ID_PREVIOUS:
      return goTo(wanted - (media->hasVideo() ? 1 : stepWithoutVideo));
    case ID_FORWARD:
      return goTo(wanted + media->placesPerSecond());
    case ID_BACK:
      return goTo(wanted - media->placesPerSecond());
    case ID_FIRST:
      return goTo(0);
    case ID_LAST:
      return goTo(media->length() - 1);
    case ID_NEXT_KEY:
      return goToKeyFrame(true);
    case ID_PREVIOUS_KEY:
      return goToKeyFrame(false);
    case ID_GOTO:
      return goToChosen();
    default:
      return;
  }
}

bool Viewer::isEnabled(int command) const {
  if (command < FIRST_ID_OF_OPEN_FILE) {
    return true;
  }
  return media != nullptr && (command < FIRST_ID_OF_VIDEO || media->hasVideo());
}

void Viewer::enableCommands(HMENU menu) const {
  for (int command = FIRST_ID_OF_OPEN_FILE; command <= LAST_ID_OF_VIDEO; ++command) {
    EnableMenuItem(menu, command, isEnabled(command) ? MF_ENABLED : MF_GRAYED);
  }
  CheckMenuRadioItem(menu, ID_AUTOMATIC, ID_DIRECT_SHOW, ID_AUTOMATIC + static_cast<UINT>(backend), MF_BYCOMMAND);
}

void Viewer::layOut() {
  SendMessageW(status, WM_SIZE, 0, 0);
  InvalidateRect(status, nullptr, TRUE);
  RECT bar;
  RECT room;
  GetWindowRect(status, &bar);
  GetClientRect(handle(), &room);
  const int gap = lineHeight() / 2;
  const int bottom = room.bottom - sizeOf(bar).cy - gap;
  const int timelineTop = bottom - std::min(6 * lineHeight(), bottom / 4);
  const int sliderTop = timelineTop - 2 * lineHeight();
  SetWindowPos(frameView.handle(), nullptr, 0, 0, room.right, sliderTop - gap, SWP_NOZORDER);
  SetWindowPos(slider, nullptr, 0, sliderTop, room.right, timelineTop - sliderTop, SWP_NOZORDER);
  SetWindowPos(timeline.handle(), nullptr, 0, timelineTop, room.right, bottom - timelineTop, SWP_NOZORDER);
  SendMessageW(slider, TBM_SETPOS, TRUE, wanted);  // The thumb moves with the slider.

  // The places of the timeline are to lie under where the slider's thumb has its middle.
  RECT channel = {};
  RECT thumb = {};
  SendMessageW(slider, TBM_GETCHANNELRECT, 0, reinterpret_cast<LPARAM>(&channel));
  SendMessageW(slider, TBM_GETTHUMBRECT, 0, reinterpret_cast<LPARAM>(&thumb));
  timeline.setMargins(channel.left + sizeOf(thumb).cx / 2);
}

void Viewer::chooseFile() {
  std::optional<std::filesystem::path> chosen;
  {
    const Busy busy(*this);
    chosen = chooseMediaFile(handle());
  }
  if (chosen) {
    open(*chosen, backend, 0);
  }
}

void Viewer::openDropped(HDROP drop) {
  std::wstring name(DragQueryFileW(drop, 0, nullptr, 0) + 1, L'\0');
  name.resize(DragQueryFileW(drop, 0, name.data(), static_cast<UINT>(name.size())));
  DragFinish(drop);
  if (!isBusy()) {
    open(name, backend, 0);
  }
}

void Viewer::changeBackend(Backend newBackend) {
  if (media != nullptr) {
    open(path, newBackend, wanted);
  }
  backend = newBackend;
}

void Viewer::open(const std::filesystem::path& newPath, Backend newBackend, long place) {
  {
    const Busy busy(*this);
    auto opened = std::make_unique<Media>(newPath, newBackend, handle());
    close();
    media = std::move(opened);
  }
  path = newPath;
  SetWindowTextW(handle(), (path.filename().native() + L" - " + programName).c_str());
  // The slider's range ends with the end of the last frame, as the timeline does.
  SendMessageW(slider, TBM_SETRANGEMAX, FALSE, media->length());
  SendMessageW(slider, TBM_SETPAGESIZE, 0, media->placesPerSecond());
  EnableWindow(slider, TRUE);
  timeline.setMedia(media.get());
  frameView.showText(media->videoProblem());
  goTo(place);
  if (note.empty()) {
    note = media->warning();
    showStatus();
  }
}

void Viewer::close() {
  timeline.setMedia(nullptr);
  media.reset();
  wanted = 0;
  shown = -1;
  note.clear();
  frameView.showText("Open a media file (Ctrl+O), or drop one here");
  SetWindowTextW(handle(), programName);
  SendMessageW(slider, TBM_SETPOS, TRUE, 0);
  EnableWindow(slider, FALSE);
  showStatus();
}

void Viewer::saveFrame() {
  const auto& picture = frameView.picture();
  const Busy busy(*this);
  if (picture.empty()) {
    return;
  }
  if (const auto file = chooseImageFile(handle(), path.stem().native() + L"-" + std::to_wstring(shown))) {
    client::writeImage(*file, frameView.format(), picture.data());
    note = "Saved as " + client::displayName(file->filename());
    showStatus();
  }
}

void Viewer::copyFrame() {
  const auto& picture = frameView.picture();
  if (picture.empty() || !OpenClipboard(handle())) {
    return;
  }
  EmptyClipboard();
  HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, sizeof(BITMAPINFOHEADER) + picture.size());
  if (auto* const bytes = static_cast<unsigned char*>(GlobalLock(block))) {
    std::memcpy(bytes, &frameView.format(), sizeof(BITMAPINFOHEADER));
    std::memcpy(bytes + sizeof(BITMAPINFOHEADER), picture.data(), picture.size());
    GlobalUnlock(block);
    SetClipboardData(CF_DIB, block);  // Owns the block from here on.
  }
  CloseClipboard();
}

void Viewer::tune() {
  const Busy busy(*this);
  note = media->tune();
  showStatus();
}

void Viewer::goToChosen() {
  std::optional<Destination> destination;
  {
    const Busy busy(*this);
    destination = askDestination(handle());
  }
  if (destination && destination->isTime) {
    goTo(media->placeAt(std::min(destination->value, media->duration())));
  } else if (destination) {
    goTo(static_cast<long>(std::min<double>(destination->value, media->length())));
  }
}

void Viewer::goToKeyFrame(bool forward) {
  const long found = media->keyFrames().with([&](const KeyFrames& keyFrames) {
    const auto& numbers = keyFrames.numbers;
    const auto after = forward ? std::ranges::upper_bound(numbers, wanted) : std::ranges::lower_bound(numbers, wanted);
    const auto none = forward ? numbers.end() : numbers.begin();
    return after == none ? wanted : *(forward ? after : std::prev(after));
  });
  goTo(found);
}

/// Goes to a place and fetches its frame. When a fetch is under way already, behind the library's dialog, the newest place is
/// fetched after it.
void Viewer::goTo(long place) {
  moveTo(place);
  while (!isBusy() && !closeWanted && media->hasVideo() && shown != wanted) {
    fetchFrame();
  }
}

/// Follows the mouse. A frame that is fetched behind the dialog has to wait for the drag's end.
void Viewer::drag(long place, bool ends) {
  if (media == nullptr) {
    return;
  }
  if (ends) {
    SetFocus(handle());  // The slider has no use for the keys.
  }
  if (ends || !media->usesDialog()) {
    goTo(place);
  } else {
    moveTo(place);
  }
}

void Viewer::moveTo(long place) {
  wanted = std::clamp(place, 0L, media->length() - 1);
  SendMessageW(slider, TBM_SETPOS, TRUE, wanted);
  timeline.setPlace(wanted);
  showStatus();
}

void Viewer::fetchFrame() {
  const Busy busy(*this);
  shown = wanted;
  try {
    Frame frame = media->fetch(shown);
    shownTime = frame.time;
    note = frame.note;
    frameView.show(frame.format, std::move(frame.bits));
    showStatus();
  } catch (const client::Failure& failure) {
    frameView.showText(failure.what());
    if (!media->isUsable()) {
      close();
    }
    throw;
  }
}

void Viewer::showStatus() {
  std::string texts[4];
  if (media != nullptr) {
    const double time = wanted == shown ? shownTime : media->timeAt(wanted);
    texts[1] = client::timeText(time) + " / " + client::timeText(media->duration());
    texts[3] = note.empty() ? media->description() : note;
    if (media->hasVideo()) {
      texts[0] = "Frame " + std::to_string(wanted) + " of " + std::to_string(media->length());
      texts[2] = keyText();
    }
  }
  for (std::size_t part = 0; part < std::size(texts); ++part) {
    SendMessageW(status, SB_SETTEXTW, part, reinterpret_cast<LPARAM>(client::toUtf16(texts[part]).c_str()));
  }
}

const char* Viewer::keyText() {
  return media->keyFrames().with([&](const KeyFrames& keyFrames) {
    if (wanted >= keyFrames.known) {
      return "Key unknown";
    }
    return std::ranges::binary_search(keyFrames.numbers, wanted) ? "Key frame" : "Delta frame";
  });
}

/// @param file the file to open, or null.
int run(int showCommand, const wchar_t* file) {
  QuilletThread();
  const INITCOMMONCONTROLSEX controls = {sizeof controls, ICC_BAR_CLASSES};
  InitCommonControlsEx(&controls);
  BufferedPaintInit();  // For the views. Undone with the process.
  Viewer viewer;
  ShowWindow(viewer.handle(), showCommand);
  UpdateWindow(viewer.handle());
  if (file != nullptr) {
    try {
      viewer.open(file, Backend::automatic, 0);
    } catch (const client::Failure& failure) {
      showFailure(viewer.handle(), failure.what());
    }
  }
  HACCEL keys = LoadAcceleratorsW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDR_KEYS));
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

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int nShowCmd) {
  try {
    return quillet::viewer::run(nShowCmd, __argc > 1 ? __wargv[1] : nullptr);
  } catch (const std::exception& exception) {
    quillet::viewer::showFailure(nullptr, exception.what());
    return 1;
  }
}
