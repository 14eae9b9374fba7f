// A push source that plays a script: any pattern of samples, of seeks and of mishaps.

#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include <windows.h>

#include <strmif.h>
#include <uuids.h>

#include "directshow/base/c_source.h"
#include "formats/media_type.h"
#include "support/com_object.h"
#include "support/temp_file.h"

namespace quillet::test {

/// What happens at one sample. Times are stream times in units of 100 ns; the source stamps the samples relative to its
/// segment, which it announces.
struct ScriptedSample {
  REFERENCE_TIME start = 0;
  std::optional<REFERENCE_TIME> stop;
  std::optional<std::pair<LONGLONG, LONGLONG>> mediaTime;
  long size = 0;
  bool sync = true;
  bool discontinuity = false;
  bool timed = true;  ///< Otherwise the sample carries no time.
  /// The source signals the first event and waits for the second one before it goes on; not owned.
  HANDLE reached = nullptr;
  HANDLE waitFor = nullptr;
  /// An event that the filter sends to the graph before the sample, 0 for none.
  long event = 0;
  /// What FillBuffer answers instead of giving the sample.
  HRESULT failure = S_OK;
};

/// Where a seek ends up: the next sample to be delivered, and the position that the stream then is at.
struct Landing {
  std::size_t sample = 0;
  REFERENCE_TIME position = 0;
};

struct ScriptedStream {
  using Seek = std::function<HRESULT(const ScriptedStream&, REFERENCE_TIME wanted, DWORD flags, Landing&)>;

  CMediaType type;
  std::vector<ScriptedSample> samples;
  REFERENCE_TIME duration = 0;
  Seek seek;
  /// What the thread of the stream answers when it is to begin.
  HRESULT beginning = S_OK;

  /// The sample that is current at a time: the last that begins at or before it, or the first of all.
  std::size_t sampleAt(REFERENCE_TIME time) const;
};

// Seeks. Without the flag that asks for a key frame, the first lands on the sample current at the time.
HRESULT landAsAsked(const ScriptedStream& stream, REFERENCE_TIME wanted, DWORD flags, Landing& landing);
HRESULT landOnPreviousKey(const ScriptedStream& stream, REFERENCE_TIME wanted, DWORD flags, Landing& landing);
/// The seek lands on the asked position, but the samples begin `samples` later.
ScriptedStream::Seek landLater(std::size_t samples);
HRESULT failToSeek(const ScriptedStream& stream, REFERENCE_TIME wanted, DWORD flags, Landing& landing);

/// The content of sample `number`.
Bytes scriptedPayload(std::size_t number, long size);

/// RGB24 frames, all key frames. The format names the frame's time; take it out with withoutFrameTime().
ScriptedStream scriptedVideo(long width, long height, std::size_t frames, REFERENCE_TIME frameTime);
void withoutFrameTime(ScriptedStream& stream);
/// PCM in blocks of `blockSamples` samples each.
ScriptedStream scriptedAudio(const WAVEFORMATEX& format, std::size_t blocks, long blockSamples);

/// The streams of a source, and what has become of them. Shared by the sources that play it and the test; streams are
/// not to be changed while a source plays them.
struct Script {
  std::vector<ScriptedStream> streams;
  std::atomic<int> samplesFilled = 0;
  std::atomic<int> threadsStarted = 0;
  std::atomic<int> threadsEnded = 0;
  std::atomic<int> filters = 0;
};

/// The filter: a pin for each stream of the script.
class ScriptedSource : public WithInterfaces<CSource, IFileSourceFilter> {
 public:
  explicit ScriptedSource(std::shared_ptr<Script> played);
  ~ScriptedSource() override;

  // IFileSourceFilter
  STDMETHODIMP Load(LPCOLESTR, const AM_MEDIA_TYPE*) override { return S_OK; }
  STDMETHODIMP GetCurFile(LPOLESTR*, AM_MEDIA_TYPE*) override { return E_NOTIMPL; }

 private:
  const std::shared_ptr<Script> script;
};

/// A file that every graph of the process opens with a source that plays the script. With QUILLET_TEST_GRABBER=windows in
/// the environment they have, under Wine, a sample grabber that tells times as Windows' own does, and the library takes
/// them as on Windows.
class ScriptedFile {
 public:
  explicit ScriptedFile(std::shared_ptr<Script> script);
  ~ScriptedFile();

  const char* name() const { return file.name(); }

 private:
  // Names both the class and the kind of file, and is how the file begins: nothing else matches.
  const GUID id;
  const TempFile file;
  const ClassObjectOverride source;
};

}  // namespace quillet::test
