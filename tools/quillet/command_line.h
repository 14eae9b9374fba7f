// The parsed command line of one command, and the help made from the command's description.

#pragma once

#include <map>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "command.h"

namespace quillet::client {

extern const Option quietOption;
extern const Option helpOption;

/// What the user gave, by the names that the command's description has: "FILE", "--output".
class CommandLine {
 public:
  /// @param words what follows the command's name. "-1" is a value and no option; after "--" every word is a value.
  CommandLine(const Command& command, std::span<wchar_t* const> words);

  bool has(const char* name) const { return values.contains(name); }

  /// The value of something that was given.
  const std::wstring& text(const char* name) const { return values.at(name); }

  /// The same as a whole number of 32 bits.
  long number(const char* name) const;

  /// The same of an argument that repeats, each number once, the lowest first.
  std::set<long> numbers(const char* name) const;

  /// The same, refused as wrong usage when it is not from `least` to `most`; `fallback` when it was not given.
  long numberOr(long fallback, const char* name, long least, long most) const;

  /// The same as a number that may have a fraction, within the range of 32 bits.
  double decimal(const char* name) const;

 private:
  /// @param word from where the option is taken; left at the option's last word.
  void takeOption(const Command& command, std::span<wchar_t* const> words, std::size_t& word);
  void requireAll(const Command& command) const;

  std::map<std::string, std::wstring, std::less<>> values;
  std::vector<std::wstring> repeated;  // All values of the argument that repeats, of which `values` has the first.
};

/// The text of `quillet COMMAND --help`.
std::string helpText(const Command& command);

}  // namespace quillet::client
