// The compressed samples of a stream, one after the other.

#pragma once

#include <quillet/quillet.h>

namespace quillet::client {

struct RawSample {
  unsigned char* data = nullptr;  ///< Valid until the next sample is read.
  long number = 0;
  long count = 0;  ///< Numbers that it covers.
  long bytes = 0;
  bool isKey = false;
};

/// Reads each sample once, in order. Numbers that the stream has no sample for are passed over.
class RawReader {
 public:
  explicit RawReader(RawDataSourceStream& stream) : stream(stream) {}

  /// @return false at the end.
  bool next(RawSample& sample);

  /// The number from which the next sample is searched.
  long position() const { return searched; }

 private:
  bool read(RawSample& sample);
  void passOver();

  RawDataSourceStream& stream;
  long searched = 0;
  long firstUnread = 0;  // A sample that is empty or missing is served by an earlier one, which was read.
};

}  // namespace quillet::client
