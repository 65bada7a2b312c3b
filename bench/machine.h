#pragma once

#include <string>
#include <vector>

namespace sorvane::bench {

struct Bandwidth {
    std::string level; // "L1", "L2", "L3", "memory"
    double bytes;      // size of the block that was read
    double gigabytesPerSecond;
};

/// The processor's name as the system tells it, or "unknown processor".
std::string processorName();

/// Peak of fused multiply-adds of one core with vectors of `lanes` floats, in operations (two for
/// each multiply-add) a second. 0 where that width can't be measured.
double peakOperations(int lanes);

/// Bandwidths of reading, measured on blocks that fit the usual caches.
std::vector<Bandwidth> readBandwidths();

} // namespace sorvane::bench
