// File names as the library works with them.

#pragma once

#include <optional>
#include <string>

namespace quillet {

/// The owner of a file's name in UTF-16, or of none.
class constOLEstring {
 public:
  constOLEstring() = default;

  /// Converts a name from the ANSI code page. Null makes none.
  /// @throws std::bad_alloc
  explicit constOLEstring(const char* narrow);

  /// Copies a name. Null makes none.
  /// @throws std::bad_alloc
  explicit constOLEstring(const wchar_t* wide);

  /// @return the name, null when there is none.
  const wchar_t* get() const { return name ? name->c_str() : nullptr; }

  /// Whether the file system knows that there is no such file. Of names that do not lead into it, as those of streams on a
  /// network do not, it knows nothing.
  bool isOfMissingFile() const;

 private:
  std::optional<std::wstring> name;
};

}  // namespace quillet
