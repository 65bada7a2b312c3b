#pragma once

#include "failure.h"

namespace sorvane::host {

/// Raises SORVANE_HOST_BAD_ARGUMENT with `text` unless the condition holds.
void require(bool condition, const char* text);

/// To be called where something was caught: makes it the thread's last error and returns its status.
SorvaneHostStatus recordException() noexcept;

/// The thread's last error; "" before the first.
const char* lastError() noexcept;

/// Runs `work` on the border to the host's language, where no exception may pass.
template <typename Work>
SorvaneHostStatus guarded(const Work& work) noexcept {
    try {
        work();
        return SORVANE_HOST_OK;
    } catch (...) {
        return recordException();
    }
}

} // namespace sorvane::host
