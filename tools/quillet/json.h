// JSON, as far as the program writes it.

#pragma once

#include <string>
#include <string_view>

namespace quillet::client {

/// An object whose members come in the order in which they are added.
class JsonObject {
 public:
  /// @param utf8 any text.
  void add(const char* name, std::string_view utf8);

  void add(const char* name, const char* utf8) { add(name, std::string_view(utf8)); }

  /// @param value a finite number.
  void add(const char* name, double value);
  void add(const char* name, long long value) { addValue(name, std::to_string(value)); }
  void add(const char* name, bool value) { addValue(name, value ? "true" : "false"); }

  /// @param json a value that is JSON already.
  void addValue(const char* name, const std::string& json);

  std::string text() const { return "{" + members + "}"; }

 private:
  std::string members;
};

}  // namespace quillet::client
