// File names as the library works with them.

#pragma once

#include <optional>
#include <string>
#include <utility>

namespace quillet {

/// The owner of a file's name in UTF-16, or of none.
class constOLEstring {
 public:
  constOLEstring() = default;

  /// Converts a name from the ANSI code page. Null makes none.
  /// @throws std::bad_alloc
  explicit constOLEstring(const char* narrow);

  explicit constOLEstring(std::wstring wide) : name(std::move(wide)) {}

  /// @return the name, null when there is none.
  const wchar_t* get() const { return name ? name->c_str() : nullptr; }

 private:
  std::optional<std::wstring> name;
};

}  // namespace quillet
