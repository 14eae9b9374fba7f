// Files and numbers that lead nowhere: each must give its code and its message, and neither crash, hang nor leak.

#include <climits>

#include "support/avi_builder.h"
#include "support/leak_check.h"
#include "support/reading.h"

using namespace quillet::test;
namespace vfw_error = quillet::vfw_error;

namespace {

using SourcePointer = std::unique_ptr<SourceStream>;

SourcePointer openStream(const char* name, bool video, int index = 0) {
  return SourcePointer(SourceStream::open(name, video, false, index, nullptr));
}

/// Opens what cannot be opened, as video and as audio, and expects the object to say so.
void expectRefused(const char* name, int index = 0) {
  for (const bool video : {true, false}) {
    const SourcePointer stream = openStream(name, video, index);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(stream->lastError, vfw_error::cannotOpenSourceFile);
    EXPECT_STREQ(stream->ErrorMessage(stream->lastError), "Could not open the source file");
    EXPECT_EQ(stream->duration(), -1);
    EXPECT_EQ(stream->lastError, vfw_error::notOpened);
  }
}

/// A file of one video and one audio stream.
Bytes soundFile() {
  const BITMAPINFOHEADER video = rgb24Format(4, 4);
  const WAVEFORMATEX audio = pcmFormat(8000, 1, 16);
  return aviFile({videoStream(video, 25, 1, {{Bytes(48, 1)}, {Bytes(48, 2)}}),
                  audioStream(bytesOf(audio), {{Bytes(64, 3)}, {Bytes(64, 4)}})})
      .build();
}

TEST(BadInput, IsRefused) {
  const TempFolder folder;
  const Bytes text = {'n', 'o', ' ', 'm', 'e', 'd', 'i', 'a', '\n'};
  for (const char* const extension : {".avi", ".wav", ".txt", ""}) {
    SCOPED_TRACE(extension);
    const TempFile empty(extension);
    const TempFile note(extension, text);
    expectRefused((empty.name() + std::string("-missing") + extension).c_str());
    expectRefused(empty.name());
    expectRefused(note.name());
  }
  expectRefused(folder.name());
  expectRefused("");
  expectRefused(nullptr);
  expectRefused(std::string(5000, 'x').c_str());
}

TEST(BadInput, StreamsThatTheFileDoesNotHaveAreRefused) {
  const TempFile file(".avi", soundFile());
  EXPECT_EQ(openStream(file.name(), true)->lastError, 0);
  EXPECT_EQ(openStream(file.name(), false)->lastError, 0);
  for (const int index : {1, -1, INT_MAX, INT_MIN}) {
    SCOPED_TRACE(index);
    expectRefused(file.name(), index);
  }
  const TempFile wave(".wav", wavFile(bytesOf(pcmFormat(8000, 1, 16)), Bytes(100)));
  EXPECT_EQ(openStream(wave.name(), true)->lastError, vfw_error::cannotOpenSourceFile);
}

/// Opens a file that is cut short and, where that succeeds, reads its first sample.
void expectCodeAndMessage(const char* name, bool video) {
  const SourcePointer stream = openStream(name, video);
  ASSERT_NE(stream, nullptr);
  EXPECT_NE(stream->ErrorMessage(stream->lastError), nullptr);
  EXPECT_EQ(stream->lastErrorIsFatal(), stream->duration() == -1);
  const unsigned char* data = nullptr;
  if (auto* const pictures = dynamic_cast<VideoSourceStream*>(stream.get())) {
    long frame = 0;
    data = pictures->getFrameBits(frame);
  } else {
    data = dynamic_cast<AudioSourceStream&>(*stream).getSamples(0, 0);
  }
  EXPECT_EQ(data != nullptr, stream->lastError == 0 || stream->lastError == vfw_error::nextFrameReturned)
      << stream->lastError;
  EXPECT_NE(stream->ErrorMessage(stream->lastError), nullptr);
}

TEST(BadInput, CutFilesFailWithACode) {
  const std::pair<const char*, Bytes> files[] = {{".avi", soundFile()},
                                                 {".wav", wavFile(bytesOf(pcmFormat(8000, 1, 16)), Bytes(100))}};
  for (const auto& [extension, whole] : files) {
    const TempFile file(extension);
    for (std::size_t size = 0; size < whole.size(); ++size) {
      SCOPED_TRACE(size);
      file.write(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
      expectCodeAndMessage(file.name(), true);
      expectCodeAndMessage(file.name(), false);
    }
  }
}

TEST(BadInput, LeavesNothingBehind) {
  const Bytes whole = soundFile();
  const TempFile good(".avi", whole);
  const TempFile cutInHeaders(".avi", Bytes(whole.begin(), whole.begin() + 150));
  const TempFile cutInData(".avi", Bytes(whole.begin(), whole.end() - 100));
  for (const bool video : {true, false}) {
    EXPECT_TRUE(leavesNothingBehind([=] { openStream("no such file.avi", video); }));
    EXPECT_TRUE(leavesNothingBehind([&] { openStream(good.name(), video, 7); }));
    EXPECT_TRUE(leavesNothingBehind([&] { openStream(cutInHeaders.name(), video); }));
    EXPECT_TRUE(leavesNothingBehind([&] { expectCodeAndMessage(cutInData.name(), video); }));
  }
}

}  // namespace
