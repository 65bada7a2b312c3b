#include "interrupt.h"

#include "program_error.h"

#include <csignal>

namespace sorvane::tools {

namespace {

volatile std::sig_atomic_t caughtSignal = 0;

void onSignal(int signal) {
    caughtSignal = signal;
    std::signal(signal, SIG_DFL);
}

void catchSignal(int signal) {
    if (std::signal(signal, onSignal) == SIG_IGN)
        std::signal(signal, SIG_IGN);
}

} // namespace

void catchInterrupts() {
    catchSignal(SIGINT);
    catchSignal(SIGTERM);
#if defined(SIGHUP)
    catchSignal(SIGHUP);
#endif
}

void throwIfInterrupted() {
    if (caughtSignal != 0)
        throw ProgramError(exitSignalBase + caughtSignal, "interrupted");
}

} // namespace sorvane::tools
