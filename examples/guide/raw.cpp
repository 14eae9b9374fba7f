// raw FILE: lists the compressed frames of a video, as the file stores them.

#include <quillet/quillet.h>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace {

struct Totals {
  long samples = 0;
  long long bytes = 0;

  void add(long number, long sampleBytes, bool isKey) {
    ++samples;
    bytes += sampleBytes;
    if (isKey) {
      std::printf("key frame %ld: %ld bytes\n", number, sampleBytes);
    }
  }
};

// Over DirectShow a number tells a time, and two samples may share one: all of them come in stored order only.
void listInOrder(DSRawDataSourceStream& raw, Totals& totals) {
  long number = 0;
  long count = 0;
  long bytes = 0;
  bool isKey = false;
  double ms = 0.0;
  while (raw.getNextData(number, count, bytes, isKey, ms) != nullptr) {
    totals.add(number, bytes, isKey);
  }
}

// Over Video for Windows each sample has numbers of its own. One that holds nothing gives the sample before it once more.
void listByNumber(RawDataSourceStream& raw, Totals& totals) {
  for (long wanted = 0; wanted < raw.duration();) {
    long number = wanted;
    long count = 0;
    long bytes = 0;
    bool isKey = false;
    if (raw.getData(number, count, bytes, isKey) == nullptr) {
      return;
    }
    if (number >= wanted) {
      totals.add(number, bytes, isKey);
    }
    wanted = std::max(wanted + 1, number + count);
  }
}

}  // namespace

int wmain(int argc, wchar_t* argv[]) {
  if (argc != 2) {
    std::puts("usage: raw FILE");
    return 2;
  }
  QuilletThread();
  const std::unique_ptr<RawDataSourceStream> raw(RawDataSourceStream::open(argv[1], true, 0, nullptr));
  if (raw == nullptr || raw->duration() < 0) {  // A stream without a key sample is open, though its code is fatal.
    std::puts(raw != nullptr ? raw->ErrorMessage(raw->lastError) : "not enough memory");
    return 1;
  }

  Totals totals;
  if (auto* const inOrder = dynamic_cast<DSRawDataSourceStream*>(raw.get())) {
    listInOrder(*inOrder, totals);
  } else {
    listByNumber(*raw, totals);
  }
  const bool hasEnded = raw->lastError == 0 || raw->lastError == quillet::ds_error::sampleBeyondData;
  std::printf("%ld samples, %lld bytes%s%s\n", totals.samples, totals.bytes,
              hasEnded ? "" : "; then: ", hasEnded ? "" : raw->ErrorMessage(raw->lastError));
  return 0;
}
