// What the library's streams give, or in words why they do not.

#pragma once

#include <string>

#include <quillet/quillet.h>

namespace quillet::client {

/// The user's name of the backend.
const char* backendName(bool directShow);

/// The library's text for the stream's last error, with its code and backend. To be read right after the operation that
/// failed: the next one sets the error anew.
std::string lastErrorText(AudioOrVideoStream& stream);

/// Which numbers there are.
/// @param unit "frame" or "sample".
std::string rangeText(const char* unit, long length);

/// Whether the stream's first sample can be had: some files can be opened and not read. Leaves the last error alone
/// unless it cannot.
bool canRead(AudioSourceStream& stream);
bool canRead(RawDataSourceStream& stream);

/// @name Times in milliseconds by an open stream's rate, which no backend rounds
/// @{
double timeOf(VideoSourceStream& stream, long frame);
double timeOf(AudioSourceStream& stream, long sample);
long numberAt(VideoSourceStream& stream, double ms);
long numberAt(AudioSourceStream& stream, double ms);
/// @}

struct DecodedFrame {
  long number;
  unsigned char* bits;  ///< The pixels, as the stream's format() says. Valid until the stream's next call.
};

/// The frame that the stream has in the place of `frame`. A Failure when there is none.
DecodedFrame decodedFrame(VideoSourceStream& stream, long frame);

/// A run of samples, both ends included. Valid until the stream's next call. A Failure when it cannot be had.
unsigned char* decodedSamples(AudioSourceStream& stream, long first, long last);

}  // namespace quillet::client
