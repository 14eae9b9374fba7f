// The waveform of an audio stream: what a picture of it shows in each of its columns.

#pragma once

#include <vector>

#include <quillet/quillet.h>

namespace quillet::client {

/// What the samples of a column reach, as parts of full scale: -1 to 1.
struct Peak {
  float least = 0.0F;
  float greatest = 0.0F;
  float rms = 0.0F;
};

/// Reads a run of samples once, in order, and shares it out evenly among columns. Piece by piece, so that the caller can
/// show what is there, or leave off, in between. To be used on the stream's own thread.
class PeakReader {
 public:
  /// @param last number of the last sample, which belongs to the run.
  /// @param columns at least 1. When there are more of them than samples, neighbours show the same sample.
  PeakReader(AudioSourceStream& stream, long first, long last, long columns);

  /// Reads the next piece; a Failure when the stream does not give it. The stream's lastError then tells of warnings.
  /// @return false, with nothing read, when the run is at its end.
  bool readPiece();

  long samplesDone() const { return position; }
  long samplesTotal() const { return total; }

  /// Columns that are complete, from the left.
  long columnsDone() const { return column; }

  int channels() const { return channelCount; }

  /// The columns of a channel. Those not complete yet are silent.
  const std::vector<Peak>& peaks(int channel) const { return peaksOf[channel]; }

 private:
  /// What is known of the present column of one channel.
  struct Sum {
    float least = 0.0F;
    float greatest = 0.0F;
    double squares = 0.0;
    long count = 0;
  };

  long columnBegin(long number) const;
  long columnEnd(long number) const;
  void add(const unsigned char* samples, long count);
  void finishColumn();

  AudioSourceStream& stream;
  const long first;
  const long total;
  const long columns;
  const int channelCount;
  const int sampleSize;  // In bytes.
  const int valueSize;
  long position = 0;  // Both from the first sample of the run.
  long column = 0;
  std::vector<Sum> sums;
  std::vector<std::vector<Peak>> peaksOf;
};

}  // namespace quillet::client
