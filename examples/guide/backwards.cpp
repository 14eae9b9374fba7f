// backwards FILE: plays a video from its last frame to its first, as over DirectShow.

#include <quillet/quillet.h>

#include <cstdio>
#include <memory>

namespace {

// Counts the searches that go back in the file. It could stop them, too: stopRequested().
class Searches : public QuilletNotification {
 public:
  int progress(int phase) override {
    count += phase == 2 ? 1 : 0;
    return 0;
  }

  long count = 0;
};

}  // namespace

int wmain(int argc, wchar_t* argv[]) {
  if (argc != 2) {
    std::puts("usage: backwards FILE");
    return 2;
  }
  QuilletThread();
  Searches searches;  // Before the stream: it outlives it.
  const std::unique_ptr<VideoSourceStream> video(VideoSourceStream::open(argv[1], true, 0, &searches));
  if (video == nullptr || video->lastErrorIsFatal()) {
    std::puts(video != nullptr ? video->ErrorMessage(video->lastError) : "not enough memory");
    return 1;
  }

  // Room for two seconds of frames. They are kept from the second step back on.
  const auto framesKept = static_cast<long long>(2 * video->frameRate());
  video->setFrameBudget(framesKept * video->format()->biSizeImage);
  const long length = video->duration();
  for (long wanted = length - 1; wanted >= 0; --wanted) {
    long frame = wanted;
    if (video->getFrameBits(frame) == nullptr) {
      std::printf("frame %ld: %s\n", wanted, video->ErrorMessage(video->lastError));
      return 1;
    }
  }
  std::printf("%ld frames, %s\n", length, searches.count < length ? "less than a search each" : "a search each");
  return 0;
}
