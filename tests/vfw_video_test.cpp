// Video frames by number, through Video for Windows.

#include <cstring>

#include "support/avifile_handler.h"
#include "support/leak_check.h"
#include "support/reading.h"
#include "support/test_codec.h"
#include "support/wine_gaps.h"

using namespace quillet::test;
namespace vfw_error = quillet::vfw_error;

namespace {

using VideoPointer = std::unique_ptr<VfWVideoSourceStream>;

VideoPointer openVideo(const char* name) {
  return VideoPointer(VfWVideoSourceStream::open(name, 0, nullptr));
}

/// The pixels of a frame, which differ from those of any other frame. Odd widths have padded rows.
Bytes picture(const BITMAPINFOHEADER& format, unsigned frame) {
  return noise(format.biSizeImage, frame);
}

/// Expects a picture under its own number.
void expectFrame(VideoSourceStream& stream, long frame, const Bytes& expected) {
  EXPECT_TRUE(frameOf(stream, frame) == expected) << frame;
  EXPECT_EQ(stream.lastError, 0) << frame;
}

TEST(RgbVideo, LeavesNothingBehindAndHasNothingToConfigure) {
  BITMAPINFOHEADER format = rgb24Format(7, 3);  // Rows are padded.
  // Also of files that have colours, and of those that only claim to have them.
  for (const auto& [height, colours, claimed] : {std::tuple(3L, 16, 16U), {-3L, 0, 0U}, {3L, 0, 16U}}) {
    format.biHeight = height;
    format.biClrUsed = claimed;
    AviStream frames = videoStream(format, 30, 2, noiseChunks(10, format.biSizeImage));
    frames.format.resize(sizeof format + colours * sizeof(RGBQUAD), 1);
    const TempFile file(".avi", aviFile({frames}));
    const auto round = [&] {
      const VideoPointer stream = openVideo(file.name());
      EXPECT_EQ(stream->frameRate(), 15.0);
      EXPECT_EQ(bytesOf(*stream->format()), bytesOf(format));
      expectFrame(*stream, 7, bottomUp(picture(format, 7), format));
      expectFrame(*stream, 3, bottomUp(picture(format, 3), format));
      stream->configure(nullptr);
      EXPECT_EQ(stream->lastError, vfw_error::noConfigurationDialog);
    };
    EXPECT_TRUE(leavesNothingBehind(round));
  }
}

TEST(DeltaVideo, CinepakIsTheSameInAnyOrder) {
  const std::string name = mediaFile("cinepak.avi");
  const std::vector<Bytes> frames = framesOf(*openVideo(name.c_str()));
  EXPECT_EQ(frames.size(), 50U);
  EXPECT_EQ(differingFrames(*openVideo(name.c_str()), frames, 300), 0);
}

TEST(EmptyFrames, GiveWayToTheirNeighbours) {
  const BITMAPINFOHEADER format = rgb24Format(4, 4);
  std::vector<AviChunk> chunks = noiseChunks(7, format.biSizeImage);
  for (const int empty : {0, 1, 3, 4, 6}) {
    chunks[empty] = {{}, false};
  }
  const TempFile file(".avi", aviFile({videoStream(format, 25, 1, chunks)}));
  const VideoPointer stream = openVideo(file.name());
  ASSERT_EQ(stream->lastError, 0);

  const struct {
    long found;
    int code;
  } expected[] = {{2, 9}, {2, 9}, {2, 0}, {2, 0}, {2, 0}, {5, 0}, {5, 0}};
  for (long frame = 0; frame < 7; ++frame) {
    EXPECT_EQ(stream->findFrame(frame), expected[frame].found) << frame;
    EXPECT_EQ(stream->lastError, expected[frame].code) << frame;
    EXPECT_EQ(frameOf(*stream, frame, expected[frame].found), picture(format, expected[frame].found)) << frame;
    EXPECT_EQ(stream->lastError, expected[frame].code) << frame;
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

  void pretendCodec(DWORD fourcc) {
    BITMAPINFOHEADER compressed = format;
    compressed.biCompression = source.info.fccHandler = fourcc;
    source.format = bytesOf(compressed);
  }
};

TEST_F(ScriptedVideo, OpensOrSaysWhyNot) {
  EXPECT_EQ(openingError(), 0);

  const std::pair<int, std::function<void()>> faults[] = {
      {vfw_error::cannotRetrieveStreamInfo, [&] { source.hasInfo = false; }},
      {vfw_error::cannotRetrieveStreamInfo, [&] { source.info.dwScale = 0; }},
      {vfw_error::cannotRetrieveFormat, [&] { source.format.clear(); }},
      {vfw_error::cannotRetrieveFormat, [&] { source.format.resize(39); }},
      {vfw_error::undefinedStreamLength, [&] { source.info.dwLength = static_cast<DWORD>(-1); }},
      {vfw_error::noDecompressor, [&] { pretendCodec(mmioFOURCC('Q', 'X', 'Y', 'Z')); }},
  };
  const AviScriptStream good = source;
  for (const auto& [code, bringAbout] : faults) {
    bringAbout();
    EXPECT_EQ(openingError(), code);
    source = good;
  }
}

TEST_F(ScriptedVideo, WithoutAnyFrameFindsNone) {
  source.samples.assign(3, Bytes());
  const VideoPointer stream = open();
  ASSERT_EQ(stream->lastError, 0);
  long frame = 1;
  EXPECT_TRUE(failed(stream->getFrameBits(frame), *stream, vfw_error::noFrameFound));
  EXPECT_TRUE(stream->lastErrorIsFatal());

  source.info.dwLength = 0;
  const VideoPointer empty = open();
  EXPECT_TRUE(failed(empty->findFrame(0), *empty, vfw_error::parameterOutOfRange));
}

TEST_F(ScriptedVideo, FailingDecompressionIsReported) {
  const TestCodec codec;
  pretendCodec(TestCodec::fourcc);
  source.info.dwSuggestedBufferSize = format.biSizeImage + 1;
  const Bytes last = picture(format, 2);
  source.samples = {TestCodec::frame(TestCodec::good, picture(format, 0)), TestCodec::frame(TestCodec::bad, last),
                    TestCodec::frame(TestCodec::good, last)};
  const VideoPointer stream = open();
  ASSERT_EQ(stream->lastError, 0);
  expectFrame(*stream, 0, picture(format, 0));

  const bool isMissing = frameOf(*stream, 1).empty();
  EXPECT_EQ(isMissing, !wine_gap::getFrameIgnoresCodecErrors);
  EXPECT_EQ(stream->lastError == vfw_error::cannotDecompress, isMissing);
  expectFrame(*stream, 2, last);

  source.unreadable.insert(0);
  long frame = 0;
  EXPECT_TRUE(failed(stream->getFrameBits(frame), *stream, vfw_error::cannotDecompress));
  expectFrame(*stream, 2, last);
}

TEST_F(ScriptedVideo, PicturesAreThosePromisedWhateverColoursTheyHave) {
  const Bytes pixels = picture(format, 5);
  const struct { DWORD compression, colours, tail; } dibs[] = {{BI_RGB, 0, 0}, {BI_RGB, 2, 8}, {BI_BITFIELDS, 0, 12}};
  for (const auto& [compression, colours, tail] : dibs) {
    BITMAPINFOHEADER header = format;
    header.biCompression = compression;
    header.biClrUsed = colours;
    source.packedDib = bytesOf(header);
    source.packedDib.resize(sizeof header + tail);
    source.packedDib.insert(source.packedDib.end(), pixels.begin(), pixels.end());
    expectFrame(*open(), 1, pixels);
  }
  // Pictures that are not those promised.
  for (const auto& [field, value] : {std::pair(offsetof(BITMAPINFOHEADER, biSize), 0x40000000),
                                     {offsetof(BITMAPINFOHEADER, biWidth), 3},
                                     {offsetof(BITMAPINFOHEADER, biHeight), -4},
                                     {offsetof(BITMAPINFOHEADER, biPlanes), 0x80001},
                                     {offsetof(BITMAPINFOHEADER, biSizeImage), 47},
                                     {offsetof(BITMAPINFOHEADER, biClrUsed), 0x3FFFFFFF}}) {
    source.packedDib = bytesOf(format);
    std::memcpy(&source.packedDib[field], &value, sizeof value);
    const VideoPointer stream = open();
    long frame = 1;
    EXPECT_TRUE(failed(stream->getFrameBits(frame), *stream, vfw_error::cannotDecompress)) << value;
  }
}

}  // namespace
