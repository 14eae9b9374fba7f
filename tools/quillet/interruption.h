// What becomes of a command that the user interrupts: by Ctrl+C, by Ctrl+Break, or by closing the console.

#pragma once

#include <quillet/quillet.h>

namespace quillet::client {

/// From here on an interruption does not end the program: the command does, which unwinds and leaves nothing half done. A
/// second one ends the program at once.
void watchForInterruption();

bool isInterrupted();

/// Throws a Failure when the user has interrupted the command. Every loop of work has it. What else fails from then on, such
/// as an operation that was stopped, counts as interrupted, too: see main.cpp.
void throwIfInterrupted();

/// For the library's streams: their long operations stop when the user has interrupted the command.
QuilletNotification* interruption();

}  // namespace quillet::client
