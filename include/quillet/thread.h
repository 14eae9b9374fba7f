#pragma once

/// @file
/// Per-thread set-up of COM and AVIFile.

#include <windows.h>

#include <quillet/export.h>

/// Prepares the calling thread for the library: enters the COM multithreaded apartment and initialises AVIFile.
///
/// Call it once on each thread, the process's first thread included, before that thread creates a stream or an output
/// file. The library undoes both by itself when the thread ends. A second call on one thread initialises both once
/// more, and only one of each is undone.
///
/// The library is not made to be unloaded with FreeLibrary: its worker threads may still be on their way out when the
/// stream that they worked for is gone.
///
/// Whether the thread could enter the apartment is not reported here; it shows in the error codes of what the thread
/// opens later.
///
/// @return nonzero when the thread was marked for clean-up at its end, 0 otherwise.
QUILLET_API BOOL QuilletThread();

/// Moves the calling thread to the other COM apartment model, with AVIFile closed and opened again around the change on
/// a thread that called QuilletThread().
///
/// On a thread that never called QuilletThread() this is one COM initialisation more, which is the caller's to balance
/// with CoUninitialize.
///
/// No stream or output file of the calling thread may be open meanwhile.
///
/// @param singleThreaded true for the single-threaded apartment, false for the multithreaded one.
QUILLET_API void TemporaryApartmentThreading(bool singleThreaded);
