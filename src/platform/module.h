// The library's own module, from which its strings and dialog templates are loaded.

#pragma once

#include <windows.h>

namespace quillet {

/// Keeps the library's instance handle: said once, when the library is attached to the process.
void setModuleInstance(HINSTANCE module);

/// The library's instance handle.
HINSTANCE moduleInstance();

/// Bytes of the buffer of a message, its end included.
inline constexpr int messageSize = 128;

/// Loads a string of the library's string table.
/// @return `message`, or null when there is no such string.
const char* loadMessage(UINT id, char (&message)[messageSize]);

}  // namespace quillet
