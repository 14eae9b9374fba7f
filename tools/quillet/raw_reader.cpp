#include "raw_reader.h"

#include <algorithm>
#include <string>

#include "failure.h"
#include "library_stream.h"

namespace quillet::client {

bool RawReader::next(RawSample& sample) {
  // Ends: every turn comes farther.
  while (searched < stream.duration()) {
    if (!read(sample)) {
      passOver();
    } else if (sample.number < firstUnread) {
      ++searched;
    } else {
      firstUnread = sample.number + std::max(sample.count, 1L);
      searched = std::max(firstUnread, searched + 1);
      return true;
    }
  }
  return false;
}

/// Reads the sample that covers the number searched.
/// @return false when the stream has none for it, but may have later ones.
bool RawReader::read(RawSample& sample) {
  sample = {};
  sample.number = searched;
  sample.data = stream.getData(sample.number, sample.count, sample.bytes, sample.isKey);
  const int notFound =
      stream.usesDirectShow() ? static_cast<int>(ds_error::dataNotFound) : static_cast<int>(vfw_error::dataNotFound);
  if (sample.data == nullptr && stream.lastError != notFound) {
    throw Failure("sample " + std::to_string(searched) + ": " + lastErrorText(stream));
  }
  return sample.data != nullptr;
}

/// Goes on behind a number without a sample: at the next one, where the backend knows it.
void RawReader::passOver() {
  long next = searched;
  stream.StreamSampleToTime(next);
  searched = std::max(next, searched + 1);
}

}  // namespace quillet::client
