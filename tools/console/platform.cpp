#include "console/platform.h"

// Other programs are in platform_child.cpp.

#include <cerrno>
#include <csignal>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#define NOMINMAX
#include <windows.h>
// The order of these matters.
#include <fcntl.h>
#include <io.h>
#include <psapi.h>

namespace sorvane::tools::platform {

namespace {

void catchSignal(int signal, void (*handler)(int)) {
    if (std::signal(signal, handler) == SIG_IGN)
        std::signal(signal, SIG_IGN);
}

} // namespace

bool seekFile(std::FILE* file, std::int64_t position) {
    return _fseeki64(file, position, SEEK_SET) == 0;
}

void makeBinary(std::FILE* standardStream) {
    _setmode(_fileno(standardStream), _O_BINARY);
}

bool isTerminal(std::FILE* file) {
    return _isatty(_fileno(file)) != 0;
}

void ignoreBrokenPipes() {} // no signal here

bool meansClosedPipe(int error) {
    return error == EPIPE || error == EINVAL;
}

void handleInterrupts(void (*handler)(int signal)) {
    // The system puts the default back by itself.
    catchSignal(SIGINT, handler);
    catchSignal(SIGTERM, handler);
}

std::FILE* takeStandardError() {
    std::fflush(stderr);
    const int copy = _dup(2);
    std::FILE* stream = copy < 0 ? nullptr : _fdopen(copy, "w");
    if (stream != nullptr)
        std::freopen("NUL", "w", stderr);
    return stream;
}

FileLock::~FileLock() = default;

bool FileLock::take(const std::string& /*path*/) {
    return true; // a file that is open can't be removed here
}

std::int64_t peakMemory() {
    PROCESS_MEMORY_COUNTERS counters{};
    if (!K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters))
        return 0;
    return static_cast<std::int64_t>(counters.PeakWorkingSetSize);
}

} // namespace sorvane::tools::platform

#else

#include <fcntl.h>
#include <initializer_list>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace sorvane::tools::platform {

bool seekFile(std::FILE* file, std::int64_t position) {
    return fseeko(file, position, SEEK_SET) == 0;
}

void makeBinary(std::FILE* /*standardStream*/) {}

bool isTerminal(std::FILE* file) {
    return isatty(fileno(file)) != 0;
}

void ignoreBrokenPipes() {
    std::signal(SIGPIPE, SIG_IGN);
}

bool meansClosedPipe(int error) {
    return error == EPIPE;
}

void handleInterrupts(void (*handler)(int signal)) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        if (sigaction(signal, nullptr, &before) != 0 || before.sa_handler == SIG_IGN)
            continue;
        struct sigaction action {};
        action.sa_handler = handler;
        action.sa_flags = static_cast<int>(SA_RESETHAND); // and not SA_RESTART
        sigaction(signal, &action, nullptr);
    }
}

std::FILE* takeStandardError() {
    std::fflush(stderr);
    const int copy = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    std::FILE* stream = copy < 0 ? nullptr : fdopen(copy, "w");
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (stream != nullptr && nowhere >= 0)
        dup2(nowhere, STDERR_FILENO);
    if (nowhere >= 0)
        close(nowhere);
    return stream;
}

FileLock::~FileLock() {
    if (descriptor >= 0)
        close(descriptor);
}

bool FileLock::take(const std::string& path) {
    descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    // Not every file system has locks: there, nothing is known to be in use.
    if (flock(descriptor, LOCK_EX | LOCK_NB) != 0)
        return errno != EWOULDBLOCK;
    // Whoever had the lock before may have removed the file.
    struct stat status {};
    return fstat(descriptor, &status) == 0 && status.st_nlink > 0;
}

std::int64_t peakMemory() {
    struct rusage usage {};
    if (getrusage(RUSAGE_SELF, &usage) != 0)
        return 0;
#if defined(__APPLE__)
    return usage.ru_maxrss;
#else
    return std::int64_t{usage.ru_maxrss} * 1024;
#endif
}

} // namespace sorvane::tools::platform

#endif
