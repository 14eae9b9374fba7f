#pragma once

/// @file
/// Marks what the library exports. QUILLET_BUILDING is defined while the library itself is compiled.

/// Before a class or function: exported by the library, imported by its clients.
#ifdef QUILLET_BUILDING
#define QUILLET_API __declspec(dllexport)
#else
#define QUILLET_API __declspec(dllimport)
#endif
