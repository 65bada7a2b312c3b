#pragma once

// The operating system's files: the one place where the engine touches them. Failures are reported
// by results. Reading, writing and all else on an open file is one system call each.

#include <cstdint>

namespace sorvane::platform {

using FileHandle = std::intptr_t;

/// No file; also what openFile() gives on failure. All functions take it and fail.
inline constexpr FileHandle noFile = -1;

/// Opens `path`, shared with other readers and writers. `access`: 0 reading, 1 writing, 2 both,
/// other values neither. `creation`: 0 the file must exist, 1 it is created if it doesn't, 2 it
/// must not exist; other values fail. Waits for the other end of a pipe.
FileHandle openFile(const char* path, int access, int creation);

/// Opens an existing file for reading, and only one that has a length and a position: fails at once
/// for directories, pipes, devices and a null path, the first three untouched.
FileHandle openRegularFile(const char* path);
void closeFile(FileHandle file);

/// Bytes transferred, or -1.
std::int64_t readFile(FileHandle file, void* buffer, std::uint32_t count);
std::int64_t writeFile(FileHandle file, const void* buffer, std::uint32_t count);

bool seekFile(FileHandle file, std::int64_t position);

/// -1 on failure.
std::int64_t filePosition(FileHandle file);
std::int64_t fileSize(FileHandle file);
void flushFile(FileHandle file);

} // namespace sorvane::platform
