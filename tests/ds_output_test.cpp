// Writing AVI files through DirectShow.

#include <evcode.h>

#include "support/ds_writing.h"
#include "support/graph_override.h"
#include "support/leak_check.h"
#include "support/test_codec.h"
#include "support/test_compressor.h"
#include "support/wine_gaps.h"

using namespace quillet;
using namespace quillet::test;
using Microsoft::WRL::ComPtr;

namespace {

class DSOutput : public DSWriting {
 protected:
  Writer create(const VIDEOINFOHEADER* videoFormat, const WAVEFORMATEX* audioFormat, bool compress = false) const {
    return Writer(OutputAVIFile::create(file.name(), videoFormat, compress, audioFormat, compress, true));
  }

  Writer started(const VIDEOINFOHEADER* videoFormat, const WAVEFORMATEX* audioFormat) const {
    Writer writer = create(videoFormat, audioFormat);
    EXPECT_EQ(writer->lastError, 0);
    EXPECT_TRUE(writer->start());
    return writer;
  }

  /// Expects the multiplexer to have been given this format last, and the file to have this chunk.
  void expectWritten(const Bytes& format, const Bytes& chunk) const {
    const CMediaType& type = muxScript->types.back();
    EXPECT_EQ(Bytes(type.pbFormat, type.pbFormat + type.cbFormat), format);
    const Bytes written = readFile(file.name());
    EXPECT_FALSE(std::ranges::search(written, chunk).empty());
  }
};

TEST_F(DSOutput, BothStreamsComeBackThroughEitherBackend) {
  {
    const Writer writer = create(&video, &audio);
    EXPECT_TRUE(writer->canRun());
    EXPECT_TRUE(failed(writePicture(*writer, 0), *writer, ds_error::graphNotStarted));
    EXPECT_TRUE(failed(writer->close(), *writer, ds_error::graphNotStarted));
    ASSERT_TRUE(writer->start());
    EXPECT_TRUE(writer->setAutomaticInterleaving(true));
    EXPECT_EQ(writer->interleavingPeriod(), 10'000'000);
    writeInTurns(*writer, 50, 16000, 500);
    EXPECT_TRUE(writer->isAutomaticallyInterleaved()) << "switched off meanwhile";
    EXPECT_TRUE(writer->start()) << "which does nothing";
    EXPECT_EQ(writer->nextFrame_number(), 50);
    EXPECT_EQ(writer->nextSample_number(), 16000);
    EXPECT_TRUE(writer->close());
    EXPECT_TRUE(failed(writePicture(*writer, 50), *writer, ds_error::notOpened));
  }
  EXPECT_EQ(faults->mode, static_cast<DWORD>(AM_FILE_OVERWRITE));
  EXPECT_EQ(std::ranges::count(muxScript->samples, 16000, &MuxSample::size), 2) << "audio goes in whole periods";
  for (const bool directShow : {false, true}) {
    expectPictures(file.name(), 50, directShow);
    expectCounted(file.name(), 16000, directShow);
  }
}

TEST_F(DSOutput, AnyNameWillDoForBothBackends) {
  ASSERT_NE(GetACP(), CP_UTF8) << "which has all letters";
  const TempFolder folder;
  const std::wstring base = std::filesystem::path(folder.name()).native() + L'\\';
  const std::string another = std::string(folder.name()) + "\\A.avi";
  const Bytes content = aviFile({videoStream(rgb24Format(8, 4), 25, 1, {{picture(9)}})});
  writeFile(another.c_str(), content);
  const std::wstring nearlyAnother = base + L"\u0100.avi";  // An A with a line above.
  std::wstring deep = base;
  for (int i = 0; i < 3; ++i) {
    deep += std::wstring(100, L'd') + L'\\';
    std::filesystem::create_directory(LR"(\\?\)" + deep);
  }
  for (const std::wstring& name : {base + L"\u041A\u0438\u043D\u043E \u7535\u5F71 \U0001F3AC.avi", nearlyAnother,
                                   deep + L"plain.avi", LR"(\\?\)" + deep + L"\u7535.avi"}) {
    for (const bool both : {false, true}) {  // Over DirectShow; the other one cannot write much sound.
      SCOPED_TRACE(testing::PrintToString(name) + (both ? ", DirectShow" : ""));
      const Writer writer(OutputAVIFile::create(name.c_str(), &video, false, both ? &audio : nullptr, false, both));
      ASSERT_EQ(writer->lastError, 0);
      ASSERT_TRUE(writer->start() && writePicture(*writer, 0) && writePicture(*writer, 1));
      EXPECT_TRUE((!both || writeCounted(*writer, 0, 640)) && writer->close());
      for (const bool directShow : {false, true}) {
        expectPictures(name.c_str(), 2, directShow);
        if (both) {
          expectCounted(name.c_str(), 640, directShow);
        }
        const std::unique_ptr<RawDataSourceStream> raw(
            RawDataSourceStream::open(name.c_str(), true, directShow, 0, nullptr));
        EXPECT_EQ(raw->duration(), 2) << raw->lastError;
        int videos = 0;
        int sounds = 0;
        MediaContainer::streamsNumber(name.c_str(), directShow, &videos, &sounds);
        EXPECT_TRUE(videos == 1 && sounds == both);
      }
    }
  }
  DeleteFileW(nearlyAnother.c_str());
  const std::unique_ptr<SourceStream> missing(SourceStream::open(nearlyAnother.c_str(), true, false, 0, nullptr));
  EXPECT_EQ(missing->lastError, vfw_error::cannotOpenSourceFile);
  EXPECT_TRUE(readFile(another.c_str()) == content);
}

/// A video format with what follows the header, whether or not `biSize` counts it.
Bytes formatBlock(WORD bits, DWORD compression, long size, const std::vector<DWORD>& appendix, LONG rows = 4,
                  bool isCounted = true) {
  VIDEOINFOHEADER format = videoFormat();
  format.bmiHeader.biWidth = 5;  // Rows are padded.
  format.bmiHeader.biHeight = rows;
  format.bmiHeader.biBitCount = bits;
  format.bmiHeader.biCompression = compression;
  format.bmiHeader.biClrUsed = bits == 8 && isCounted ? static_cast<DWORD>(appendix.size()) : 0;
  format.bmiHeader.biSize += isCounted ? static_cast<DWORD>(appendix.size() * sizeof(DWORD)) : 0;
  format.bmiHeader.biSizeImage = static_cast<DWORD>(size);
  Bytes block = bytesOf(format);
  for (const DWORD word : appendix) {
    const Bytes bytes = bytesOf(word);
    block.insert(block.end(), bytes.begin(), bytes.end());
  }
  return block;
}

TEST_F(DSOutput, FramesOfEveryFormatAreWrittenAsTheyAre) {
  GUID codecSubtype = MEDIATYPE_Video;
  codecSubtype.Data1 = TestCodec::fourcc;
  const struct {
    const char* name;
    Bytes format;
    long size;
    GUID subtype = MEDIASUBTYPE_RGB24;
  } cases[] = {
      {"24 bits", formatBlock(24, BI_RGB, 64, {}), 64},
      {"32 bits", formatBlock(32, BI_RGB, 80, {}), 80, MEDIASUBTYPE_RGB32},
      {"8 bits with a palette", formatBlock(8, BI_RGB, 32, {0x010203, 0x040506}), 32, MEDIASUBTYPE_RGB8},
      {"all of 8 bits", formatBlock(8, BI_RGB, 32, std::vector<DWORD>(256, 7), 4, false), 32, MEDIASUBTYPE_RGB8},
      {"5-5-5", formatBlock(16, BI_BITFIELDS, 48, {0x7C00, 0x3E0, 0x1F}), 48, MEDIASUBTYPE_RGB555},
      {"5-6-5", formatBlock(16, BI_BITFIELDS, 48, {0xF800, 0x7E0, 0x1F}, 4, false), 48, MEDIASUBTYPE_RGB565},
      {"top-down", formatBlock(24, BI_RGB, 64, {}, -4), 64},
      {"a codec's", formatBlock(24, TestCodec::fourcc, 97, {}), 97, codecSubtype},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const auto& format = *reinterpret_cast<const VIDEOINFOHEADER*>(c.format.data());
    const bool isUncompressed = format.bmiHeader.biCompression != TestCodec::fourcc;
    const Writer writer = started(&format, nullptr);
    for (const long frame : {0, 1}) {
      // Without a size it is that of uncompressed frames, whatever the format.
      EXPECT_TRUE(writer->writeFrame(frame, picture(frame, c.size).data(), 1, isUncompressed ? -1 : c.size, true));
    }
    EXPECT_TRUE(writer->close());
    EXPECT_EQ(muxScript->types.back().subtype, c.subtype);
    EXPECT_EQ(muxScript->buffers.back().cBuffers, 1) << "so that each write waits for the one before";
    EXPECT_EQ(muxScript->buffers.back().cbBuffer, c.size);
    expectWritten(c.format, picture(1, c.size));
  }
  const Bytes otherMasks = formatBlock(16, BI_BITFIELDS, 48, {0xF00, 0xF0, 0xF});
  const Writer refused = create(reinterpret_cast<const VIDEOINFOHEADER*>(otherMasks.data()), nullptr);
  EXPECT_EQ(refused->lastError, ds_error::videoStreamCopyImpossible);
}

TEST_F(DSOutput, CompressedAudioIsWrittenAsItIs) {
  struct {
    WAVEFORMATEX wave;
    WORD samplesPerBlock;
  } const format = {{WAVE_FORMAT_IMA_ADPCM, 1, 8000, 4055, 256, 4, 2}, 505};
  const Writer writer = started(nullptr, &format.wave);
  const Bytes blocks = noise(3 * 256);
  EXPECT_TRUE(writer->writeSample(0, const_cast<std::uint8_t*>(blocks.data()), 3, 3 * 256, true));
  EXPECT_TRUE(writer->close());
  expectWritten(bytesOf(format), blocks);
}

TEST_F(DSOutput, TheMultiplexerLearnsTheTimesAndTheKeys) {
  VIDEOINFOHEADER ntsc = videoFormat(333'667);
  const WAVEFORMATEX cdAudio = pcmFormat(44100, 2, 16);
  const Writer writer = started(&ntsc, &cdAudio);
  for (const long frame : {0, 1, 3}) {
    EXPECT_TRUE(writePicture(*writer, frame, frame != 1));
    EXPECT_TRUE(writer->writeSample(frame, Bytes(12).data(), 3, -1, frame == 1));
  }
  EXPECT_TRUE(writer->close());
  std::ranges::stable_sort(muxScript->samples, {}, &MuxSample::stream);
  EXPECT_EQ(muxScript->samples, (std::vector<MuxSample>{{0, 0, 333'667, pictureSize, true},
                                                        {0, 333'667, 667'334, pictureSize, false},
                                                        {0, 1'001'001, 1'334'668, pictureSize, true},
                                                        {1, 0, 680, 12, false},
                                                        {1, 226, 907, 12, true},
                                                        {1, 680, 1360, 12, false}}));
}

TEST_F(DSOutput, AWriteThatDoesNotFitLeavesTheNextOneAlone) {
  const Writer writer = started(&video, &audio);
  Bytes large(pictureSize + 1);
  EXPECT_TRUE(writePicture(*writer, 0));
  EXPECT_TRUE(failed(writer->writeFrame(1, large.data(), 1, pictureSize + 1, true), *writer, ds_error::writeError));
  EXPECT_TRUE(failed(writer->writeFrame(1, nullptr, 1, 0, true), *writer, ds_error::writeError))
      << "which is not the end of the stream";
  EXPECT_FALSE(writer->writeSample(LONG_MAX, large.data(), 1, 2, true)) << "no number could follow";
  EXPECT_EQ(writer->nextFrame_number(), 1);
  EXPECT_TRUE(writePicture(*writer, 1));
  EXPECT_TRUE(writeCounted(*writer, 0, 8000));
  EXPECT_FALSE(writeCounted(*writer, 8000, 8001)) << "more than a period";
  EXPECT_TRUE(writer->close());
  expectPictures(file.name(), 2);
  expectCounted(file.name(), 8000);
}

TEST_F(DSOutput, NobodyIsStrandedInAWrite) {
  const GraphOverride graph;
  const struct {
    const char* name;
    std::function<void(OutputAVIFile&)> happen;
    int closeCode;
  } cases[] = {
      {"stopped", [&](OutputAVIFile&) { graph.stop(); }, ds_error::writeError},
      {"aborted", [&](OutputAVIFile&) { graph.notify(EC_ERRORABORT); }, ds_error::writeError},
      {"complete, though nothing is in the file", [&](OutputAVIFile&) { graph.notify(EC_COMPLETE); },
       ds_error::writeError},
      {"closed", [&](OutputAVIFile& writer) { EXPECT_TRUE(writer.close()); }, ds_error::notOpened},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Writer writer = started(&video, &audio);
    EXPECT_TRUE(writer->setAutomaticInterleaving(true));
    std::atomic<long> written = 0;
    const auto write = [&] {
      while (written < 1000 && writePicture(*writer, written)) {
        ++written;
      }
    };
    {
      const Thread videoThread(write);
      EXPECT_FALSE(videoThread.endsWithin(100)) << "held back";
      c.happen(*writer);
    }
    EXPECT_FALSE(writePicture(*writer, written)) << "nor does the next write wait";
    EXPECT_TRUE(failed(writer->close(), *writer, c.closeCode));
    if (c.closeCode == ds_error::notOpened) {
      expectPictures(file.name(), written);  // All that the writes have said to be.
    }
  }
}

TEST_F(DSOutput, TheEndComesUnlessSomethingMoves) {
  constexpr DWORD slowMs = 10'500;  // Less than what makes a stall; twice that is more.
  using Keep = decltype(CompressorScript::keep);
  std::vector<ComPtr<IMediaSample>> kept;
  const Keep keepAll = [&](auto&, IMediaSample* picture) { return kept.emplace_back(picture), true; };
  const Keep loseTheEnd = [](auto&, IMediaSample* picture) { return picture == nullptr; };
  const Keep thinkLong = [](auto&, IMediaSample* picture) {
    return Sleep(picture != nullptr ? slowMs : 0), picture != nullptr;  // And passes nothing on.
  };
  ComPtr<IMediaSample> last;
  const Keep comeLate = [&](CompressorOutput& output, IMediaSample* picture) {
    for (int i = 0; i < 2 && picture == nullptr; ++i) {
      Sleep(slowMs);
      output.Deliver(last.Get());
    }
    return picture != nullptr && (last = picture, true);
  };
  struct Run {
    const char* name;
    Keep keep;
    int closeCode;
    long frames;  // That come before the end.
    bool isHeld;  // The write of the last one waits, or of one more.
    DWORD msPerPiece = 0;
    bool isDestroyed = false;  // Instead of closed.

    const SharedScript script = std::make_shared<CompressorScript>();
    const TempFile file{".avi"};
    Writer writer = nullptr;
    long written = 0;
    std::unique_ptr<Thread> writing = nullptr, closing = nullptr;
  } runs[] = {{"keeps its buffer", keepAll, ds_error::writeError, 1, true},
              {"loses the end", loseTheEnd, ds_error::writeError, 2, false},
              {"loses the end before destruction", loseTheEnd, 0, 2, false, 0, true},
              {"is slow", thinkLong, 0, 2, true},
              {"has a picture left", comeLate, 0, 1, false},
              {"has a slow disk", nullptr, 0, 700, false, slowMs}};
  const GraphOverride graph;
  for (Run& run : runs) {
    SCOPED_TRACE(run.name);
    muxScript = std::make_shared<MuxScript>();
    muxScript->msPerPiece = run.msPerPiece;
    run.script->keep = run.keep;
    run.writer.reset(OutputAVIFile::create(run.file.name(), &video, true, nullptr, false, true));
    ASSERT_TRUE(setCompressor(*run.writer, true, run.script) && run.writer->start()) << run.writer->lastError;
    run.writing = std::make_unique<Thread>([&run] {
      const long wanted = std::max(run.frames, run.isHeld ? 2L : 1L);
      while (run.written < wanted && writePicture(*run.writer, run.written)) {
        ++run.written;
      }
    });
  }
  for (Run& run : runs) {
    EXPECT_EQ(run.writing->endsWithin(run.isHeld ? 500 : 20'000), !run.isHeld) << run.name;
    run.closing =
        std::make_unique<Thread>([&run] { run.isDestroyed ? run.writer.reset() : void(run.writer->close()); });
  }
  for (Run& run : runs) {
    SCOPED_TRACE(run.name);
    EXPECT_TRUE(run.closing->endsWithin(45'000) && run.writing->endsWithin(5000));
    EXPECT_EQ(run.written, run.frames);
    EXPECT_TRUE(run.isDestroyed || run.writer->lastError == run.closeCode) << run.writer->lastError;
    run.writer.reset();
    EXPECT_EQ(run.script.use_count(), 1) << "the compressor is still held";
  }
  EXPECT_EQ(graph.faults.graphs, 0);
}

TEST_F(DSOutput, APausedGraphGoesOnToItsEnd) {
  const GraphOverride graph;
  const Writer writer = started(&video, nullptr);
  EXPECT_TRUE(writePicture(*writer, 0));
  graph.pause();
  EXPECT_TRUE(writer->close());
  expectPictures(file.name(), 1);
}

TEST_F(DSOutput, AFailureOfTheFiltersFailsTheWritesAndTheClosing) {
  muxScript->failReceiveAfter = 3;
  const Writer writer = started(&video, nullptr);
  long frame = 0;
  while (writePicture(*writer, frame)) {
    ++frame;
  }
  EXPECT_LE(frame, 4) << "one is taken before the failure is known";
  EXPECT_EQ(writer->lastError, ds_error::writeError);
  EXPECT_TRUE(failed(writer->close(), *writer, ds_error::writeError));

  *muxScript = {};
  muxScript->complete = E_FAIL;
  const Writer late = started(&video, nullptr);
  EXPECT_TRUE(writePicture(*late, 0));
  EXPECT_TRUE(failed(late->close(), *late, ds_error::writeError)) << "after all was written";
}

TEST_F(DSOutput, FailsWithTheCodeOfTheStepAndLeavesNothing) {
  GraphOverride graph;
  const auto without = [&](const IID& interface_) { return [&] { graph.faults.missing = {interface_}; }; };
  const struct {
    int code;
    std::function<void()> prepare;
  } cases[] = {
      {ds_error::noGraphBuilder, [&] { graph.faults.create = E_FAIL; }},
      {ds_error::noFileWriter, [&] { faults->create = E_FAIL; }},
      {ds_error::noFileSinkFilter2, [&] { faults->noFileSink2 = true; }},
      {ds_error::cannotOpenSourceFile, [&] { faults->setFileName = E_ACCESSDENIED; }},
      {ds_error::noAviMultiplexer, [&] { muxScript->create = E_FAIL; }},
      {ds_error::noMediaControl, without(IID_IMediaControl)},
      {ds_error::noMediaEvent, without(IID_IMediaEvent)},
      {0, [] {}},
  };
  const auto tryAll = [&] {
    for (const auto& [code, prepare] : cases) {
      prepare();
      const Writer writer = create(&video, &audio);
      EXPECT_EQ(writer->lastError, code);
      if (code != 0) {
        EXPECT_TRUE(failed(writer->canRun(), *writer, ds_error::notOpened));
        EXPECT_TRUE(failed(writer->start(), *writer, ds_error::notOpened));
      } else {
        EXPECT_TRUE(writer->start() && writePicture(*writer, 0) && writeCounted(*writer, 0, 80));
      }
      graph.faults.create = S_OK;
      graph.faults.missing.clear();
      *faults = {};
      *muxScript = {};
    }
  };
  constexpr long graphs = 7;  // All but that which is not made.
  EXPECT_TRUE(leavesNothingBehind(tryAll, graphs * wine_gap::blocksOfAnIdleGraph, graphs * wine_gap::handlesOfAGraph,
                                  200 / graphs));

  muxScript->acceptInput = VFW_E_TYPE_NOT_ACCEPTED;
  EXPECT_EQ(create(&video, nullptr)->lastError, ds_error::videoStreamCopyImpossible);
  EXPECT_EQ(create(nullptr, &audio)->lastError, ds_error::audioStreamCopyImpossible);
  *muxScript = {};
  EXPECT_EQ(create(nullptr, nullptr)->lastError, output_error::noStreamDefined);
  WAVEFORMATEX withoutRate = audio;
  withoutRate.nSamplesPerSec = 0;
  EXPECT_EQ(create(nullptr, &withoutRate)->lastError, ds_error::audioSourceCreationFailed);
  withoutRate.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
  EXPECT_EQ(create(nullptr, &withoutRate)->lastError, ds_error::improperStreamFormat) << "no extension";
  EXPECT_EQ(
      Writer(OutputAVIFile::create(static_cast<const char*>(nullptr), &video, false, nullptr, false, true))->lastError,
      ds_error::cannotOpenSourceFile);
  graph.faults.missing = {IID_IMediaFilter};
  const Writer paced = create(&video, nullptr);
  EXPECT_TRUE(paced->start()) << "though at the clock's pace";
  EXPECT_EQ(paced->lastError, ds_error::cannotChangeReferenceClock);
  EXPECT_TRUE(paced->close());
  graph.faults.missing.clear();
  const Writer writer = create(&video, &audio);
  {
    const KernelHandle held(CreateFileA(file.name(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_NE(held.get(), INVALID_HANDLE_VALUE);
    EXPECT_TRUE(failed(writer->start(), *writer, ds_error::cannotRunGraph))
        << "the file writer cannot open the file, and the sources run already";
    EXPECT_TRUE(failed(writePicture(*writer, 0), *writer, ds_error::graphNotStarted)) << "and does not wait";
  }
  graph.notify(EC_ERRORABORT);
  EXPECT_TRUE(writer->start() && writePicture(*writer, 0) && writer->close()) << "what was before counts no more";
  for (const auto& [fault, code] :
       {std::pair(&GraphFaults::stop, ds_error::cannotStopGraph), {&GraphFaults::getState, ds_error::getStateFailed}}) {
    const Writer unstoppable = started(&video, nullptr);
    EXPECT_TRUE(writePicture(*unstoppable, 0));
    graph.faults.*fault = E_FAIL;
    EXPECT_TRUE(failed(unstoppable->close(), *unstoppable, code));
    graph.faults.*fault = S_OK;
  }
}

TEST_F(DSOutput, TakesCompressorsOrNone) {
  const Writer writer = create(&video, &audio, true);
  EXPECT_TRUE(failed(writer->start(), *writer, ds_error::graphNotFullyConfigured));
  EXPECT_FALSE(writer->isCompressorSet(true));
  const auto withoutOutput = std::make_shared<CompressorScript>();
  withoutOutput->hasOutput = false;
  EXPECT_TRUE(failed(setCompressor(*writer, true, withoutOutput), *writer, ds_error::cannotConnectFilters));
  EXPECT_TRUE(writer->isCompressorSet(true)) << "it stays";
  EXPECT_TRUE(failed(writer->chooseCompressor(nullptr, true), *writer, output_error::compressorAlreadySet));
  EXPECT_TRUE(failed(writer->chooseCompressor(nullptr, false), *writer, ds_error::cannotListCompressors))
      << "no audio compressors, and no dialog";

  Writer direct = create(&video, nullptr, true);
  muxScript->acceptInput = VFW_E_TYPE_NOT_ACCEPTED;
  EXPECT_TRUE(failed(direct->setCompressor(true, nullptr), *direct, ds_error::cannotConnectFilters));
  EXPECT_TRUE(direct->compressedVideo()) << "still to be";
  muxScript->acceptInput = S_OK;
  EXPECT_TRUE(direct->setCompressor(true, nullptr));
  EXPECT_TRUE(direct->start() && writePicture(*direct, 0));
  direct.reset();
  expectPictures(file.name(), 1);
}

TEST_F(DSOutput, ThePeriodIsTheMultiplexers) {
  const ClassObjectOverride page(CLSID_AviMuxProptyPage, EmptyPage::make);
  for (const bool compress : {false, true}) {
    const Writer writer = create(&video, &audio, compress);
    (DialogDriver({{"Properties for AVI mux",
                    [this](HWND frame) {
                      muxScript->interleaving = 20'000'000;  // As by the page.
                      PostMessageA(frame, WM_CLOSE, 0, 0);
                    }}}),
     writer->configureAVI(nullptr));
    EXPECT_EQ(writer->lastError, 0) << "also for a source that is not connected yet";
    EXPECT_EQ(writer->interleavingPeriod(), 20'000'000);
    if (!compress) {
      EXPECT_TRUE(writer->start());
      EXPECT_TRUE(writeCounted(*writer, 0, 16000)) << "in one piece";
      EXPECT_TRUE(failed(writer->setInterleavingPeriod(5'000'000), *writer, ds_error::cannotChangeInterleavingPeriod))
          << "a running source cannot be connected anew";
      EXPECT_EQ(writer->interleavingPeriod(), 20'000'000) << "as before";
      EXPECT_TRUE(writeCounted(*writer, 16000, 16000));
    }
  }
  const Writer writer = create(&video, &audio);
  EXPECT_TRUE(writer->setInterleavingPeriod(1));
  EXPECT_TRUE(writer->start() && writeCounted(*writer, 0, 1)) << "never less than a sample";
  EXPECT_FALSE(writeCounted(*writer, 1, 2));
  const Writer unchanged = create(&video, &audio);
  EXPECT_TRUE(
      failed(unchanged->setInterleavingPeriod(LLONG_MAX), *unchanged, ds_error::cannotChangeInterleavingPeriod));
  EXPECT_EQ(unchanged->interleavingPeriod(), 10'000'000);
  EXPECT_TRUE(unchanged->start() && writeCounted(*unchanged, 0, 8000)) << "the connection is there again";

  muxScript->missing = {IID_ISpecifyPropertyPages};
  writer->configureAVI(nullptr);
  EXPECT_EQ(writer->lastError, ds_error::cannotDisplayDialog);
  EXPECT_TRUE(writer->close());
  muxScript->missing = {__uuidof(IConfigInterleaving)};
  const Writer second = create(nullptr, &audio);
  EXPECT_TRUE(second->start() && writeCounted(*second, 0, 8000)) << "a second, for want of a period";
  second->configureAVI(nullptr);
  EXPECT_EQ(second->lastError, ds_error::noInterleavingProperties);
}

}  // namespace
