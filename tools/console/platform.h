#pragma once

// What the program needs of the operating system beyond the standard library: the one place where
// its systems differ.

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

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

/// From here on, what libraries print on standard error is lost; the stream that is returned still
/// leads there. Null where the system refuses.
std::FILE* takeStandardError();

/// Marks a file as being in use for as long as the process lives and the lock isn't destroyed.
/// Where the system has no such locks, a file that is open for writing can't be removed anyway.
class FileLock {
public:
    FileLock() = default;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    ~FileLock();

    /// False when the file is gone or another process has it.
    bool take(const std::string& path);

private:
    int descriptor = -1;
};

/// The path of a program that is found as a shell finds it, or empty.
std::string findProgram(const std::string& name);

/// Another program, with its standard input or output on a pipe. Threads: any, each its own object.
class ChildProcess {
public:
    enum class Pipe { toItsInput, fromItsOutput };

    /// Starts `command`, whose first word is the program's path. Its messages go to a file without a
    /// name. Raises std::system_error.
    ChildProcess(const std::vector<std::string>& command, Pipe pipe);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Ends the program, if it still runs.
    ~ChildProcess();

    /// The pipe; null after wait().
    [[nodiscard]] std::FILE* stream() const { return pipeStream; }

    /// Closes the pipe and waits. Returns the exit code, 0 for success.
    int wait();

    /// What it has printed on standard error; the whole after wait().
    [[nodiscard]] std::string messages() const;

private:
    std::FILE* pipeStream = nullptr;
    std::FILE* errors = nullptr;
    std::intptr_t process = -1;
};

/// The most memory that the process has held at a time in bytes, or 0 where it isn't known.
std::int64_t peakMemory();

} // namespace sorvane::tools::platform
