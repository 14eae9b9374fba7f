// The compressed samples of a stream, one after the other.

#pragma once

#include <string>

#include <quillet/quillet.h>

namespace quillet::client {

struct RawSample {
  unsigned char* data = nullptr;  ///< Valid until the next sample is read.
  long number = 0;
  long count = 0;  ///< Numbers that it covers.
  long bytes = 0;
  bool isKey = false;
  double ms = -1.0;  ///< When it begins; below 0 when the backend cannot tell it.
};

/// Reads each sample once, in the order in which they are stored, and without a seek.
class RawReader {
 public:
  explicit RawReader(RawDataSourceStream& stream);

  /// @return false at the end, and where the stream breaks off.
  bool next(RawSample& sample) { return inOrder != nullptr ? nextInOrder(sample) : nextByNumber(sample); }

  /// What of the stream could not be read, in words; empty for nothing. To be asked at the end.
  const std::string& missing() const { return lacking; }

 private:
  bool nextInOrder(RawSample& sample);
  bool nextByNumber(RawSample& sample);
  void lacks(const std::string& what);

  RawDataSourceStream& stream;
  // The same, where its numbers do not name every sample: with DirectShow. Otherwise null.
  DSRawDataSourceStream* const inOrder;
  long searched = 0;    // By number.
  long highestEnd = 0;  // A number without a sample of its own is served by an earlier one, which was read.
  long lastCount = 1;
  long samplesRead = 0;
  std::string lacking;
};

}  // namespace quillet::client
