// What AVI files are written with over DirectShow: a multiplexer, which does what Windows documents of its own, and the
// platform's writer of files, with IFileSinkFilter2, which Wine's lacks.

#pragma once

#include <memory>
#include <optional>
#include <vector>

#include <windows.h>

#include <strmif.h>

#include "formats/media_type.h"
#include "support/com_object.h"

namespace quillet::test {

/// A sample that was written: its stream, counted over the connected pins, and what the source said of it.
struct MuxSample {
  std::size_t stream;
  REFERENCE_TIME start, stop;
  long size;
  bool key;
  bool operator==(const MuxSample&) const = default;
};

/// What a multiplexer refuses to do, and what it was given. Shared with the test.
struct MuxScript {
  HRESULT create = S_OK;
  std::vector<IID> missing;                     ///< Interfaces that it has not.
  HRESULT acceptInput = S_OK;                   ///< A failure refuses every type.
  std::optional<std::size_t> failReceiveAfter;  ///< Receive fails with E_FAIL once so many samples are written.
  REFERENCE_TIME interleaving = 0;              ///< As the multiplexer that was made last is set.
  HRESULT complete = S_OK;                      ///< What the writing of the file answers, when all streams have ended.
  DWORD msPerPiece = 0;                         ///< How long it takes to write each 64 KB of the file.

  std::vector<MuxSample> samples;             ///< In the order of the file. For the test once the graph has stopped.
  std::vector<CMediaType> types;              ///< Of the streams, as they were connected.
  std::vector<ALLOCATOR_PROPERTIES> buffers;  ///< Likewise.
};

/// Makes multiplexers, as CLSID_AviDest does. They tell the writer by a sample's time where in the file it belongs.
/// Where Windows' documentation is silent, it is assumed that
/// - the mode is INTERLEAVE_NONE at first, and chunks are neither cut nor joined in any mode: they are interleaved one
///   by one, and written at the end;
/// - INTERLEAVE_FULL holds a stream back in Receive once it is ahead of another by more than the interleaving,
///   INTERLEAVE_NONE never; the other modes are not told from it, and there is no preroll;
/// - times of samples count from the beginning of the file, wherever a segment is said to start;
/// - video without a time per frame is refused, pictures stored top-down are taken as they are;
/// - the file is complete when every stream has ended; one that is stopped before is empty;
/// - there is one RIFF, of less than 4 GB, with the old index; no stream is adapted to the master stream.
ClassObjectOverride::Create aviMux(std::shared_ptr<MuxScript> script);

/// What a writer refuses to do, and what it was told. Shared with the test.
struct WriterFaults {
  HRESULT create = S_OK;
  bool noFileSink2 = false;
  HRESULT setFileName = S_OK;
  DWORD mode = 0;  ///< Wine's writer overwrites the file, whatever the mode.
};

/// Makes writers, as CLSID_FileWriter does.
ClassObjectOverride::Create fileWriter(std::shared_ptr<WriterFaults> faults);

}  // namespace quillet::test
