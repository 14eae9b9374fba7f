// The table of patterns_bench --peer, read by FFMS2 with as many threads as it takes by itself: ffms2_bench FOLDER

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <ffms.h>

#include "patterns.h"

namespace {

/// What the last call has complained about.
class Complaint {
 public:
  FFMS_ErrorInfo* info() { return &error; }

  [[noreturn]] void end() const {
    std::fprintf(stderr, "ffms2_bench: %s\n", error.Buffer);
    std::exit(EXIT_FAILURE);
  }

 private:
  char text[1024] = "";
  FFMS_ErrorInfo error = {FFMS_ERROR_SUCCESS, FFMS_ERROR_SUCCESS, sizeof text, text};
};

using Source = std::unique_ptr<FFMS_VideoSource, decltype(&FFMS_DestroyVideoSource)>;

/// Opens the first video stream of a file, indexed anew, for frames of the kind that the library gives.
Source open(const std::string& path) {
  Complaint complaint;
  FFMS_Indexer* const indexer = FFMS_CreateIndexer(path.c_str(), complaint.info());
  FFMS_Index* const index = indexer != nullptr ? FFMS_DoIndexing2(indexer, FFMS_IEH_ABORT, complaint.info()) : nullptr;
  const int track = index != nullptr ? FFMS_GetFirstTrackOfType(index, FFMS_TYPE_VIDEO, complaint.info()) : -1;
  Source source(
      track >= 0 ? FFMS_CreateVideoSource(path.c_str(), track, index, 0, FFMS_SEEK_NORMAL, complaint.info()) : nullptr,
      FFMS_DestroyVideoSource);
  FFMS_DestroyIndex(index);
  const FFMS_Frame* const frame = source ? FFMS_GetFrame(source.get(), 0, complaint.info()) : nullptr;
  const int formats[] = {FFMS_GetPixFmt("bgr24"), -1};
  if (frame == nullptr || FFMS_SetOutputFormatV2(source.get(), formats, frame->EncodedWidth, frame->EncodedHeight,
                                                 FFMS_RESIZER_BICUBIC, complaint.info()) != 0) {
    complaint.end();
  }
  return source;
}

}  // namespace

int main(int, char** arguments) {
  const std::string folder = arguments[1];
  FFMS_Init(0, 0);
  quillet::bench::printSpeeds([&](const char* file) {
    return [source = open(folder + "/" + file)](long frame) {
      Complaint complaint;
      if (FFMS_GetFrame(source.get(), static_cast<int>(frame), complaint.info()) == nullptr) {
        complaint.end();
      }
    };
  });
}
