#include "console/interrupt.h"

#include "console/platform.h"
#include "console/program_error.h"

#include <atomic>

namespace sorvane::tools {

namespace {

/// Written by a signal handler and read by all threads, which takes an atomic without a lock.
std::atomic<int> caughtSignal = 0;
static_assert(std::atomic<int>::is_always_lock_free);

void onSignal(int signal) {
    caughtSignal = signal;
}

} // namespace

void catchInterrupts() {
    platform::handleInterrupts(onSignal);
}

void throwIfInterrupted() {
    if (const int signal = caughtSignal)
        throw ProgramError(exitSignalBase + signal, "interrupted");
}

} // namespace sorvane::tools
