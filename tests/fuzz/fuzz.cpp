// Feeds damaged media files to the library. Child processes work through batches of them; what a child dies of is laid to
// a module and to the one file that it was at, and the next child goes on after that.

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include <windows.h>

#include <quillet/thread.h>

#include "blame.h"
#include "core/handles.h"
#include "mutants.h"
#include "stream_checks.h"

namespace quillet::test {
namespace {

constexpr long batchSize = 200;
constexpr long directShowEvery = 10;                  // Graphs take their time.
constexpr DWORD operationLimitMs = 60'000;            // Wine may take more than half of it to give up building a graph.
constexpr DWORD childLimitMs = 2 * operationLimitMs;  // For a child that cannot even judge itself.

/// What a child tells its parent: what it is at and, at the end, what of.
struct Report {
  long number;
  long operations;
  char operation[80];
  char cause[80];
  char detail[160];
  char culprit[80];  // Nothing where an answer cannot be.
};

Report* report = nullptr;
HANDLE beat = nullptr;  // Signalled by every operation.

template <std::size_t size>
void put(char (&text)[size], const std::string& value) {
  std::snprintf(text, size, "%s", value.c_str());
}

[[noreturn]] void die(const std::string& cause, const std::string& detail, const std::string& culprit) {
  if (report->cause[0] == 0) {  // Of several threads that die the first counts.
    put(report->culprit, culprit);
    put(report->detail, detail);
    put(report->cause, cause);
  }
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

/// Makes or opens what a child and its parent share.
KernelHandle shareReport(const std::string& folder) {
  const std::string name = folder.substr(folder.rfind('\\') + 1);
  KernelHandle mapping(
      CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(Report), name.c_str()));
  report = static_cast<Report*>(MapViewOfFile(mapping.get(), FILE_MAP_WRITE, 0, 0, 0));
  return mapping;
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
  const KernelHandle mapping = shareReport(folder);
  becomeChild();
  for (; !batch.isOver(); report->number = ++batch.first) {
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
      runChild({batch.seed, batch.first, std::min(batch.first + batchSize, batch.end), batch.deadline});
      batch.first = report->number;
      if (report->cause[0] != 0) {
        note(batch.seed, batch.first++);
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

  void runChild(const Batch& batch) {
    *report = {};
    report->number = batch.first;
    std::string command = '"' + program + "\" " + std::to_string(batch.seed) + ' ' + std::to_string(batch.first) + ' ' +
                          std::to_string(batch.end) + ' ' + std::to_string(batch.deadline) + ' ' + folder.name() +
                          " child";
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information = {};
    if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &information)) {
      std::abort();
    }
    const KernelHandle process(information.hProcess);
    const KernelHandle thread(information.hThread);
    // Ends: a child ends or goes on to its next operation, of which there are finitely many, or is ended here.
    for (long seen = -1; WaitForSingleObject(process.get(), childLimitMs) == WAIT_TIMEOUT; seen = report->operations) {
      if (seen == report->operations) {
        put(report->cause, "hang");
        TerminateProcess(process.get(), EXIT_FAILURE);
      }
    }
    DWORD code = EXIT_SUCCESS;
    GetExitCodeProcess(process.get(), &code);
    if (code != EXIT_SUCCESS && report->cause[0] == 0) {
      put(report->cause, "exit code " + std::to_string(code));
    }
  }

  void note(unsigned seed, long number) {
    const std::string site = report->culprit;
    const bool isBroken = site.empty() && report->detail[0] != 0;
    const std::string module = isBroken ? "answer" : site.empty() ? "unknown" : site.substr(0, site.find('+'));
    const std::string operation = report->operation;
    Finding& finding = findings[module + ", " + report->cause + ", " + operation.substr(0, operation.find('('))];
    ++found;
    if (++finding.count == 1) {
      finding.isOurs = isBroken || module.starts_with("quillet");
      finding.first = std::to_string(number) + ": " + makeMutant(seed, number).recipe + "\n    " + operation + ' ' +
                      report->detail + site + "\n    again: scripts/fuzz.sh --mutant " + std::to_string(number) + ' ' +
                      std::to_string(seed) + " [FILE]\n";
    }
  }

  const std::string program;
  const TempFolder folder;
  const KernelHandle mapping = shareReport(folder.name());
  std::map<std::string, Finding> findings;
  long tried = 0;
  long found = 0;
};

}  // namespace

void enter(const std::string& operation) {
  // What lies on the stack later on is of this operation, and nobody is blamed for what was called before.
  volatile char wiped[0x8000];
  std::fill(std::begin(wiped), std::end(wiped), 0);
  put(report->operation, operation);
  ++report->operations;
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
