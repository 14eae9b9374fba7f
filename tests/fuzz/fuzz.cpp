// Feeds damaged media files to the library. Child processes work through batches of them; what a child dies of is laid to
// a module and to the one file that it was at, and the next child goes on after that.

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>

#include <quillet/thread.h>

#include "fuzz.h"

namespace quillet::test {
namespace {

constexpr long batchSize = 200;
constexpr long directShowEvery = 10;        // Graphs take their time.
constexpr DWORD operationLimitMs = 60'000;  // Wine may take more than half of it to give up building a graph.

/// What a child has died of, and what it was at.
struct Death {
  std::string cause;
  std::string detail;
  std::string culprit;  // Nothing where an answer cannot be.
  std::string operation;
};

std::string operation;
HANDLE beat = nullptr;  // Signalled by every operation.

/// Tells the parent a line.
void tell(const std::string& line) {
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), (line + '\n').data(), static_cast<DWORD>(line.size() + 1), &written,
            nullptr);
}

[[noreturn]] void die(const std::string& cause, const std::string& detail, const std::string& culprit) {
  static std::atomic<bool> isDying = false;
  if (isDying.exchange(true)) {
    Sleep(INFINITE);  // Ends: of several threads that die the first counts, and ends the process.
  }
  tell(cause + '\t' + detail + '\t' + culprit + '\t' + operation);
  TerminateProcess(GetCurrentProcess(), EXIT_FAILURE);
  std::abort();  // Not reached.
}

LONG WINAPI dieOfException(EXCEPTION_POINTERS* exception) {
  char cause[32];
  std::snprintf(cause, sizeof cause, "exception %08lx", exception->ExceptionRecord->ExceptionCode);
  die(cause, "", culpritOf(*exception->ContextRecord));
}

void dieOfAbort(int) {
  die("abort", "", culpritAbove(__builtin_frame_address(0)));
}

DWORD WINAPI watch(void* thread) {
  // Ends: with the process, at the latest when an operation has taken too long.
  while (WaitForSingleObject(beat, operationLimitMs) == WAIT_OBJECT_0) {
  }
  die("hang", "", culpritOf(static_cast<HANDLE>(thread)));
}

/// Sees that whatever the calling thread dies of or hangs in is reported.
void becomeChild() {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  SetUnhandledExceptionFilter(dieOfException);
  for (const char* const runtime : {"msvcrt.dll", "ucrtbase.dll"}) {  // A module aborts by its own.
    using Signal = void(__cdecl * (__cdecl*)(int, void(__cdecl*)(int)))(int);
    const auto set = reinterpret_cast<Signal>(reinterpret_cast<void*>(GetProcAddress(LoadLibraryA(runtime), "signal")));
    if (set != nullptr) {
      set(SIGABRT, dieOfAbort);
    }
  }
  HANDLE self = nullptr;
  DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &self, 0, FALSE, DUPLICATE_SAME_ACCESS);
  beat = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  CloseHandle(CreateThread(nullptr, 0, watch, self, 0, nullptr));
  QuilletThread();
}

/// Files of a seed, from one number up to another or for as long as there is time.
struct Batch {
  unsigned seed;
  long first, end;
  ULONGLONG deadline;

  bool isOver() const { return first >= end || GetTickCount64() >= deadline; }
};

/// The child.
void workThrough(Batch batch, const std::string& folder) {
  becomeChild();
  for (; !batch.isOver(); tell(std::to_string(++batch.first))) {
    const Mutant mutant = makeMutant(batch.seed, batch.first);
    const std::string name = folder + "\\mutant" + mutant.extension;
    writeFile(name.c_str(), mutant.content);
    for (const bool directShow : {false, true}) {
      for (const bool raw : {false, true}) {
        for (const bool video : {true, false}) {
          const bool isThere = video ? mutant.hasVideo : mutant.hasAudio;
          if (isThere && (!directShow || batch.first % directShowEvery == 0)) {
            checkStream(name.c_str(), video, raw, directShow);
          }
        }
      }
    }
  }
  TerminateProcess(GetCurrentProcess(), EXIT_SUCCESS);  // What the platform does at its end is not the library's.
}

/// The parent.
class Fuzzer {
 public:
  explicit Fuzzer(const char* program) : program(program) {}

  void run(Batch batch) {
    const long begin = batch.first;
    while (!batch.isOver()) {
      Batch next = batch;
      next.end = std::min(batch.first + batchSize, batch.end);
      const Death death = runChild(next, batch.first);
      if (!death.cause.empty()) {
        note(death, batch.seed, batch.first++);
      }
    }
    tried = batch.first - begin;
  }

  /// @return whether nothing was found that the library has to answer for.
  bool printTable() const {
    long ours = 0;
    for (const auto& [key, finding] : findings) {
      std::printf("%s %s x %ld\n    first: %s", finding.isOurs ? "FAULT   " : "platform", key.c_str(), finding.count,
                  finding.first.c_str());
      ours += finding.isOurs ? finding.count : 0;
    }
    std::printf("%ld files tried, every %ldth over DirectShow, too: %ld faults, %ld deaths in the platform\n", tried,
                directShowEvery, ours, found - ours);
    return ours == 0;
  }

 private:
  struct Finding {
    long count;
    bool isOurs;
    std::string first;
  };

  /// @param number of the file that the child is at.
  Death runChild(const Batch& batch, long& number) const {
    // The shell takes the outer quotes away, and then leaves the inner ones alone.
    const std::string command = "\"\"" + program + "\" " + std::to_string(batch.seed) + ' ' +
                                std::to_string(batch.first) + ' ' + std::to_string(batch.end) + ' ' +
                                std::to_string(batch.deadline) + " \"" + folder.name() + "\" child\"";
    FILE* const child = _popen(command.c_str(), "r");
    Death death;
    // Ends: a child ends, or goes on to its next operation, of which there are finitely many; it watches itself.
    for (char line[2000]; std::fgets(line, sizeof line, child) != nullptr;) {
      if (line[0] <= '9') {
        number = std::atol(line);
        continue;
      }
      std::istringstream words(line);
      for (std::string* const word : {&death.cause, &death.detail, &death.culprit, &death.operation}) {
        std::getline(words, *word, word == &death.operation ? '\n' : '\t');
      }
    }
    const int code = _pclose(child);
    if (code != EXIT_SUCCESS && death.cause.empty()) {
      death.cause = "exit code " + std::to_string(code);
    }
    return death;
  }

  void note(const Death& death, unsigned seed, long number) {
    const std::string& site = death.culprit;
    const bool isBroken = site.empty() && !death.detail.empty();
    const std::string module = isBroken ? "answer" : site.empty() ? "unknown" : site.substr(0, site.find('+'));
    Finding& finding =
        findings[module + ", " + death.cause + ", " + death.operation.substr(0, death.operation.find('('))];
    ++found;
    if (++finding.count == 1) {
      finding.isOurs = isBroken || module.starts_with("quillet");
      finding.first = std::to_string(number) + ": " + makeMutant(seed, number).recipe + "\n    " + death.operation +
                      ' ' + death.detail + site + "\n    again: scripts/fuzz.sh --mutant " + std::to_string(number) +
                      ' ' + std::to_string(seed) + " [FILE]\n";
    }
  }

  const std::string program;
  const TempFolder folder;
  std::map<std::string, Finding> findings;
  long tried = 0;
  long found = 0;
};

}  // namespace

void enter(const std::string& name) {
  // What lies on the stack later on is of this operation, and nobody is blamed for what was called before.
  volatile char wiped[0x8000];
  std::fill(std::begin(wiped), std::end(wiped), 0);
  operation = name;
  SetEvent(beat);
}

void reportBroken(const std::string& what, const std::string& detail) {
  die(what, detail, "");
}

}  // namespace quillet::test

int main(int argc, char** argv) {
  using namespace quillet::test;
  if (argc < 5) {
    std::fputs("quillet_fuzz SEED FIRST END SECONDS [FILE]\n", stderr);  // FILE gets the first of them.
    return 2;
  }
  const auto number = [&](int i) { return std::strtoull(argv[i], nullptr, 10); };
  Batch batch = {static_cast<unsigned>(number(1)), static_cast<long>(number(2)), static_cast<long>(number(3)),
                 number(4)};
  if (argc == 7) {
    workThrough(batch, argv[5]);
  }
  if (argc == 6) {
    writeFile(argv[5], makeMutant(batch.seed, batch.first).content);
  }
  batch.deadline = GetTickCount64() + batch.deadline * 1000;
  Fuzzer fuzzer(argv[0]);
  fuzzer.run(batch);
  return fuzzer.printTable() ? EXIT_SUCCESS : EXIT_FAILURE;
}
