// File names as DirectShow takes them.

#pragma once

#include <memory>

#include <windows.h>

namespace quillet {

/// A file name converted from the ANSI code page to wide characters. Lives as long as the graph that uses it.
class constOLEstring {
 public:
  constOLEstring() = default;

  /// @param narrow may be null: then the name stays empty.
  /// @throws std::bad_alloc
  explicit constOLEstring(const char* narrow);

  /// @return the name, null when there is none.
  const OLECHAR* get() const { return wide.get(); }

  /// Whether the file system knows that there is no such file. Of names that do not lead into it, as those of streams on a
  /// network do not, it knows nothing.
  bool isOfMissingFile() const;

 private:
  std::unique_ptr<OLECHAR[]> wide;
};

}  // namespace quillet
