// Video frames by number, through Video for Windows.

#include <memory>
#include <set>

#include <gtest/gtest.h>

#include <quillet/quillet.h>

#include "support/avi_builder.h"
#include "support/avifile_handler.h"
#include "support/leak_check.h"
#include "support/random.h"
#include "support/temp_file.h"
#include "support/test_codec.h"
#include "support/wine_gaps.h"

using namespace quillet::test;
namespace vfw_error = quillet::vfw_error;

namespace {

using VideoPointer = std::unique_ptr<VfWVideoSourceStream>;

VideoPointer openVideo(const char* name, int index = 0) {
  return VideoPointer(VfWVideoSourceStream::open(name, index, nullptr));
}

/// The pixels of a frame, which differ from those of any other frame. Odd widths have padded rows.
Bytes picture(const BITMAPINFOHEADER& format, unsigned frame) {
  std::mt19937 random(frame);
  Bytes pixels(format.biSizeImage);
  for (auto& byte : pixels) {
    byte = static_cast<std::uint8_t>(random());
  }
  return pixels;
}

std::vector<AviChunk> pictures(const BITMAPINFOHEADER& format, unsigned count) {
  std::vector<AviChunk> chunks;
  for (unsigned frame = 0; frame < count; ++frame) {
    chunks.push_back({picture(format, frame)});
  }
  return chunks;
}

/// Reads a frame that must be there under its own number.
Bytes readFrame(VideoSourceStream& stream, long frame) {
  long found = frame;
  const unsigned char* const bits = stream.getFrameBits(found);
  EXPECT_EQ(stream.lastError, 0);
  EXPECT_EQ(found, frame);
  if (bits == nullptr) {
    ADD_FAILURE() << "no frame " << frame;
    return {};
  }
  return Bytes(bits, bits + stream.format()->biSizeImage);
}

/// Reads frames in random order and expects them to be the ones given.
void expectInAnyOrder(VideoSourceStream& stream, const std::vector<Bytes>& frames, int reads) {
  std::mt19937 random = loggedRandom();
  for (int i = 0; i < reads; ++i) {
    const long frame = between(0, static_cast<long>(frames.size()) - 1, random);
    ASSERT_EQ(readFrame(stream, frame), frames[frame]) << "frame " << frame << " at read " << i;
  }
}

class RgbVideo : public testing::Test {
 protected:
  const BITMAPINFOHEADER format = rgb24Format(5, 3);
  const unsigned count = 40;
  const TempFile file{".avi", aviFile({videoStream(format, 30, 2, pictures(format, count))}).build()};
};

TEST_F(RgbVideo, IsDescribed) {
  const VideoPointer stream = openVideo(file.name());
  ASSERT_EQ(stream->lastError, 0);
  EXPECT_EQ(stream->duration(), 40);
  EXPECT_EQ(stream->frameRate(), 15.0);
  EXPECT_EQ(stream->format()->biSize, 40U);
  EXPECT_EQ(stream->format()->biWidth, 5);
  EXPECT_EQ(stream->format()->biHeight, 3);
  EXPECT_EQ(stream->format()->biBitCount, 24);
  EXPECT_EQ(stream->format()->biCompression, static_cast<DWORD>(BI_RGB));
  EXPECT_EQ(stream->format()->biSizeImage, 48U);
  EXPECT_EQ(stream->lastError, 0);
  stream->configure(nullptr);
  EXPECT_EQ(stream->lastError, vfw_error::noConfigurationDialog);
}

TEST_F(RgbVideo, GivesEveryFrameInAnyOrder) {
  const VideoPointer stream = openVideo(file.name());
  std::vector<Bytes> frames;
  for (unsigned frame = 0; frame < count; ++frame) {
    frames.push_back(picture(format, frame));
    ASSERT_EQ(readFrame(*stream, frame), frames.back()) << frame;
  }
  expectInAnyOrder(*stream, frames, 500);
}

TEST_F(RgbVideo, RefusesFramesOutsideTheStream) {
  const VideoPointer stream = openVideo(file.name());
  for (const long outside : {-1L, 40L, 41L, LONG_MIN, LONG_MAX}) {
    EXPECT_EQ(stream->findFrame(outside), -1);
    EXPECT_EQ(stream->lastError, vfw_error::parameterOutOfRange);
    long frame = outside;
    EXPECT_EQ(stream->getFrameBits(frame), nullptr);
    EXPECT_EQ(stream->lastError, vfw_error::parameterOutOfRange);
    EXPECT_EQ(frame, -1);
  }
  EXPECT_EQ(stream->findFrame(39), 39);
  EXPECT_EQ(stream->lastError, 0);
}

TEST_F(RgbVideo, LeavesNothingBehind) {
  EXPECT_TRUE(leavesNothingBehind([&] {
    const VideoPointer stream = openVideo(file.name());
    readFrame(*stream, 7);
    readFrame(*stream, 3);
  }));
}

TEST(DeltaVideo, CinepakIsTheSameInAnyOrder) {
  const std::string name = mediaFile("cinepak.avi");
  const VideoPointer linear = openVideo(name.c_str());
  ASSERT_EQ(linear->lastError, 0);
  ASSERT_EQ(linear->duration(), 50);
  std::vector<Bytes> frames;
  for (long frame = 0; frame < linear->duration(); ++frame) {
    frames.push_back(readFrame(*linear, frame));
  }
  EXPECT_EQ(std::set<Bytes>(frames.begin(), frames.end()).size(), frames.size()) << "the medium tells no frames apart";

  const VideoPointer seeking = openVideo(name.c_str());
  expectInAnyOrder(*seeking, frames, 300);
}

TEST(DeltaVideo, FramesAreThoseThatWereCompressed) {
  const TestCodec codec;
  BITMAPINFOHEADER format = rgb24Format(4, 4);
  std::vector<Bytes> frames;
  std::vector<AviChunk> chunks;
  for (unsigned frame = 0; frame < 30; ++frame) {
    const bool isKey = frame % 7 == 0;
    frames.push_back(picture(format, frame));
    Bytes change = frames.back();
    for (std::size_t i = 0; !isKey && i < change.size(); ++i) {
      change[i] = static_cast<std::uint8_t>(change[i] - frames[frame - 1][i]);
    }
    chunks.push_back({TestCodec::frame(isKey ? TestCodec::key : TestCodec::delta, change), isKey});
  }
  format.biCompression = TestCodec::fourcc;
  const TempFile file(".avi", aviFile({videoStream(format, 25, 1, chunks)}).build());
  const VideoPointer stream = openVideo(file.name());
  ASSERT_EQ(stream->lastError, 0);
  expectInAnyOrder(*stream, frames, 300);
}

TEST(EmptyFrames, GiveWayToTheirNeighbours) {
  const BITMAPINFOHEADER format = rgb24Format(4, 4);
  std::vector<AviChunk> chunks = pictures(format, 7);
  for (const int empty : {0, 1, 3, 4, 6}) {
    chunks[empty] = {{}, false};
  }
  const TempFile file(".avi", aviFile({videoStream(format, 25, 1, chunks)}).build());
  const VideoPointer stream = openVideo(file.name());
  ASSERT_EQ(stream->lastError, 0);

  const struct {
    long found;
    int code;
  } expected[] = {{2, 9}, {2, 9}, {2, 0}, {2, 0}, {2, 0}, {5, 0}, {5, 0}};
  for (long frame = 0; frame < 7; ++frame) {
    EXPECT_EQ(stream->findFrame(frame), expected[frame].found) << frame;
    EXPECT_EQ(stream->lastError, expected[frame].code) << frame;

    long moved = frame;
    const unsigned char* const bits = stream->getFrameBits(moved);
    EXPECT_EQ(stream->lastError, expected[frame].code) << frame;
    EXPECT_EQ(moved, expected[frame].found) << frame;
    ASSERT_NE(bits, nullptr) << frame;
    EXPECT_EQ(Bytes(bits, bits + format.biSizeImage), picture(format, moved)) << frame;
  }
}

/// Plays a script, whose one stream the test may change before it is opened.
class ScriptedVideo : public testing::Test {
 protected:
  const BITMAPINFOHEADER format = rgb24Format(4, 4);
  const std::shared_ptr<AviScript> script = std::make_shared<AviScript>(
      AviScript{{aviScriptVideo(format, 25, 1, {picture(format, 0), picture(format, 1), picture(format, 2)})}, {}});
  AviScriptStream& source = script->streams[0];
  const AviFileHandler handler{script};

  VideoPointer open() { return openVideo("scripted.avi"); }
  int openingError() { return open()->lastError; }
};

TEST_F(ScriptedVideo, OpensOrSaysWhyNot) {
  EXPECT_EQ(openingError(), 0);
  EXPECT_EQ(openVideo("scripted.avi", 1)->lastError, vfw_error::cannotOpenSourceFile);

  source.hasInfo = false;
  EXPECT_EQ(openingError(), vfw_error::cannotRetrieveStreamInfo);
  source.hasInfo = true;
  const DWORD scale = std::exchange(source.info.dwScale, 0);
  EXPECT_EQ(open()->lastError, vfw_error::cannotRetrieveStreamInfo);
  source.info.dwScale = scale;
  source.hasFormat = false;
  EXPECT_EQ(openingError(), vfw_error::cannotRetrieveFormat);
  source.hasFormat = true;
  source.format.resize(39);
  EXPECT_EQ(openingError(), vfw_error::cannotRetrieveFormat);
  source.format = bytesOf(format);
  source.info.dwLength = static_cast<DWORD>(-1);
  EXPECT_EQ(openingError(), vfw_error::undefinedStreamLength);
  source.info.dwLength = 3;
  EXPECT_EQ(openingError(), 0);

  // No such codec.
  BITMAPINFOHEADER unknown = format;
  unknown.biCompression = source.info.fccHandler = mmioFOURCC('Q', 'X', 'Y', 'Z');
  source.format = bytesOf(unknown);
  EXPECT_EQ(openingError(), vfw_error::noDecompressor);
}

TEST_F(ScriptedVideo, WithoutAnyFrameFindsNone) {
  source.samples.assign(3, Bytes());
  const VideoPointer stream = open();
  ASSERT_EQ(stream->lastError, 0);
  long frame = 1;
  EXPECT_EQ(stream->getFrameBits(frame), nullptr);
  EXPECT_EQ(frame, -1);
  EXPECT_EQ(stream->lastError, vfw_error::noFrameFound);
  EXPECT_TRUE(stream->lastErrorIsFatal());

  source.info.dwLength = 0;
  const VideoPointer empty = open();
  EXPECT_EQ(empty->findFrame(0), -1);
  EXPECT_EQ(empty->lastError, vfw_error::parameterOutOfRange);
}

TEST_F(ScriptedVideo, FailingDecompressionIsReported) {
  const TestCodec codec;
  BITMAPINFOHEADER compressed = format;
  compressed.biCompression = source.info.fccHandler = TestCodec::fourcc;
  source.format = bytesOf(compressed);
  source.info.dwSuggestedBufferSize = format.biSizeImage + 1;
  const Bytes last = picture(format, 2);
  source.samples = {TestCodec::frame(TestCodec::key, picture(format, 0)), TestCodec::frame(TestCodec::bad, last),
                    TestCodec::frame(TestCodec::key, last)};
  const VideoPointer stream = open();
  ASSERT_EQ(stream->lastError, 0);
  readFrame(*stream, 0);

  long frame = 1;
  const bool failed = stream->getFrameBits(frame) == nullptr;
  EXPECT_EQ(failed, !wine_gap::getFrameIgnoresCodecErrors);
  EXPECT_EQ(stream->lastError == vfw_error::cannotDecompress, failed);
  EXPECT_EQ(readFrame(*stream, 2), last);

  source.unreadable.insert(0);
  frame = 0;
  EXPECT_EQ(stream->getFrameBits(frame), nullptr);
  EXPECT_EQ(stream->lastError, vfw_error::cannotDecompress);
  EXPECT_EQ(frame, 0);
  EXPECT_EQ(readFrame(*stream, 2), last);
}

TEST_F(ScriptedVideo, ConvertsTimes) {
  source.info.dwLength = 100;
  VideoPointer stream = open();
  long sample = 50;
  EXPECT_EQ(stream->StreamSampleToTime(sample), 2000.0);
  EXPECT_EQ(stream->lastError, 0);
  double time = 2000.0;
  EXPECT_EQ(stream->StreamTimeToSample(time), 50);
  EXPECT_EQ(stream->msDuration(), 4000.0);

  // A frame a millisecond: times are rounded to whole milliseconds first, halves up.
  source.info.dwRate = 1000;
  stream = open();
  for (const auto& [ms, expected] : {std::pair{2.4, 2L}, {2.5, 3L}, {2.51, 3L}, {3.0, 3L}}) {
    double asked = ms;
    EXPECT_EQ(stream->StreamTimeToSample(asked), expected) << ms;
    EXPECT_EQ(stream->lastError, 0);
  }
}

// Times that AVIFile cannot tell are warnings; a stream's info may go away while it is open.
TEST_F(ScriptedVideo, TimesThatCannotBeToldAreWarnings) {
  const VideoPointer stream = open();
  ASSERT_EQ(stream->lastError, 0);
  source.hasInfo = false;
  long sample = 1;
  EXPECT_EQ(stream->StreamSampleToTime(sample), -1.0);
  EXPECT_EQ(stream->lastError, vfw_error::cannotConvertTime);
  double time = 40.0;
  EXPECT_EQ(stream->StreamTimeToSample(time), -1);
  EXPECT_EQ(stream->lastError, vfw_error::cannotConvertTime);
  EXPECT_LT(stream->msDuration(), 0.0);
  EXPECT_EQ(stream->lastError, vfw_error::undefinedStreamLength);
}

}  // namespace
