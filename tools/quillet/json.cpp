#include "json.h"

#include <cstdio>

namespace quillet::client {

void JsonObject::add(const char* name, std::string_view utf8) {
  std::string quoted = "\"";
  for (const char letter : utf8) {
    char escape[8];
    if (static_cast<unsigned char>(letter) < ' ') {
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(letter));
      quoted += escape;
    } else {
      quoted += letter == '"' || letter == '\\' ? std::string{'\\', letter} : std::string{letter};
    }
  }
  addValue(name, quoted + "\"");
}

void JsonObject::add(const char* name, double value) {
  char number[32];
  std::snprintf(number, sizeof number, "%.12g", value);
  addValue(name, number);
}

void JsonObject::addValue(const char* name, const std::string& json) {
  members += (members.empty() ? "" : ", ") + ('"' + std::string(name)) + "\": " + json;
}

}  // namespace quillet::client
