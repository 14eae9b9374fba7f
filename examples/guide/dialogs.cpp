// dialogs FILE: opens a video behind the progress dialog, lets the user tune it, and shows it how it reads on.

#include <quillet/quillet.h>

#include <cstdio>
#include <memory>

int wmain(int argc, wchar_t* argv[]) {
  if (argc != 2) {
    std::puts("usage: dialogs FILE");
    return 2;
  }
  QuilletThread();
  void* const parent = GetConsoleWindow();  // In a program with windows: the one that the dialogs belong to.
  namespace option = quillet::dialog_option;
  const std::unique_ptr<SourceStream> stream(
      SourceStream::open(option::useDirectShow | option::captioned, parent, argv[1], 0, "Opening"));
  auto* const video = dynamic_cast<VideoSourceStream*>(stream.get());
  if (video == nullptr || video->lastErrorIsFatal()) {
    std::puts(video != nullptr ? video->ErrorMessage(video->lastError) : "no dialog, or not enough memory");
    return 1;
  }

  // The code counts as fatal, but the stream is as usable as before.
  video->configure(parent);
  if (video->lastError == quillet::ds_error::cannotDisplayDialog) {
    std::puts(video->ErrorMessage(video->lastError));
  }

  // The dialog shows up only when the search takes steps of which it can tell.
  long frame = video->duration() / 2;
  if (video->getFrameBits(option::startHidden | option::captioned, parent, frame, "Searching") == nullptr) {
    std::puts(video->ErrorMessage(video->lastError));
    return 1;
  }
  std::printf("frame %ld\n", frame);
  return 0;
}
