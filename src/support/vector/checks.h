#pragma once

// The checks of the public operations' arguments.

#include "support/vector/ipps.h"

namespace sorvane::vector {

/// The status of the arguments of an operation over rows.
template <class... Pointers>
inline IppStatus checkRows(int len, Pointers... rows) {
    if (!(rows && ...)) [[unlikely]]
        return ippStsNullPtrErr;
    if (len < 1) [[unlikely]]
        return ippStsSizeErr;
    return ippStsNoErr;
}

} // namespace sorvane::vector

// One statement for the checks of every operation; the call that follows is the function's last.
#define SORVANE_CHECK_ROWS(...)                                                                    \
    if (const IppStatus status = sorvane::vector::checkRows(__VA_ARGS__); status != ippStsNoErr)   \
        [[unlikely]]                                                                               \
    return status
