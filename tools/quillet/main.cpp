// quillet.exe: a command-line client of the Quillet library.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <span>
#include <string>

#include <windows.h>

#include <quillet/quillet.h>

#include "command.h"
#include "command_line.h"
#include "interruption.h"
#include "progress_line.h"
#include "shared/failure.h"
#include "shared/text.h"

namespace quillet::client {
namespace {

constexpr const Command* commands[] = {&infoCommand, &frameCommand, &sheetCommand, &rawCommand,    &samplesCommand,
                                       &waveCommand, &timeCommand,  &copyCommand,  &convertCommand};

/// The console shows the program's UTF-8 while this lives.
class Utf8Console {
 public:
  Utf8Console() : codePage(GetConsoleOutputCP()) { SetConsoleOutputCP(CP_UTF8); }
  Utf8Console(const Utf8Console&) = delete;
  Utf8Console& operator=(const Utf8Console&) = delete;
  ~Utf8Console() { SetConsoleOutputCP(codePage); }

 private:
  UINT codePage;
};

std::string programHelp() {
  std::size_t width = 0;
  for (const Command* command : commands) {
    width = std::max(width, std::strlen(command->name));
  }
  std::string text =
      "Usage: quillet COMMAND ...\n"
      "       quillet --help | --version\n\n"
      "Exact frames and samples of media files, by number.\n\n"
      "Commands:\n";
  for (const Command* command : commands) {
    text += std::string("  ") + command->name + std::string(width - std::strlen(command->name) + 2, ' ') +
            command->summary + "\n";
  }
  return text + "\n'quillet COMMAND --help' tells what a command takes.\n";
}

const Command& findCommand(const std::string& name) {
  const auto* const found =
      std::ranges::find_if(commands, [&](const Command* command) { return command->name == name; });
  if (found == std::end(commands)) {
    throw wrongUsage("unknown command '" + name + "'");
  }
  return **found;
}

void runCommand(const Command& command, std::span<wchar_t* const> words) {
  const CommandLine line(command, words);
  if (line.has(helpOption.name)) {
    std::fputs(helpText(command).c_str(), stdout);
    return;
  }
  if (line.has(quietOption.name)) {
    ProgressLine::disable();
  }
  command.run(line);
}

/// @param failure of which nothing is said when the user has interrupted the command: whatever it is, it comes from that.
ExitStatus report(const Failure& failure, const std::string& helpCall) {
  if (isInterrupted()) {
    std::fputs("quillet: interrupted\n", stderr);
    return ExitStatus::interrupted;
  }
  std::fprintf(stderr, "quillet: %s\n", failure.what());
  if (failure.status() == ExitStatus::wrongUsage) {
    std::fprintf(stderr, "Try '%s'.\n", helpCall.c_str());
  }
  return failure.status();
}

/// @param words the command line without the program's name.
ExitStatus runProgram(std::span<wchar_t* const> words) {
  if (words.empty()) {
    std::fputs(programHelp().c_str(), stderr);
    return ExitStatus::wrongUsage;
  }
  std::string helpCall = "quillet --help";
  try {
    const std::string first = toUtf8(words.front());
    if (first == helpOption.name || first == helpOption.shortName) {
      std::fputs(programHelp().c_str(), stdout);
    } else if (first == "--version") {
      std::fputs("quillet " QUILLET_VERSION "\n", stdout);
    } else {
      const Command& command = findCommand(first);
      helpCall = std::string("quillet ") + command.name + " --help";
      runCommand(command, words.subspan(1));
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
      throw Failure("cannot write to standard output");
    }
  } catch (const Failure& failure) {
    return report(failure, helpCall);
  } catch (const std::exception& exception) {
    return report(Failure(exception.what()), helpCall);
  }
  return ExitStatus::done;
}

}  // namespace
}  // namespace quillet::client

int wmain(int argc, wchar_t* argv[]) {
  quillet::client::watchForInterruption();
  QuilletThread();
  const quillet::client::Utf8Console console;
  const std::span<wchar_t* const> words(argv, argc);
  return static_cast<int>(quillet::client::runProgram(words.subspan(std::min<std::size_t>(1, words.size()))));
}
