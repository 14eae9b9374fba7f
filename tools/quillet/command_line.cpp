#include "command_line.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>
#include <system_error>
#include <utility>

#include "shared/failure.h"
#include "shared/text.h"

namespace quillet::client {

const Option quietOption = {"--quiet", nullptr, "show no progress", "-q"};
const Option helpOption = {"--help", nullptr, "show this help", "-h"};

namespace {

constexpr const Option* commonOptions[] = {&quietOption, &helpOption};

bool isOption(std::wstring_view word) {
  // Negative numbers are values.
  return word.size() > 1 && word[0] == L'-' && !(word[1] >= L'0' && word[1] <= L'9');
}

bool isNamed(const Option& option, std::string_view name) {
  return option.name == name || (option.shortName != nullptr && option.shortName == name);
}

const Option& findOption(const Command& command, const std::string& name) {
  for (const Option* common : commonOptions) {
    if (isNamed(*common, name)) {
      return *common;
    }
  }
  const auto found = std::ranges::find_if(command.options, [&](const Option& option) { return isNamed(option, name); });
  if (found == command.options.end()) {
    throw wrongUsage("unknown option '" + name + "'");
  }
  return *found;
}

/// Parses the whole text: no blank, sign or unit around the number.
template <class Number>
Number parsed(const char* name, const std::wstring& value, const char* kind) {
  const std::string digits = toUtf8(value);
  const char* const end = digits.data() + digits.size();
  Number number = {};
  const auto [stop, error] = std::from_chars(digits.data(), end, number);
  if (error == std::errc::result_out_of_range) {
    throw wrongUsage(std::string(name) + ": '" + digits + "' is outside the range of 32 bits");
  }
  if (error != std::errc() || stop != end) {
    throw wrongUsage(std::string(name) + ": '" + digits + "' is not " + kind);
  }
  return number;
}

std::string withValue(const char* name, const Option& option) {
  return option.valueName != nullptr ? std::string(name) + " " + option.valueName : name;
}

std::string optionLabel(const Option& option) {
  const std::string shortName = option.shortName != nullptr ? std::string(option.shortName) + ", " : "    ";
  return shortName + withValue(option.name, option);
}

using HelpLines = std::vector<std::pair<std::string, const char*>>;

std::string inColumns(const char* title, const HelpLines& lines) {
  std::size_t width = 0;
  for (const auto& [label, help] : lines) {
    width = std::max(width, label.size());
  }
  std::string text = std::string("\n") + title + ":\n";
  for (const auto& [label, help] : lines) {
    text += "  " + label + std::string(width - label.size() + 2, ' ') + help + "\n";
  }
  return text;
}

}  // namespace

CommandLine::CommandLine(const Command& command, std::span<wchar_t* const> words) {
  bool optionsEnded = false;
  auto argument = command.arguments.begin();
  for (std::size_t word = 0; word < words.size(); ++word) {
    const std::wstring_view text = words[word];
    if (!optionsEnded && text == L"--") {
      optionsEnded = true;
    } else if (!optionsEnded && isOption(text)) {
      takeOption(command, words, word);
    } else if (argument != command.arguments.end()) {
      values.emplace(argument->name, text);
      if (argument->repeats) {
        repeated.emplace_back(text);
      } else {
        ++argument;
      }
    } else {
      throw wrongUsage("unexpected argument '" + toUtf8(text) + "'");
    }
  }
  if (!has(helpOption.name)) {
    requireAll(command);
  }
}

void CommandLine::takeOption(const Command& command, std::span<wchar_t* const> words, std::size_t& word) {
  const std::wstring_view text = words[word];
  const std::size_t equals = text.find(L'=');
  const std::string name = toUtf8(text.substr(0, equals));
  const Option& option = findOption(command, name);

  std::wstring value;
  if (equals != std::wstring_view::npos) {
    value = text.substr(equals + 1);
  }
  if (option.valueName == nullptr && equals != std::wstring_view::npos) {
    throw wrongUsage("option '" + name + "' takes no value");
  }
  if (option.valueName != nullptr && equals == std::wstring_view::npos) {
    if (++word == words.size()) {
      throw wrongUsage("option '" + name + "' needs a value");
    }
    value = words[word];
  }
  if (!values.emplace(option.name, value).second) {
    throw wrongUsage("option '" + name + "' is given twice");
  }
}

void CommandLine::requireAll(const Command& command) const {
  for (const Argument& argument : command.arguments) {
    if (!has(argument.name)) {
      throw wrongUsage(std::string("missing ") + argument.name);
    }
  }
  for (const Option& option : command.options) {
    if (option.required && !has(option.name)) {
      throw wrongUsage(std::string("missing option '") + option.name + "'");
    }
  }
}

long CommandLine::number(const char* name) const {
  return parsed<long>(name, text(name), "a whole number");
}

std::set<long> CommandLine::numbers(const char* name) const {
  std::set<long> all;
  for (const std::wstring& value : repeated) {
    all.insert(parsed<long>(name, value, "a whole number"));
  }
  return all;
}

long CommandLine::numberOr(long fallback, const char* name, long least, long most) const {
  if (!has(name)) {
    return fallback;
  }
  const long value = number(name);
  if (value < least || value > most) {
    throw wrongUsage(std::string(name) + ": " + std::to_string(value) + " is not from " + std::to_string(least) +
                     " to " + std::to_string(most));
  }
  return value;
}

double CommandLine::decimal(const char* name) const {
  const auto value = parsed<double>(name, text(name), "a number");
  using Range = std::numeric_limits<long>;
  // Written so that not-a-number fails, too.
  if (!(value >= Range::min() && value <= Range::max())) {
    throw wrongUsage(std::string(name) + ": '" + toUtf8(text(name)) + "' is outside the range of 32 bits");
  }
  return value;
}

std::string helpText(const Command& command) {
  std::string usage = std::string("Usage: quillet ") + command.name;
  HelpLines arguments;
  for (const Argument& argument : command.arguments) {
    usage += std::string(" ") + argument.name + (argument.repeats ? "..." : "");
    arguments.emplace_back(argument.name, argument.help);
  }
  HelpLines options;
  for (const Option& option : command.options) {
    if (option.required) {
      usage += " " + withValue(option.shortName != nullptr ? option.shortName : option.name, option);
    }
    options.emplace_back(optionLabel(option), option.help);
  }
  for (const Option* common : commonOptions) {
    options.emplace_back(optionLabel(*common), common->help);
  }
  return usage + " [options]\n\n" + command.summary + ".\n" + inColumns("Arguments", arguments) +
         inColumns("Options", options);
}

}  // namespace quillet::client
