// A line on the terminal that tells how far long work has come.

#pragma once

#include <string>

#include <windows.h>

namespace quillet::client {

/// Shown on stderr when that is a terminal and the work is not done at once; gone when the work is done.
class ProgressLine {
 public:
  /// @param label what is being done.
  explicit ProgressLine(std::string label);
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ~ProgressLine();

  /// No line is shown from here on.
  static void disable();

  /// @param unit what is counted, "frames" or "samples".
  void show(long long done, long long total, const char* unit);

 private:
  std::string label;
  bool isShown;
  ULONGLONG begin;
  ULONGLONG nextShow;
  std::size_t shownLength = 0;
};

}  // namespace quillet::client
