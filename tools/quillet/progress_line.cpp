#include "progress_line.h"

#include <cstdio>
#include <utility>

namespace quillet::client {
namespace {

constexpr ULONGLONG patienceMs = 500;
constexpr ULONGLONG intervalMs = 100;

bool stderrIsTerminal() {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
}

}  // namespace

ProgressLine::ProgressLine(std::string label)
    : label(std::move(label)), isTerminal(stderrIsTerminal()), nextShow(GetTickCount64() + patienceMs) {}

ProgressLine::~ProgressLine() {
  if (shownLength > 0) {
    std::fprintf(stderr, "\r%*s\r", static_cast<int>(shownLength), "");
  }
}

void ProgressLine::show(long long done, long long total) {
  const ULONGLONG now = GetTickCount64();
  if (!isTerminal || now < nextShow || total <= 0) {
    return;
  }
  nextShow = now + intervalMs;
  const std::string line = label + ": " + std::to_string(done * 100 / total) + " %";
  shownLength = line.size();
  std::fprintf(stderr, "\r%s", line.c_str());
  std::fflush(stderr);
}

}  // namespace quillet::client
