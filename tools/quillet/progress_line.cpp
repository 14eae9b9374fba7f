#include "progress_line.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#include "shared/text.h"

namespace quillet::client {
namespace {

constexpr ULONGLONG patienceMs = 500;
constexpr ULONGLONG intervalMs = 100;

bool isDisabled = false;

bool stderrIsTerminal() {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
}

}  // namespace

ProgressLine::ProgressLine(std::string label)
    : label(std::move(label)),
      isShown(!isDisabled && stderrIsTerminal()),
      begin(GetTickCount64()),
      nextShow(begin + patienceMs) {}

ProgressLine::~ProgressLine() {
  if (shownLength > 0) {
    std::fprintf(stderr, "\r%*s\r", static_cast<int>(shownLength), "");
  }
}

void ProgressLine::disable() {
  isDisabled = true;
}

void ProgressLine::show(long long done, long long total, const char* unit) {
  const ULONGLONG now = GetTickCount64();
  if (!isShown || now < nextShow || done <= 0 || total < done) {
    return;
  }
  nextShow = now + intervalMs;
  constexpr double msPerSecond = 1000.0;
  const auto elapsed = static_cast<double>(now - begin);
  const double rate = static_cast<double>(done) * msPerSecond / elapsed;
  const std::string left = timeText(elapsed * static_cast<double>(total - done) / static_cast<double>(done));
  char line[128];
  std::snprintf(line, sizeof line, "%s: %lld %%, %.*f %s/s, %s left", label.c_str(), done * 100 / total,
                rate < 10.0 ? 1 : 0, rate, unit, left.substr(0, left.find('.')).c_str());
  std::fprintf(stderr, "\r%-*s", static_cast<int>(shownLength), line);
  std::fflush(stderr);
  shownLength = std::max(shownLength, std::strlen(line));
}

}  // namespace quillet::client
