// A multiplexer of AVI files, which does what Windows documents of its own.

#pragma once

#include <memory>
#include <optional>
#include <vector>

#include <windows.h>

#include <vfw.h>

#include <strmif.h>

#include "core/critical_section.h"
#include "core/time_units.h"
#include "directshow/base/c_base_filter.h"
#include "support/input_pin.h"
#include "support/temp_file.h"

namespace quillet::test {

/// What a multiplexer refuses to do.
struct MuxFaults {
  bool refuseInterleavingInterface = false;
  bool noPropertyPages = false;
  HRESULT getInterleaving = S_OK;
  HRESULT acceptInput = S_OK;  ///< A failure refuses every type.
  HRESULT run = S_OK;
  std::optional<std::size_t> failReceiveAfter;  ///< Receive fails with E_FAIL once so many samples are written.
  std::optional<ALLOCATOR_PROPERTIES> demands;  ///< What the input pins ask of allocators.
};

/// A sample that was written: its stream, counted over the connected pins, and what the source said of it.
struct MuxSample {
  std::size_t stream;
  std::optional<REFERENCE_TIME> start;
  std::optional<REFERENCE_TIME> stop;
  bool sync;
  long size;
};

/// Shared by the test and the multiplexers of its making.
struct MuxScript {
  MuxFaults faults;
  std::vector<MuxSample> samples;  ///< In the order of the file. For the test once the graph has stopped.
};

/// The multiplexer, CLSID_AviDest. It tells the writer by a sample's time where in the file the sample belongs.
/// Where Windows' documentation is silent, it is assumed that
/// - the mode is INTERLEAVE_NONE at first, and chunks are neither cut nor joined in any mode;
/// - INTERLEAVE_CAPTURE and INTERLEAVE_FULL hold a stream back in Receive once it is ahead of another by more than
///   interleaving and preroll, INTERLEAVE_NONE and INTERLEAVE_NONE_BUFFERED never;
/// - times of samples count from the beginning of the file, wherever a segment is said to start;
/// - video without a time per frame is refused, pictures stored top-down are taken as they are;
/// - the filter does not leave the stopped state when only one of its sides is connected;
/// - the file is complete when every stream has ended; one that is stopped before cannot be read;
/// - there is one RIFF, of less than 4 GB, with the old index; no stream is adapted to the master stream.
class AviMux : public WithInterfaces<CBaseFilter, IConfigInterleaving, IConfigAviMux, ISpecifyPropertyPages> {
 public:
  explicit AviMux(std::shared_ptr<MuxScript> muxScript);

  // IMediaFilter
  STDMETHODIMP Pause() override;
  STDMETHODIMP Run(REFERENCE_TIME start) override;

  // IConfigInterleaving
  STDMETHODIMP put_Mode(InterleavingMode newMode) override;
  STDMETHODIMP get_Mode(InterleavingMode* result) override { return give(result, mode); }
  STDMETHODIMP put_Interleaving(const REFERENCE_TIME* newInterleaving, const REFERENCE_TIME* newPreroll) override;
  STDMETHODIMP get_Interleaving(REFERENCE_TIME* interleavingResult, REFERENCE_TIME* prerollResult) override;

  // IConfigAviMux
  STDMETHODIMP SetMasterStream(LONG stream) override;
  STDMETHODIMP GetMasterStream(LONG* result) override { return give(result, masterStream); }
  STDMETHODIMP SetOutputCompatibilityIndex(BOOL oldIndex) override { return oldIndex ? S_OK : E_NOTIMPL; }
  STDMETHODIMP GetOutputCompatibilityIndex(BOOL* result) override { return give(result, TRUE); }

  // ISpecifyPropertyPages
  STDMETHODIMP GetPages(CAUUID* pages) override;

 protected:
  IUnknown* findInterface(REFIID id) override;

 private:
  class Input;
  class Output;

  // Called with the state lock held.
  void offerFreeInput();
  HRESULT begin();

  // Called with the stream lock held.
  bool mustWait(const Input& input, REFERENCE_TIME start) const;
  void wakeAll() const;
  HRESULT write(Input& input, const MuxSample& sample, REFERENCE_TIME start, const BYTE* data);
  HRESULT complete();
  Bytes headers() const;
  void appendChunk(DWORD id, const void* data, std::size_t size);
  void append(const void* data, std::size_t size);

  template <class Step>
  HRESULT stream(Step step);

  const std::shared_ptr<MuxScript> script;
  Output& output;
  std::vector<Input*> inputs;
  InterleavingMode mode = INTERLEAVE_NONE;
  REFERENCE_TIME interleaving = unitsPerSecond;
  REFERENCE_TIME preroll = 0;
  LONG masterStream = -1;

  // Guards what streaming changes. A streaming thread takes no other lock of the filter.
  CriticalSection streamLock;
  std::vector<Input*> streams;  // The connected inputs.
  std::vector<AVIINDEXENTRY> index;
  std::size_t movieStart = 0;
  LONGLONG position = 0;
  HRESULT written = S_OK;  // What the writer has answered first other than S_OK: nothing is appended from then on.
  HRESULT failure = S_OK;  // What has aborted the graph.
};

}  // namespace quillet::test
