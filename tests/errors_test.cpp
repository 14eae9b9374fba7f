// The error model that all objects of the library share; and files and numbers that lead nowhere: each must give its code
// and its message, and neither crash, hang nor leak.

#include <climits>
#include <cstring>
#include <map>
#include <string>

#include "support/leak_check.h"
#include "support/reading.h"

using namespace quillet::test;
namespace ds_error = quillet::ds_error;
namespace output_error = quillet::output_error;
namespace vfw_error = quillet::vfw_error;

namespace {

using SourcePointer = std::unique_ptr<SourceStream>;

/// A stream that is not open, of a backend of the test's choice.
SourcePointer unopened(bool directShow) {
  return SourcePointer(SourceStream::open(static_cast<const wchar_t*>(nullptr), true, directShow, 0, nullptr));
}

/// What the manual says of a code.
struct ManualRow {
  int code, value;
  std::string name, text, kind;
};
const ManualRow manualRows[] = {
#include "manual_errors.inc"
};

TEST(Codes, AreAsTheManualSays) {
  for (const bool directShow : {false, true}) {
    SCOPED_TRACE(directShow);
    std::map<int, ManualRow> known;
    for (const ManualRow& row : manualRows) {
      EXPECT_EQ(row.code, row.value) << row.name;
      if (row.name.starts_with(directShow ? "ds_" : "vfw_") || row.name.starts_with("output_")) {
        known[row.code] = row;
      }
    }
    const auto stream = unopened(directShow);
    for (int code = -2; code <= 211; ++code) {
      const auto row = known.find(code);
      stream->lastError = code;
      const char* const text = stream->ErrorMessage(code % 2 == 0 ? 0 : 208);  // The argument only gates the call.
      EXPECT_EQ(text != nullptr ? text : "", row != known.end() ? row->second.text : "") << code;
      EXPECT_TRUE(stream->ErrorMessage(-1) == nullptr && stream->ErrorMessage(209) == nullptr);
      const bool isFatal = row == known.end() || row->second.kind == "fatal";
      EXPECT_EQ(stream->Error_isFatal(code), isFatal) << code;
      EXPECT_EQ(stream->lastErrorIsFatal(), isFatal) << code;
      EXPECT_EQ(stream->resetLastError(), !isFatal) << code;
      EXPECT_EQ(stream->lastError, 0);
    }
    EXPECT_TRUE(stream->Error_isFatal(INT_MIN) && stream->Error_isFatal(INT_MAX));
  }
  int count = 0;
  for (const ManualRow& row : manualRows) {
    if (row.name.starts_with("MediaContainer")) {
      EXPECT_EQ(MediaContainer::Message(static_cast<MediaContainer::Error>(count)), row.text) << count;
      ++count;
    }
  }
  for (const int other : {-1, count}) {
    EXPECT_EQ(MediaContainer::Message(static_cast<MediaContainer::Error>(other)), nullptr);
  }
}

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
                  audioStream(bytesOf(audio), {{Bytes(64, 3)}, {Bytes(64, 4)}})});
}

TEST(BadInput, IsRefused) {
  const TempFolder folder;
  const Bytes text = {'n', 'o', ' ', 'm', 'e', 'd', 'i', 'a', '\n'};
  for (const char* const extension : {".avi", ".wav", ".txt", ""}) {
    SCOPED_TRACE(extension);
    expectRefused((folder.name() + std::string("\\missing") + extension).c_str());
    expectRefused(TempFile(extension).name());
    expectRefused(TempFile(extension, text).name());
  }
  expectRefused(folder.name());
  expectRefused("");
  expectRefused(nullptr);
  expectRefused(std::string(5000, 'x').c_str());

  // Streams that the file does not have.
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

TEST(BadInput, FormatsThatCannotBeTrueAreRefused) {
  const Bytes picture = bytesOf(rgb24Format(16, 8));
  const Bytes pcm = bytesOf(pcmFormat(8000, 2, 16));
  const Bytes muLaw = bytesOf(WAVEFORMATEX{WAVE_FORMAT_MULAW, 2, 8000, 16000, 2, 8, 0});
  const Bytes ima = bytesOf(IMAADPCMWAVEFORMAT{{WAVE_FORMAT_IMA_ADPCM, 1, 8000, 4055, 256, 4, 2}, 505});
  constexpr std::size_t blockAlign = offsetof(WAVEFORMATEX, nBlockAlign);
  const struct {
    const Bytes& format;
    std::size_t offset, size;
    std::vector<DWORD> values;
  } lies[] = {{picture, offsetof(BITMAPINFOHEADER, biSize), 4, {39, 0x40000000}},
              {picture, offsetof(BITMAPINFOHEADER, biWidth), 4, {0, 0xFFFFFFF7, 0x7FFFFFFF}},
              {picture, offsetof(BITMAPINFOHEADER, biHeight), 4, {0, 0x80000000}},
              {picture, offsetof(BITMAPINFOHEADER, biSizeImage), 4, {0x80000000}},
              {picture, offsetof(BITMAPINFOHEADER, biClrUsed), 4, {0x3FFFFFFF}},
              {pcm, offsetof(WAVEFORMATEX, nChannels), 2, {0}},
              {pcm, offsetof(WAVEFORMATEX, nSamplesPerSec), 4, {0}},
              {pcm, blockAlign, 2, {0, 0xFFFE}},
              {pcm, offsetof(WAVEFORMATEX, wBitsPerSample), 2, {0xFFFF}},
              {muLaw, blockAlign, 2, {3}},
              {ima, offsetof(WAVEFORMATEX, nSamplesPerSec), 4, {0xFFFFFFF7}},
              {ima, blockAlign, 2, {0}},
              {ima, sizeof(WAVEFORMATEX), 2, {0, 506}}};
  AviStream stream = videoStream(rgb24Format(16, 8), 25, 1, {{Bytes(384)}});
  for (const auto& [format, offset, size, values] : lies) {
    for (const DWORD value : values) {
      SCOPED_TRACE(testing::Message() << format.size() << " bytes, at " << offset << ": " << value);
      const bool video = &format == &picture;
      stream.format = format;
      std::memcpy(&stream.format[offset], &value, size);
      const TempFile file(video ? ".avi" : ".wav", video ? aviFile({stream}) : wavFile(stream.format, Bytes(2560)));
      EXPECT_EQ(openStream(file.name(), video)->lastError, vfw_error::cannotRetrieveFormat);
      const bool isSeenFirst = !video && offset == blockAlign && value == 0;  // AVIFile must not see it.
      const SourcePointer raw(RawDataSourceStream::open(file.name(), video, false, 0, nullptr));
      EXPECT_EQ(raw->lastError, isSeenFirst ? vfw_error::cannotRetrieveFormat : vfw_error::unusableRawFormat);
    }
  }
}

TEST(BadInput, LengthsThatCannotBeTrueAreRefused) {
  for (const std::size_t size : {0U, 3U}) {
    const TempFile file(".wav", wavFile(bytesOf(pcmFormat(8000, 2, 16)), Bytes(size)));
    const SourcePointer raw(RawDataSourceStream::open(file.name(), false, false, 0, nullptr));
    EXPECT_EQ(raw->lastError, vfw_error::noNonEmptyKeySample);
  }
  AviStream early = videoStream(rgb24Format(4, 4), 25, 1, {{Bytes(48)}});
  early.header.start = 0x80000000;
  const TempFile earlyFile(".avi", aviFile({early}));
  EXPECT_EQ(openStream(earlyFile.name(), true)->lastError, vfw_error::undefinedStreamLength) << "before 0";
  const TempFile slowFile(".avi", aviFile({videoStream(rgb24Format(4, 4), 25, 0xFFFE0001, {{Bytes(48)}})}));
  const SourcePointer slow = openStream(slowFile.name(), true);
  EXPECT_TRUE(failed(slow->msDuration(), *slow, vfw_error::undefinedStreamLength));
}

TEST(BadInput, LeavesNothingBehind) {
  const Bytes whole = soundFile();
  const TempFile good(".avi", whole);
  const TempFile cutInHeaders(".avi", Bytes(whole.begin(), whole.begin() + 150));
  const TempFile cutInData(".avi", Bytes(whole.begin(), whole.end() - 100));
  for (const bool video : {true, false}) {
    EXPECT_TRUE(leavesNothingBehind([&] {
      SourcePointer(SourceStream::open("no such file.avi", video, 0, nullptr));
      openStream(good.name(), video, 7);
      openStream(cutInHeaders.name(), video);
      openStream(cutInData.name(), video);
    }));
  }
}

}  // namespace
