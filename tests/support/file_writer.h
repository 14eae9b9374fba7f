// A writer of files, which does what Windows documents of its own.

#pragma once

#include <memory>

#include <windows.h>

#include "support/com_object.h"

namespace quillet::test {

/// What a writer refuses to do. Shared with the test.
struct WriterFaults {
  HRESULT create = S_OK;
  bool noFileSink2 = false;
  HRESULT setFileName = S_OK;
};

/// Makes writers, as CLSID_FileWriter does: renderers to which the times of a sample are its place in the file. Where
/// Windows' documentation is silent, it is assumed that SetFileName makes the file or leaves it as it is, and that the
/// file is open while the filter is not stopped, from when it is emptied if the mode is AM_FILE_OVERWRITE. The
/// pin has no IStream, since the tests' multiplexer needs none.
ClassObjectOverride::Create fileWriter(std::shared_ptr<WriterFaults> faults);

}  // namespace quillet::test
