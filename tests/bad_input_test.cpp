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

template <class Record, class Change>
Bytes changed(Record record, Change change) {
  change(record);
  return bytesOf(record);
}

/// Opens a stream whose format cannot be true, decoded and raw.
void expectRefusedFormat(const char* name, bool video, int rawCode) {
  EXPECT_EQ(openStream(name, video)->lastError, vfw_error::cannotRetrieveFormat);
  const SourcePointer raw(RawDataSourceStream::open(name, video, false, 0, nullptr));
  EXPECT_EQ(raw->lastError, rawCode);
}

TEST(BadInput, FormatsThatCannotBeTrueAreRefused) {
  const WAVEFORMATEX pcm = pcmFormat(8000, 2, 16);
  const IMAADPCMWAVEFORMAT ima = {{WAVE_FORMAT_IMA_ADPCM, 1, 8000, 4055, 256, 4, 2}, 505};
  const WAVEFORMATEX muLaw = {WAVE_FORMAT_MULAW, 2, 8000, 16000, 2, 8, 0};
  const Bytes sounds[] = {changed(pcm, [](auto& format) { format.nChannels = 0; }),
                          changed(pcm, [](auto& format) { format.nSamplesPerSec = 0; }),
                          changed(pcm, [](auto& format) { format.nBlockAlign = 0xFFFE; }),
                          changed(pcm, [](auto& format) { format.wBitsPerSample = 0xFFFF; }),
                          changed(muLaw, [](auto& format) { format.nBlockAlign = 3; }),
                          changed(ima, [](auto& format) { format.wfx.nSamplesPerSec = 0xFFFFFFF7; }),
                          changed(ima, [](auto& format) { format.wSamplesPerBlock = 0; }),
                          changed(ima, [](auto& format) { format.wSamplesPerBlock = 506; })};
  for (const Bytes& format : sounds) {
    SCOPED_TRACE(&format - sounds);
    expectRefusedFormat(TempFile(".wav", wavFile(format, Bytes(2560))).name(), false, vfw_error::unusableRawFormat);
  }
  for (const Bytes& format : {changed(pcm, [](auto& sound) { sound.nBlockAlign = 0; }),
                              changed(ima, [](auto& sound) { sound.wfx.nBlockAlign = 0; })}) {
    expectRefusedFormat(TempFile(".wav", wavFile(format, Bytes(99))).name(), false, vfw_error::cannotRetrieveFormat);
  }
  const auto expectNoPictures = [](auto BITMAPINFOHEADER::*field, long value) {
    BITMAPINFOHEADER format = rgb24Format(16, 8);
    format.*field = value;
    const TempFile file(".avi", aviFile({videoStream(format, 25, 1, {{Bytes(384)}})}).build());
    SCOPED_TRACE(value);
    expectRefusedFormat(file.name(), true, vfw_error::unusableRawFormat);
  };
  for (const long value : {0L, -9L, LONG_MAX}) {
    expectNoPictures(&BITMAPINFOHEADER::biWidth, value);
  }
  for (const long value : {0L, LONG_MIN, LONG_MAX}) {
    expectNoPictures(&BITMAPINFOHEADER::biHeight, value);
  }
  for (const long value : {39L, 41L, 0x40000000L}) {
    expectNoPictures(&BITMAPINFOHEADER::biSize, value);
  }
  expectNoPictures(&BITMAPINFOHEADER::biClrUsed, 0x3FFFFFFF);
  expectNoPictures(&BITMAPINFOHEADER::biSizeImage, LONG_MIN);
}

TEST(BadInput, LengthsThatCannotBeTrueAreRefused) {
  for (const std::size_t size : {0U, 3U}) {
    const TempFile file(".wav", wavFile(bytesOf(pcmFormat(8000, 2, 16)), Bytes(size)));
    const SourcePointer raw(RawDataSourceStream::open(file.name(), false, false, 0, nullptr));
    EXPECT_EQ(raw->lastError, vfw_error::noNonEmptyKeySample);
  }
  AviStream late = videoStream(rgb24Format(4, 4), 25, 1, {{Bytes(48)}});
  late.header.start = 0xFFFF0000;
  const SourcePointer stream = openStream(TempFile(".avi", aviFile({late}).build()).name(), true);
  EXPECT_TRUE(failed(stream->msDuration(), *stream, vfw_error::undefinedStreamLength));
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
