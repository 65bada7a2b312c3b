#include "console/platform.h"

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

std::int64_t peakMemory() {
    PROCESS_MEMORY_COUNTERS counters{};
    if (!K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters))
        return 0;
    return static_cast<std::int64_t>(counters.PeakWorkingSetSize);
}

} // namespace sorvane::tools::platform

#else

#include <initializer_list>
#include <sys/resource.h>
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
