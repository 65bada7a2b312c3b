#pragma once

// Which form of the vector layer the public operations use.

#include "support/vector/kernels/kernels.h"

#include <atomic>

namespace sorvane::vector {

/// The form in use. It starts as the best one that every processor of the target runs, so that
/// operations work before ippInit too.
extern constinit std::atomic<const Kernels*> activeKernels;

inline const Kernels& kernels() {
    return *activeKernels.load(std::memory_order_relaxed);
}

/// Makes the compound operations call the flat ones that they are documented with. For tests and
/// benches alone, to be set before weights are packed; the library never sets it.
extern constinit std::atomic<bool> usesFlatSequences;

/// The forms that this processor runs, narrowest first; returns their number and stores at most
/// `capacity` of them.
int availableForms(const Kernels** forms, int capacity);

} // namespace sorvane::vector
