#pragma once

/// @file
/// Which version of the library this is: of the headers that a client is compiled with, and of the DLL that it runs with.

#include <quillet/export.h>

/// @name The version of the headers
/// The README says which version of the DLL can stand in for which.
/// @{
#define QUILLET_VERSION "0.2.0"  ///< The three numbers that follow.
#define QUILLET_VERSION_MAJOR 0  ///< The first.
#define QUILLET_VERSION_MINOR 2  ///< The second.
#define QUILLET_VERSION_PATCH 0  ///< The third.
/// @}

#ifdef __cplusplus
/// For clients of the C++ classes; those of the C interface have quillet_version().
/// @return the version of the DLL, in the form of #QUILLET_VERSION; valid for ever. Any thread may ask.
QUILLET_API const char* QuilletVersion();
#endif
