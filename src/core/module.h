// The library's own module, from which its strings and dialog templates are loaded.

#pragma once

#include <windows.h>

namespace quillet {

/// The library's instance handle, kept since the library was attached to the process.
HINSTANCE moduleInstance();

}  // namespace quillet
