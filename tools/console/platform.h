#pragma once

// What the program needs of the operating system beyond the standard library: the one place where
// its systems differ.

#include <cstdint>
#include <cstdio>

namespace sorvane::tools::platform {

/// 64-bit positions where `long` has 32 bits.
bool seekFile(std::FILE* file, std::int64_t position);

/// Makes a standard stream pass bytes as they are, where it would otherwise translate line ends.
void makeBinary(std::FILE* standardStream);

bool isTerminal(std::FILE* file);

/// From here on, writing to a pipe that nobody reads fails instead of ending the process.
void ignoreBrokenPipes();

/// True for the errno of such a write.
bool meansClosedPipe(int error);

/// Calls `handler` at the first SIGINT, SIGTERM or SIGHUP; the second one of a kind ends the process
/// at once. Signals that were ignored stay so. A read or write that waits is broken off with EINTR.
void handleInterrupts(void (*handler)(int signal));

/// The most memory that the process has held at a time in bytes, or 0 where it isn't known.
std::int64_t peakMemory();

} // namespace sorvane::tools::platform
