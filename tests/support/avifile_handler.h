// A handler of .avi files that plays a script instead of reading a file, and keeps in it what is written, behind the real
// AVIFile functions.

#pragma once

#include <limits>
#include <memory>
#include <set>
#include <vector>

#include <windows.h>

#include <vfw.h>

#include "support/com_object.h"
#include "support/temp_file.h"

namespace quillet::test {

/// What a stream answers.
struct AviScriptStream {
  AVISTREAMINFOW info = {};  // The length is that of `samples` unless the test changes it.
  Bytes format = {};
  std::vector<Bytes> samples = {};  // By number; an empty one is a dropped frame.
  std::set<long> deltas = {};       // Samples that are no key samples.
  std::set<long> unreadable = {};   // A read that touches one of them fails.
  long samplesPerRead = std::numeric_limits<long>::max();
  bool hasInfo = true;   // Otherwise the stream refuses to tell its info.
  bool canSeek = true;   // Otherwise it finds no sample.
  long claimedSize = 0;  // What it says of the size of a sample that is smaller.
  Bytes packedDib = {};  // If any, what it makes of each frame by itself.
};

AviScriptStream aviScriptVideo(const BITMAPINFOHEADER& format, DWORD rate, DWORD scale, std::vector<Bytes> frames);

/// @param format a WAVEFORMATEX with what belongs to it.
/// @param blocks all of the format's nBlockAlign bytes.
/// @param rate blocks in `scale` seconds.
AviScriptStream aviScriptAudio(const Bytes& format, DWORD rate, DWORD scale, std::vector<Bytes> blocks);

/// A call that reached a stream.
struct AviScriptCall {
  enum Kind { findSample, read, write };
  Kind kind;
  long position;
  long count = 0;  // Samples that a read or write asks for.
  DWORD stream = 0;
  DWORD flags = 0;  // Of a write.
  bool operator==(const AviScriptCall&) const = default;
};

struct AviScript {
  std::vector<AviScriptStream> streams;  // Those of a file that is written are added here.
  std::vector<AviScriptCall> calls = {};
  long samplesPerWrite = std::numeric_limits<long>::max();  // A write takes no more of them.
  bool keepsSamples = true;                                 // Otherwise it only counts what is written.
  long long bytesLost = 0;                                  // That the file lacks at the end; beyond all, it is gone.
  long long bytesWritten = 0;
  std::set<DWORD> refusedFormats = {};  // The kinds of streams that take no format.

  int count(AviScriptCall::Kind kind) const;
};

/// While it lives, every .avi file that is opened plays `script`.
class AviFileHandler {
 public:
  explicit AviFileHandler(std::shared_ptr<AviScript> script);

 private:
  ClassObjectOverride handler;
};

}  // namespace quillet::test
