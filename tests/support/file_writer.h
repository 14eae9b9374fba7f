// The platform's writer of files, with IFileSinkFilter2, which Wine's lacks.

#pragma once

#include <memory>

#include <windows.h>

#include "support/com_object.h"

namespace quillet::test {

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
