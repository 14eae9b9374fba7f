// A command of the program, described once: the description serves the parser, the help and main's look-up.

#pragma once

#include <span>

namespace quillet::client {

class CommandLine;

/// What a command takes by position. All are required.
struct Argument {
  const char* name;
  const char* help;
  bool repeats = false;  ///< Of the last one: it may be given several times.
};

/// What a command takes by name, anywhere on its command line.
struct Option {
  const char* name;       ///< With its dashes: "--output".
  const char* valueName;  ///< Null for a switch.
  const char* help;
  const char* shortName = nullptr;  ///< With its dash: "-o".
  bool required = false;
};

struct Command {
  const char* name;
  const char* summary;
  std::span<const Argument> arguments;
  std::span<const Option> options;  ///< Without --quiet and --help, which every command has.
  void (*run)(const CommandLine& line);
};

extern const Command infoCommand;
extern const Command frameCommand;
extern const Command rawCommand;
extern const Command samplesCommand;
extern const Command sheetCommand;
extern const Command waveCommand;
extern const Command timeCommand;
extern const Command copyCommand;
extern const Command convertCommand;

}  // namespace quillet::client
