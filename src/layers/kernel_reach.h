#pragma once

#include <algorithm>
#include <cstdint>

namespace sorvane {

/// How far a kernel over the frequency axis reaches when it is centred on steps `stride` rows apart:
/// kernel position 0 of step 0 meets row `firstRow`, and positions outside the axis are skipped.
struct KernelReach {
    /// For at least one step, a kernel of at least one position, and an axis of `numRows` rows that
    /// is at least `numSteps * stride` long.
    KernelReach(int kernelSize, int stride, std::int64_t numSteps, std::int64_t numRows)
        : firstRow(-((std::int64_t{kernelSize} - stride) / 2)),
          lastTap(std::min<std::int64_t>(numRows - firstRow, kernelSize) - 1),
          lastRow(std::min(numRows, firstRow + (numSteps - 1) * stride + kernelSize) - 1) {}

    std::int64_t firstRow;
    std::int64_t lastTap; // the furthest kernel position that meets a row
    std::int64_t lastRow; // the furthest row that is met
};

} // namespace sorvane
