// A client of quillet.hpp: does what classes.cpp does, and looks at what the header adds to the C interface.

#include <cstdio>
#include <numeric>

#include <quillet/quillet.h>  // Both can be in one file.
#include <quillet/quillet.hpp>

namespace {

void expect(bool isAsExpected, const char* what) {
  if (!isAsExpected) {
    throw std::logic_error(what);
  }
}

/// @return the code with which something fails, 0 when it does not.
template <class Operation>
int errorOf(Operation operation) try {
  operation();
  return 0;
} catch (const quillet::Error& error) {
  expect(*error.what() != 0, "the error is not told");
  return error.code();
}

/// Goes back in a stream again and again, with another function for the progress each time.
/// @param name name of a file of which DirectShow tells then.
void testProgress(const char* name) {
  quillet::VideoSource video(name, {QUILLET_DIRECTSHOW});
  video.setFrameBudget(0);  // Otherwise it learns how to come there without going back.
  const auto goBack = [&](quillet::Progress progress) {
    video.setProgress(nullptr);
    video.frame(42);
    video.setProgress(std::move(progress));
    return errorOf([&] { expect(video.frame(3).number == 3, "another frame is found"); });
  };
  int told = 0;
  expect(goBack([&](int) { return ++told > 0; }) == 0 && told > 0, "it is not told");
  expect(goBack([](int) { return false; }) == quillet::ds_error::stoppedByNotification, "it does not stop");
  try {
    goBack([](int) -> bool { throw 'x'; });
    expect(false, "an exception is lost");
  } catch (char thrown) {
    expect(thrown == 'x', "an exception is another one");
  }
  expect(goBack(nullptr) == 0, "it cannot be used again");
}

/// Writes a picture, and reads it back.
void testWriter(quillet::VideoSource& video) {
  const quillet::Picture picture = video.picture(0);
  quillet::WriterOptions options;
  options.video = quillet::VideoFormat{};
  options.video->width = picture.width;
  options.video->height = picture.height;
  options.video->bits = 32;
  options.video->frame_duration = 400'000;
  options.backend = QUILLET_VIDEO_FOR_WINDOWS;
  quillet::Writer file(L"vfw-header.avi", options);
  file.start();
  file.write(picture);
  file.finish();
  expect(quillet::VideoSource(std::filesystem::path("vfw-header.avi")).picture(0).content == picture.content,
         "the picture is another one");
  expect(errorOf([&] { file.write(picture); }) == quillet::common_error::notOpened, "a finished file is written");
}

}  // namespace

int main(int, char** arguments) try {
  const char* const name = arguments[1];
  quillet::VideoSource other(name);
  quillet::VideoSource video = std::move(other);
  const quillet::Frame frame = video.frame(42);
  const auto add = [](unsigned sum, unsigned byte) { return sum * 31 + byte; };
  std::printf("frame %d: %08x\n", static_cast<int>(frame.number),
              std::accumulate(frame.pixels.begin(), frame.pixels.end(), 0U, add));
  expect(errorOf([] { quillet::AudioSource("missing.wav"); }) > 0, "a missing file is open");
  expect(quillet::countStreams(name).video == 1, "the streams are not counted");
  testProgress(arguments[2]);
  testWriter(video);
} catch (const std::exception& error) {
  std::puts(error.what());
  return 1;
}
