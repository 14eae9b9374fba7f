#include "raw_reader.h"

#include <algorithm>

#include "shared/library_stream.h"

namespace quillet::client {

RawReader::RawReader(RawDataSourceStream& stream)
    : stream(stream), inOrder(dynamic_cast<DSRawDataSourceStream*>(&stream)) {
  const long firstKey = stream.firstKeySample();
  if (inOrder == nullptr && firstKey > 0) {
    searched = firstKey;
    lacks("the " + std::to_string(firstKey) + " before the first key sample");
  }
}

bool RawReader::nextInOrder(RawSample& sample) {
  sample = {};
  sample.data = inOrder->getNextData(sample.number, sample.count, sample.bytes, sample.isKey, sample.ms);
  if (sample.data != nullptr) {
    ++samplesRead;
    lastCount = std::max(sample.count, 1L);
    highestEnd = std::max(highestEnd, sample.number + lastCount);
    return true;
  }
  const bool hasEnded = inOrder->lastError == ds_error::sampleBeyondData;
  const std::string reason = hasEnded ? "" : ": " + lastErrorText(*inOrder);
  const long length = stream.duration();
  // A length that follows from a duration may be off by what the last sample covers, and frames may share numbers.
  if (!hasEnded || std::max(highestEnd, samplesRead) + lastCount < length) {
    lacks(std::to_string(highestEnd) + " to " + std::to_string(length - 1) + reason);
  }
  return false;
}

bool RawReader::nextByNumber(RawSample& sample) {
  while (searched < stream.duration()) {  // Ends: every turn comes farther.
    sample = {};
    sample.number = searched;
    sample.ms = stream.StreamSampleToTime(sample.number);  // First: the data are valid until the next call.
    sample.data = stream.getData(sample.number, sample.count, sample.bytes, sample.isKey);
    if (sample.data == nullptr) {
      lacks(std::to_string(searched) + " to " + std::to_string(stream.duration() - 1) + ": " + lastErrorText(stream));
      return false;
    }
    if (sample.number > searched) {
      searched = sample.number;  // Once more, for its time.
    } else if (sample.number < highestEnd) {
      ++searched;
    } else {
      highestEnd = sample.number + std::max(sample.count, 1L);
      searched = std::max(highestEnd, searched + 1);
      return true;
    }
  }
  return false;
}

void RawReader::lacks(const std::string& what) {
  lacking += (lacking.empty() ? "" : ", ") + what;
}

}  // namespace quillet::client
