// Runs one of the long runs; the status is 0 when all was well.

#include "soak/soak.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include <windows.h>

#include <quillet/thread.h>

namespace {

/// Ends the process at once: what would run otherwise may wait for a lock that the thread holds which has crashed.
LONG WINAPI dieOfException(EXCEPTION_POINTERS* exception) {
  std::printf("exception %08lx\n", exception->ExceptionRecord->ExceptionCode);
  TerminateProcess(GetCurrentProcess(), EXIT_FAILURE);
  return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace quillet::bench;
  std::setvbuf(stdout, nullptr, _IONBF, 0);  // A program that dies must show what it was at.
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  SetUnhandledExceptionFilter(dieOfException);
  QuilletThread();
  const std::string command = argc > 3 ? argv[1] : "";
  const std::string what = argc > 2 ? argv[2] : "";
  const auto number = [&](int i) { return std::strtoul(argv[i], nullptr, 10); };
  if (command == "rounds") {
    return leavesNoMoreThanThePlatform(what == "ds", static_cast<long>(number(3))) ? EXIT_SUCCESS : EXIT_FAILURE;
  }
  if (command == "threads" && argc == 7) {
    const bool bare = argv[3] == std::string("bare");
    return readsRightOnThreads(what, bare, number(4), number(5), number(6)) ? EXIT_SUCCESS : EXIT_FAILURE;
  }
  std::fputs("quillet_soak rounds vfw|ds ROUNDS | threads vfw|codecs|ds library|bare THREADS SECONDS SEED\n", stderr);
  return 2;
}
